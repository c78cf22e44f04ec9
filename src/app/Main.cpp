#include "Main.h"

#include "AppDelegate.h"
#include "AppLog.h"
#include "RemoteControl.h"
#include "RunningInstance.h"
#include "SelfTest.h"
#include "Snapshot.h"
#include "notch/NotchController.h"
#include "platform/LaunchAtLogin.h"
#include "platform/PanelShell.h"
#include "platform/UnixSignals.h"

#include <QApplication>
#include <QCoreApplication>
#include <QQuickWindow>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cstdio>

namespace {

struct Command {
    QStringView option;
    Main::Mode mode;
    QStringView method; // on the running app's bus interface
};

// The commands for the running app, in the order --help lists them.
constexpr std::array commands{
    Command{u"--toggle", Main::Mode::Toggle, u"Toggle"},
    Command{u"--open", Main::Mode::Open, u"Open"},
    Command{u"--close", Main::Mode::Close, u"Close"},
    Command{u"--add-task", Main::Mode::AddTask, u"AddTask"},
    Command{u"--quit", Main::Mode::Quit, u"Quit"},
};

// The exit status of a start that found Tallowfern already running.
int handOver(const QDBusConnection &bus, const QString &method)
{
    if (const auto error = RunningInstance::handOver(bus, method)) {
        std::fprintf(stderr, "Tallowfern is already running but did not answer: %s\n",
                     qPrintable(*error));
        return 1;
    }
    return 0;
}

// A command for the running app, from a script or the desktop's own shortcut settings: the exit
// status tells whether it was done, and stderr gets one line saying why not.
int command(const Main::Choice &choice)
{
    const auto command = std::find_if(commands.begin(), commands.end(), [&](const Command &each) {
        return each.mode == choice.mode;
    });
    if (command == commands.end())
        return 1;
    const QVariantList arguments =
        choice.mode == Main::Mode::AddTask ? QVariantList{choice.taskText} : QVariantList();
    const RunningInstance::Answer answer =
        RunningInstance::call(QDBusConnection::sessionBus(), command->method.toString(), arguments);
    switch (answer.outcome) {
    case RunningInstance::Outcome::Done:
        return 0;
    case RunningInstance::Outcome::NotRunning:
        std::fputs("Tallowfern is not running.\n", stderr);
        return 1;
    case RunningInstance::Outcome::Failed:
        std::fprintf(stderr, "%s\n", qPrintable(answer.error));
        return 1;
    }
    return 1;
}

} // namespace

Main::Choice Main::choose(const QStringList &arguments)
{
    if (arguments.contains(u"--selftest"_qs))
        return {Mode::SelfTest, {}, {}};
    const qsizetype snapshot = arguments.indexOf(u"--snapshot"_qs);
    if (snapshot >= 0 && snapshot + 1 < arguments.size())
        return {Mode::Snapshot, arguments.at(snapshot + 1), {}};
    if (arguments.contains(u"--help"_qs) || arguments.contains(u"-h"_qs))
        return {Mode::Help, {}, {}};
    if (arguments.contains(u"--version"_qs))
        return {Mode::Version, {}, {}};
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        for (const Command &command : commands) {
            if (arguments.at(i) != command.option)
                continue;
            if (command.mode != Mode::AddTask)
                return {command.mode, {}, {}};
            // Without its text, as a desktop entry's action gives it: the panel, ready to type.
            if (i + 1 == arguments.size())
                return {Mode::NewTask, {}, {}};
            return {Mode::AddTask, {}, arguments.at(i + 1)};
        }
    }
    return {Mode::Resident, {}, {}};
}

QString Main::usage()
{
    return u"Usage: tallowfern [OPTION]\n"
           "Without an option, starts Tallowfern, or opens the panel of the one already running.\n"
           "\n"
           "Commands for the running Tallowfern (exit status 1 when none runs):\n"
           "  --toggle           open the panel ready to type a task, or close it\n"
           "  --open             open the panel\n"
           "  --close            close the panel\n"
           "  --add-task TEXT    add TEXT to the end of today's To do\n"
           "  --add-task         open the panel ready to type a task (starts Tallowfern if "
           "needed)\n"
           "  --quit             quit Tallowfern\n"
           "\n"
           "Other options:\n"
           "  --snapshot DIR     draw the panel with a sample day into PNG files in DIR and exit\n"
           "  --selftest         check the board format and shortcut labels and exit\n"
           "  -h, --help         show this help and exit\n"
           "  --version          show the version and exit\n"_qs;
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
    case Mode::Help:
        std::fputs(qPrintable(usage()), stdout);
        return 0;
    case Mode::Version:
        std::printf("Tallowfern %s\n", TALLOWFERN_VERSION);
        return 0;
    case Mode::Open:
    case Mode::Close:
    case Mode::Toggle:
    case Mode::Quit:
    case Mode::AddTask: {
        // For the bus only: a command works without a display, from a terminal or a key binding.
        QCoreApplication app(argc, argv);
        return command(choice);
    }
    case Mode::NewTask:
    case Mode::Resident:
        break;
    }
    const QString handOverMethod = choice.mode == Mode::NewTask ? u"NewTask"_qs : u"Open"_qs;

    // Native layer surfaces where the compositor offers them, X11 windows otherwise: settles
    // which Qt platform plugin loads.
    PanelShell::choose();
    // Drawn by Qt Quick's software renderer into shared memory, on X11 and Wayland alike: the
    // resident app then takes about 49 MiB instead of 128 MiB (the OpenGL driver's own share),
    // it needs no GPU path from the compositor (headless and software-rendered ones have none),
    // and the panel's small scene still draws its springs at the display's rate.
    // QT_QUICK_BACKEND or QSG_RHI_BACKEND (e.g. opengl) choose otherwise.
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND") &&
        qEnvironmentVariableIsEmpty("QSG_RHI_BACKEND"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);

    QApplication::setApplicationName(u"Tallowfern"_qs);
    QApplication::setOrganizationName(u"Tallowfern"_qs);
    QApplication::setDesktopFileName(LaunchAtLogin::appId.toString());
    QApplication app(argc, argv);
    // A resident utility: closing a dialog must never end it.
    QApplication::setQuitOnLastWindowClosed(false);

    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (RunningInstance::exists(bus))
        return handOver(bus, handOverMethod);
    // Logging out, `kill` and Ctrl+C end it the way the tray's Quit does, so that what is still
    // waiting to be saved is written. Caught before the delegate is built: one that comes while
    // it starts up is acted on once the event loop runs. Given back only after the delegate has
    // gone.
    const UnixSignals endSignals;
    QObject::connect(&endSignals, &UnixSignals::quitRequested, &app, [](int signal) {
        qCInfo(lcApp, "quitting on %s", qPrintable(UnixSignals::name(signal)));
        QCoreApplication::quit();
    });
    AppDelegate delegate;
    RemoteControl remote(delegate.controller()->behavior(), delegate.controller()->model(),
                         delegate.store());
    // Another start may have won the name while this one was setting up.
    switch (remote.publish(bus)) {
    case RemoteControl::Claim::Taken:
        return handOver(bus, handOverMethod);
    case RemoteControl::Claim::NoBus:
        qCWarning(lcApp, "not on the session bus: the command line, desktop shortcuts and "
                         "desktop-entry actions cannot reach this Tallowfern");
        break;
    case RemoteControl::Claim::Owned:
        break;
    }
    if (choice.mode == Mode::NewTask)
        // Once the event loop runs, as if the call had come over the bus.
        QTimer::singleShot(0, &remote, &RemoteControl::NewTask);
    return QApplication::exec();
}
