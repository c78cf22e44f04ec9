#include "PanelScreen.h"
#include "TallowfernProcess.h"
#include "XServer.h"
#include "model/Board.h"
#include "support/FileContents.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDate>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <signal.h>

// The panel driven over a private session bus, as a desktop's shortcut settings or a script would:
// tasks added and found in today's file, the panel opened and closed, a second start handing over
// to the first, and the app started by the bus itself. Then the same through the command line's
// commands, which never have the bus start the app.
namespace {

const QString Service = u"io.tallowfern.Tallowfern"_qs;
const QString Path = u"/io/tallowfern/Tallowfern"_qs;
const QString Interface = u"io.tallowfern.Tallowfern"_qs;

// Inside the open panel's body, which covers the white root only while it is open.
const QPoint InOpenPanel{XServer::Width / 2, 200};

QStringList toDo(const QString &boardPath)
{
    QStringList texts;
    for (const Card &card :
         Board::parse(QString::fromUtf8(contentOf(boardPath))).cards(LaneKind::Todo))
        texts.append(card.text());
    return texts;
}

// What a command-line run of the binary came to.
struct Cli {
    int code = -1; // -1: it did not end by itself
    QByteArray out;
    QByteArray err;

    [[nodiscard]] QByteArray report() const
    {
        return "exit " + QByteArray::number(code) + "\nstdout: " + out + "\nstderr: " + err;
    }
};

} // namespace

class DBusE2eTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void addedTaskLandsAtTheEndOfTodaysToDo();
    void blankTaskIsRefusedWithAReason();
    void unsavableTaskIsReported();
    void openCloseAndToggleDriveThePanel();
    void secondStartHandsOverAndExits();
    void callingTheNameStartsTheApp();

    void commandsFindNothingRunningAndStartNothing();
    void commandsDriveTheRunningPanel();
    void addTaskCommandWritesTodaysBoard();
    void addTaskCommandReportsASaveFailure();
    void quitCommandEndsTheApp();
    void addTaskWithoutTextOpensTheRunningPanel();
    void addTaskWithoutTextStartsTheApp();
    void helpAndVersion();

public slots:
    void propertiesChanged(const QString &interface, const QVariantMap &changed,
                           const QStringList &invalidated);

private:
    void startWithUnsavableBoard();
    [[nodiscard]] QDBusMessage call(const QString &method, const QVariantList &arguments = {});
    [[nodiscard]] QVariant busProperty(const QString &name);
    [[nodiscard]] bool isOpen();
    [[nodiscard]] qint64 ownerPid();
    [[nodiscard]] QString todayPath() const;
    [[nodiscard]] Cli runCli(const QStringList &arguments);
    // A service file that would have the bus leave a mark when it started anything for our name.
    [[nodiscard]] QString watchActivation();

    XServer m_x;
    QTemporaryDir m_busDir;
    QProcess m_bus;
    QString m_address;
    std::unique_ptr<TallowfernProcess> m_app;
    QList<bool> m_announced;
    QStringList m_announcedTabs;
};

void DBusE2eTest::initTestCase()
{
    const QString error = m_x.start(false);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QVERIFY(m_busDir.isValid());

    // A bus of the test's own, which starts services from a folder of the test's own.
    QDir(m_busDir.path()).mkpath(u"services"_qs);
    m_address = u"unix:path="_qs + m_busDir.filePath(u"bus"_qs);
    const QByteArray config =
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
        " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig><type>session</type><listen>" +
        m_address.toUtf8() + "</listen><auth>EXTERNAL</auth><servicedir>" +
        m_busDir.filePath(u"services"_qs).toUtf8() +
        "</servicedir><policy context=\"default\"><allow send_destination=\"*\" "
        "eavesdrop=\"true\"/>"
        "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n";
    QFile file(m_busDir.filePath(u"bus.conf"_qs));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(config);
    file.close();
}

void DBusE2eTest::init()
{
    m_app = std::make_unique<TallowfernProcess>(m_x);
    m_app->setSessionBus(m_address);
    // The bus starts what it activates with its own environment: the app's.
    m_bus.setProcessEnvironment(m_app->environment());
    // A daemon left over by a test that failed half way would hold the socket.
    if (m_bus.state() != QProcess::NotRunning) {
        m_bus.kill();
        m_bus.waitForFinished();
    }
    m_bus.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // The daemon prints its address once it listens; its socket file exists a moment earlier,
    // when a connection is still refused.
    m_bus.start(u"dbus-daemon"_qs, {u"--nofork"_qs, u"--print-address=1"_qs,
                                    u"--config-file="_qs + m_busDir.filePath(u"bus.conf"_qs)});
    QVERIFY(m_bus.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(m_bus.canReadLine(), 10000);
    m_bus.readAll();
    QDBusConnection bus = QDBusConnection::connectToBus(m_address, u"test"_qs);
    QVERIFY2(bus.isConnected(), qPrintable(bus.lastError().message()));
    m_announced.clear();
    m_announcedTabs.clear();
    bus.connect(Service, Path, u"org.freedesktop.DBus.Properties"_qs, u"PropertiesChanged"_qs, this,
                SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
}

void DBusE2eTest::cleanup()
{
    QDBusConnection::disconnectFromBus(u"test"_qs);
    m_app.reset();
    m_bus.terminate();
    m_bus.waitForFinished();
    QFile::remove(m_busDir.filePath(u"bus"_qs));
    QFile::remove(m_busDir.filePath(u"services/io.tallowfern.Tallowfern.service"_qs));
}

void DBusE2eTest::cleanupTestCase()
{
    m_x.stop();
}

void DBusE2eTest::propertiesChanged(const QString &interface, const QVariantMap &changed,
                                    const QStringList &)
{
    if (interface == Interface && changed.contains(u"IsOpen"_qs))
        m_announced.append(changed.value(u"IsOpen"_qs).toBool());
    if (interface == Interface && changed.contains(u"Tab"_qs))
        m_announcedTabs.append(changed.value(u"Tab"_qs).toString());
}

QDBusMessage DBusE2eTest::call(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(Service, Path, Interface, method);
    message.setArguments(arguments);
    return QDBusConnection(u"test"_qs).call(message, QDBus::Block, 20000);
}

QVariant DBusE2eTest::busProperty(const QString &name)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        Service, Path, u"org.freedesktop.DBus.Properties"_qs, u"Get"_qs);
    message.setArguments({Interface, name});
    const QDBusReply<QDBusVariant> reply = QDBusConnection(u"test"_qs).call(message);
    return reply.isValid() ? reply.value().variant() : QVariant();
}

bool DBusE2eTest::isOpen()
{
    return busProperty(u"IsOpen"_qs).toBool();
}

qint64 DBusE2eTest::ownerPid()
{
    const QDBusReply<uint> pid = QDBusConnection(u"test"_qs).interface()->servicePid(Service);
    return pid.isValid() ? static_cast<qint64>(pid.value()) : -1;
}

QString DBusE2eTest::todayPath() const
{
    return m_app->boardPath(QDate::currentDate());
}

void DBusE2eTest::addedTaskLandsAtTheEndOfTodaysToDo()
{
    m_app->writeTodayBoard({u"Water the plants"_qs}, {});
    QCOMPARE(m_app->start(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), m_app->processId(), 10000);

    QCOMPARE(call(u"AddTask"_qs, {u"Call the bank"_qs}).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(toDo(todayPath()), QStringList({u"Water the plants"_qs, u"Call the bank"_qs}));
    // Pasted lines stay one task.
    QCOMPARE(call(u"AddTask"_qs, {u"Pay\nrent"_qs}).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(toDo(todayPath()),
             QStringList({u"Water the plants"_qs, u"Call the bank"_qs, u"Pay rent"_qs}));
    // Adding opens nothing.
    QVERIFY(!isOpen());
}

void DBusE2eTest::blankTaskIsRefusedWithAReason()
{
    m_app->writeTodayBoard({u"Water the plants"_qs}, {});
    QCOMPARE(m_app->start(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), m_app->processId(), 10000);
    const QByteArray before = contentOf(todayPath());

    for (const QString &blank : {QString(), u"   "_qs, u"\n\t"_qs}) {
        const QDBusMessage reply = call(u"AddTask"_qs, {blank});
        QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
        QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.InvalidArgs"_qs);
        QCOMPARE(reply.errorMessage(), u"A task needs some text."_qs);
    }
    QCOMPARE(contentOf(todayPath()), before);
}

// The app runs on a board that it cannot save: its folder has turned into a file, which stops
// even root.
void DBusE2eTest::startWithUnsavableBoard()
{
    m_app->writeTodayBoard({u"Water the plants"_qs}, {});
    QCOMPARE(m_app->start(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), m_app->processId(), 10000);

    const QString boards = QFileInfo(todayPath()).path();
    QVERIFY(QDir(boards).removeRecursively());
    QFile blocker(boards);
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.write("not a folder");
    blocker.close();
}

void DBusE2eTest::unsavableTaskIsReported()
{
    startWithUnsavableBoard();
    if (QTest::currentTestFailed())
        return;
    const QString boards = QFileInfo(todayPath()).path();

    const QDBusMessage reply = call(u"AddTask"_qs, {u"Call the bank"_qs});
    QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
    QCOMPARE(reply.errorName(), u"org.freedesktop.DBus.Error.Failed"_qs);
    QVERIFY2(reply.errorMessage().startsWith(u"Couldn't save board: "_qs),
             qPrintable(reply.errorMessage()));
    QCOMPARE(contentOf(boards), QByteArray("not a folder"));
}

void DBusE2eTest::openCloseAndToggleDriveThePanel()
{
    QCOMPARE(m_app->start(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), m_app->processId(), 10000);
    QVERIFY(!isOpen());
    QVERIFY(!PanelScreen::isBlack(m_x.pixel(InOpenPanel.x(), InOpenPanel.y())));

    QCOMPARE(call(u"Open"_qs).type(), QDBusMessage::ReplyMessage);
    QVERIFY(isOpen());
    QTRY_VERIFY_WITH_TIMEOUT(PanelScreen::isBlack(m_x.pixel(InOpenPanel.x(), InOpenPanel.y())),
                             5000);
    QTRY_COMPARE_WITH_TIMEOUT(m_announced, QList<bool>{true}, 5000);

    QCOMPARE(call(u"Close"_qs).type(), QDBusMessage::ReplyMessage);
    QVERIFY(!isOpen());
    QTRY_VERIFY_WITH_TIMEOUT(!PanelScreen::isBlack(m_x.pixel(InOpenPanel.x(), InOpenPanel.y())),
                             5000);
    QTRY_COMPARE_WITH_TIMEOUT(m_announced, QList<bool>({true, false}), 5000);

    // Like the shortcut: opens pinned, then closes.
    QCOMPARE(call(u"Toggle"_qs).type(), QDBusMessage::ReplyMessage);
    QVERIFY(isOpen());
    // The tab shown, and a switch with the panel's key.
    QCOMPARE(busProperty(u"Tab"_qs).toString(), u"board"_qs);
    QVERIFY(m_x.xdotool({u"key"_qs, u"ctrl+Tab"_qs}));
    QTRY_COMPARE_WITH_TIMEOUT(m_announcedTabs, QStringList{u"notes"_qs}, 5000);
    QCOMPARE(busProperty(u"Tab"_qs).toString(), u"notes"_qs);
    QCOMPARE(call(u"Toggle"_qs).type(), QDBusMessage::ReplyMessage);
    QVERIFY(!isOpen());
}

void DBusE2eTest::secondStartHandsOverAndExits()
{
    QCOMPARE(m_app->start(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), m_app->processId(), 10000);
    QVERIFY(!isOpen());

    QProcess second;
    second.setProcessEnvironment(m_app->environment());
    second.setProcessChannelMode(QProcess::MergedChannels);
    second.start(QStringLiteral(TALLOWFERN_BINARY), {});
    QVERIFY(second.waitForFinished(20000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QVERIFY2(second.exitCode() == 0, second.readAll().constData());

    // The first one is still the app, and it opened its panel for the second start.
    QVERIFY(m_app->isRunning());
    QCOMPARE(ownerPid(), m_app->processId());
    QVERIFY(isOpen());
    QTRY_VERIFY_WITH_TIMEOUT(PanelScreen::isBlack(m_x.pixel(InOpenPanel.x(), InOpenPanel.y())),
                             5000);
}

void DBusE2eTest::callingTheNameStartsTheApp()
{
    // Installed, the app's service file lets the bus start it on the first call.
    QFile service(m_busDir.filePath(u"services/io.tallowfern.Tallowfern.service"_qs));
    QVERIFY(service.open(QIODevice::WriteOnly));
    service.write("[D-BUS Service]\nName=io.tallowfern.Tallowfern\nExec=" TALLOWFERN_BINARY "\n");
    service.close();
    m_app->writeTodayBoard({}, {});
    QVERIFY(m_app->start().isEmpty());
    m_app->stop();
    QCOMPARE(ownerPid(), -1);

    const QDBusMessage reply = call(u"AddTask"_qs, {u"Started by the bus"_qs});
    QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
    QCOMPARE(toDo(todayPath()), QStringList{u"Started by the bus"_qs});

    const qint64 pid = ownerPid();
    QVERIFY(pid > 0);
    ::kill(static_cast<pid_t>(pid), SIGTERM);
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), -1, 10000);
    QFile::remove(service.fileName());
}

Cli DBusE2eTest::runCli(const QStringList &arguments)
{
    QProcess process;
    process.setProcessEnvironment(m_app->environment());
    process.setWorkingDirectory(m_app->root());
    process.start(QStringLiteral(TALLOWFERN_BINARY), arguments);
    Cli cli;
    if (!process.waitForFinished(20000)) {
        process.kill();
        process.waitForFinished(5000);
    } else if (process.exitStatus() == QProcess::NormalExit) {
        cli.code = process.exitCode();
    }
    cli.out = process.readAllStandardOutput();
    cli.err = process.readAllStandardError();
    return cli;
}

QString DBusE2eTest::watchActivation()
{
    const QString marker = m_busDir.filePath(u"activated"_qs);
    QFile::remove(marker);
    QFile service(m_busDir.filePath(u"services/io.tallowfern.Tallowfern.service"_qs));
    if (!service.open(QIODevice::WriteOnly))
        return {};
    service.write("[D-BUS Service]\nName=io.tallowfern.Tallowfern\nExec=/usr/bin/touch " +
                  marker.toUtf8() + "\n");
    service.close();
    // The bus reads its service folder again when it is asked to.
    const QDBusMessage reload = QDBusConnection(u"test"_qs)
                                    .call(QDBusMessage::createMethodCall(
                                        u"org.freedesktop.DBus"_qs, u"/org/freedesktop/DBus"_qs,
                                        u"org.freedesktop.DBus"_qs, u"ReloadConfig"_qs));
    return reload.type() == QDBusMessage::ReplyMessage ? marker : QString();
}

void DBusE2eTest::commandsFindNothingRunningAndStartNothing()
{
    const QString marker = watchActivation();
    QVERIFY(!marker.isEmpty());
    const QList<QStringList> commands{{u"--toggle"_qs},
                                      {u"--open"_qs},
                                      {u"--close"_qs},
                                      {u"--quit"_qs},
                                      {u"--add-task"_qs, u"Call the bank"_qs},
                                      {u"--add-task"_qs, u"  "_qs}};
    for (const QStringList &command : commands) {
        const Cli cli = runCli(command);
        QVERIFY2(cli.code == 1, cli.report().constData());
        QCOMPARE(cli.err, QByteArray("Tallowfern is not running.\n"));
        QCOMPARE(cli.out, QByteArray());
    }
    QCOMPARE(ownerPid(), -1);
    QVERIFY(!QFileInfo::exists(marker));
    QVERIFY(!QFileInfo::exists(todayPath()));

    // The service file does start things when asked to, so the mark would have shown.
    QDBusMessage ping =
        QDBusMessage::createMethodCall(Service, Path, u"org.freedesktop.DBus.Peer"_qs, u"Ping"_qs);
    QDBusConnection(u"test"_qs).call(ping, QDBus::Block, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(marker), 10000);
}

void DBusE2eTest::commandsDriveTheRunningPanel()
{
    QCOMPARE(m_app->start(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), m_app->processId(), 10000);
    QVERIFY(!isOpen());

    const QList<std::pair<QString, bool>> steps{{u"--open"_qs, true},
                                                {u"--open"_qs, true},
                                                {u"--close"_qs, false},
                                                {u"--toggle"_qs, true},
                                                {u"--toggle"_qs, false}};
    for (const auto &[option, open] : steps) {
        const Cli cli = runCli({option});
        QVERIFY2(cli.code == 0, cli.report().constData());
        QCOMPARE(cli.out, QByteArray());
        QCOMPARE(cli.err, QByteArray());
        QVERIFY2(isOpen() == open, qPrintable(option));
    }
    QTRY_COMPARE_WITH_TIMEOUT(m_announced, QList<bool>({true, false, true, false}), 5000);
    QCOMPARE(ownerPid(), m_app->processId());
}

void DBusE2eTest::addTaskCommandWritesTodaysBoard()
{
    m_app->writeTodayBoard({u"Water the plants"_qs}, {});
    QCOMPARE(m_app->start(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), m_app->processId(), 10000);

    Cli cli = runCli({u"--add-task"_qs, u"Call the bank"_qs});
    QVERIFY2(cli.code == 0, cli.report().constData());
    QCOMPARE(cli.err, QByteArray());
    QCOMPARE(toDo(todayPath()), QStringList({u"Water the plants"_qs, u"Call the bank"_qs}));
    QVERIFY(!isOpen());

    const QByteArray before = contentOf(todayPath());
    for (const QString &blank : {QString(), u"  \t "_qs}) {
        cli = runCli({u"--add-task"_qs, blank});
        QVERIFY2(cli.code == 1, cli.report().constData());
        QCOMPARE(cli.err, QByteArray("A task needs some text.\n"));
        QCOMPARE(cli.out, QByteArray());
    }
    QCOMPARE(contentOf(todayPath()), before);
}

void DBusE2eTest::addTaskCommandReportsASaveFailure()
{
    startWithUnsavableBoard();
    if (QTest::currentTestFailed())
        return;
    const QString boards = QFileInfo(todayPath()).path();

    const Cli cli = runCli({u"--add-task"_qs, u"Call the bank"_qs});
    QVERIFY2(cli.code == 1, cli.report().constData());
    QVERIFY2(cli.err.startsWith("Couldn't save board: "), cli.report().constData());
    // One line.
    QCOMPARE(cli.err.count('\n'), 1);
    QVERIFY(cli.err.endsWith('\n'));
}

void DBusE2eTest::quitCommandEndsTheApp()
{
    QCOMPARE(m_app->start(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), m_app->processId(), 10000);

    const Cli cli = runCli({u"--quit"_qs});
    QVERIFY2(cli.code == 0, cli.report().constData());
    QCOMPARE(cli.err, QByteArray());
    QCOMPARE(m_app->waitForQuit(10000), 0);
    QCOMPARE(ownerPid(), -1);

    const Cli again = runCli({u"--quit"_qs});
    QVERIFY2(again.code == 1, again.report().constData());
    QCOMPARE(again.err, QByteArray("Tallowfern is not running.\n"));
}

void DBusE2eTest::addTaskWithoutTextOpensTheRunningPanel()
{
    QCOMPARE(m_app->start(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), m_app->processId(), 10000);
    QVERIFY(!isOpen());

    for (int i = 0; i < 2; ++i) {
        // Open already, it stays open: unlike --toggle.
        // A start like any other, up to finding the app: what it logs is the start's.
        const Cli cli = runCli({u"--add-task"_qs});
        QVERIFY2(cli.code == 0, cli.report().constData());
        QVERIFY(isOpen());
    }
    QTRY_VERIFY_WITH_TIMEOUT(PanelScreen::isBlack(m_x.pixel(InOpenPanel.x(), InOpenPanel.y())),
                             5000);
    QVERIFY(m_app->isRunning());
    QCOMPARE(ownerPid(), m_app->processId());
}

void DBusE2eTest::addTaskWithoutTextStartsTheApp()
{
    // As a desktop's "Add Task…" action does with no app running: this start is the app.
    const QString marker = watchActivation();
    QVERIFY(!marker.isEmpty());
    m_app->writeTodayBoard({}, {});
    QVERIFY(m_app->start().isEmpty());
    m_app->stop();
    QCOMPARE(ownerPid(), -1);

    QProcess app;
    app.setProcessEnvironment(m_app->environment());
    app.setWorkingDirectory(m_app->root());
    app.setProcessChannelMode(QProcess::MergedChannels);
    app.setStandardOutputFile(m_busDir.filePath(u"new-task.log"_qs));
    app.start(QStringLiteral(TALLOWFERN_BINARY), {u"--add-task"_qs});
    QVERIFY(app.waitForStarted(10000));
    QTRY_COMPARE_WITH_TIMEOUT(ownerPid(), app.processId(), 20000);
    QTRY_VERIFY_WITH_TIMEOUT(isOpen(), 10000);
    QTRY_VERIFY_WITH_TIMEOUT(PanelScreen::isBlack(m_x.pixel(InOpenPanel.x(), InOpenPanel.y())),
                             5000);
    QVERIFY(!QFileInfo::exists(marker));

    const Cli quit = runCli({u"--quit"_qs});
    QVERIFY2(quit.code == 0, quit.report().constData());
    QVERIFY(app.waitForFinished(10000));
    QCOMPARE(app.exitStatus(), QProcess::NormalExit);
    QCOMPARE(app.exitCode(), 0);
}

void DBusE2eTest::helpAndVersion()
{
    const Cli help = runCli({u"--help"_qs});
    QVERIFY2(help.code == 0, help.report().constData());
    QCOMPARE(help.err, QByteArray());
    for (const char *option : {"--toggle", "--open", "--close", "--add-task TEXT", "--quit",
                               "--snapshot DIR", "--selftest", "-h, --help", "--version"})
        QVERIFY2(help.out.contains(QByteArray("\n  ") + option + ' '), option);
    QCOMPARE(runCli({u"-h"_qs}).out, help.out);

    const Cli version = runCli({u"--version"_qs});
    QVERIFY2(version.code == 0, version.report().constData());
    QCOMPARE(version.out, QByteArray("Tallowfern " TALLOWFERN_VERSION "\n"));
    QCOMPARE(version.err, QByteArray());
    // Nothing started for either.
    QCOMPARE(ownerPid(), -1);
}

QTEST_GUILESS_MAIN(DBusE2eTest)
#include "tst_dbus_e2e.moc"
