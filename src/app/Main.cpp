#include "Main.h"

#include "AppDelegate.h"
#include "SelfTest.h"
#include "Snapshot.h"

#include <QApplication>

Main::Choice Main::choose(const QStringList &arguments)
{
    if (arguments.contains(u"--selftest"_qs))
        return {Mode::SelfTest, {}};
    const qsizetype snapshot = arguments.indexOf(u"--snapshot"_qs);
    if (snapshot >= 0 && snapshot + 1 < arguments.size())
        return {Mode::Snapshot, arguments.at(snapshot + 1)};
    return {Mode::Resident, {}};
}

int Main::exec(int argc, char **argv)
{
    return exec(argc, argv, [] { return SelfTest::run(); });
}

int Main::exec(int argc, char **argv, const std::function<bool()> &selfTest)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));

    const Choice choice = choose(arguments);
    switch (choice.mode) {
    case Mode::SelfTest:
        // No application object: the self-test must run where there is no display at all.
        return selfTest() ? 0 : 1;
    case Mode::Snapshot:
        Snapshot::run(choice.snapshotDir);
        return 0;
    case Mode::Resident:
        break;
    }

    // The panel's windows, pointer watch and hot key speak X11: in a Wayland session they run
    // through XWayland unless the user asked for a platform.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && !qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariable("XDG_SESSION_TYPE") == u"wayland")
        qputenv("QT_QPA_PLATFORM", "xcb");

    QApplication::setApplicationName(u"Tallowfern"_qs);
    QApplication::setOrganizationName(u"Tallowfern"_qs);
    QApplication::setDesktopFileName(u"tallowfern"_qs);
    QApplication app(argc, argv);
    // A resident utility: closing a dialog must never end it.
    QApplication::setQuitOnLastWindowClosed(false);
    AppDelegate delegate;
    return QApplication::exec();
}
