#include "Main.h"

#include "AppDelegate.h"
#include "RemoteControl.h"
#include "RunningInstance.h"
#include "SelfTest.h"
#include "Snapshot.h"
#include "notch/NotchController.h"
#include "platform/LaunchAtLogin.h"
#include "platform/PanelShell.h"

#include <QApplication>
#include <QQuickWindow>

#include <cstdio>

namespace {

// The exit status of a start that found Tallowfern already running.
int handOver(const QDBusConnection &bus)
{
    if (const auto error = RunningInstance::handOver(bus)) {
        std::fprintf(stderr, "Tallowfern is already running but did not answer: %s\n",
                     qPrintable(*error));
        return 1;
    }
    return 0;
}

} // namespace

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

    // Native layer surfaces where the compositor offers them, X11 windows otherwise.
    if (PanelShell::choose() == PanelShell::Kind::LayerShell &&
        qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        // Drawn into shared memory: needs no GPU path from the compositor (headless and
        // software-rendered ones have none), and keeps the resident app small.
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);

    QApplication::setApplicationName(u"Tallowfern"_qs);
    QApplication::setOrganizationName(u"Tallowfern"_qs);
    QApplication::setDesktopFileName(LaunchAtLogin::appId.toString());
    QApplication app(argc, argv);
    // A resident utility: closing a dialog must never end it.
    QApplication::setQuitOnLastWindowClosed(false);

    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (RunningInstance::exists(bus))
        return handOver(bus);
    AppDelegate delegate;
    RemoteControl remote(delegate.controller()->behavior(), delegate.controller()->model(),
                         delegate.store());
    // Another start may have won the name while this one was setting up.
    if (remote.publish(bus) == RemoteControl::Claim::Taken)
        return handOver(bus);
    return QApplication::exec();
}
