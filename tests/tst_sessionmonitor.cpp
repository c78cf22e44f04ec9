#include "platform/SessionMonitor.h"
#include "store/BoardStore.h"
#include "support/StoreFixture.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>

// Wake and unlock as the desktop reports them: a mock of systemd-logind (python3-dbusmock's
// template) on a private system bus, and screensaver signals on a private session bus.
class TestSessionMonitor : public QObject {
    Q_OBJECT

    QProcess m_systemBus;
    QProcess m_logind;

    static QDBusMessage mock(const QString &path, const QString &method, const QVariantList &args)
    {
        QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.login1"_qs, path,
                                                           u"org.freedesktop.DBus.Mock"_qs, method);
        call.setArguments(args);
        return QDBusConnection::systemBus().call(call);
    }
    static void sleepSignal(bool starting)
    {
        const QDBusMessage reply =
            mock(u"/org/freedesktop/login1"_qs, u"EmitSignal"_qs,
                 {u"org.freedesktop.login1.Manager"_qs, u"PrepareForSleep"_qs, u"b"_qs,
                  QVariant::fromValue(QVariantList{QVariant::fromValue(QDBusVariant(starting))})});
        QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
    }
    static void setLocked(bool locked)
    {
        QDBusMessage call = QDBusMessage::createMethodCall(
            u"org.freedesktop.login1"_qs, u"/org/freedesktop/login1/session/c7"_qs,
            u"org.freedesktop.login1.Session"_qs, u"SetLockedHint"_qs);
        call << locked;
        const QDBusMessage reply = QDBusConnection::systemBus().call(call);
        QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
    }
    static void screenSaver(const QString &path, const QString &interface, bool active)
    {
        QDBusMessage signal = QDBusMessage::createSignal(path, interface, u"ActiveChanged"_qs);
        signal << active;
        QVERIFY(QDBusConnection::sessionBus().send(signal));
    }

private slots:
    void initTestCase()
    {
        // A second private bus plays the system bus. Qt reads the bus addresses once, at the
        // first use of either bus, so this comes before anything touches D-Bus.
        m_systemBus.start(u"dbus-daemon"_qs,
                          {u"--config-file="_qs + QStringLiteral(SESSION_BUS_CONFIG),
                           u"--print-address=1"_qs, u"--nofork"_qs});
        QVERIFY(m_systemBus.waitForReadyRead(10000));
        const QByteArray address = m_systemBus.readLine().trimmed();
        QVERIFY(!address.isEmpty());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
        qputenv("XDG_SESSION_ID", "c7");
        if (!QDBusConnection::sessionBus().isConnected())
            QFAIL("needs a session bus: run under dbus-run-session (tools/dev test does)");

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DBUS_SYSTEM_BUS_ADDRESS"_qs, QString::fromUtf8(address));
        m_logind.setProcessEnvironment(environment);
        m_logind.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_logind.start(u"/usr/bin/python3"_qs,
                       {u"-m"_qs, u"dbusmock"_qs, u"--system"_qs, u"--template"_qs, u"logind"_qs});
        QVERIFY(m_logind.waitForStarted(10000));
        QTRY_VERIFY_WITH_TIMEOUT(QDBusConnection::systemBus().interface()->isServiceRegistered(
                                     u"org.freedesktop.login1"_qs),
                                 15000);
        const QDBusMessage added =
            mock(u"/org/freedesktop/login1"_qs, u"AddSession"_qs,
                 {u"c7"_qs, u"seat0"_qs, quint32(1000), u"someone"_qs, true});
        QVERIFY2(added.type() == QDBusMessage::ReplyMessage, qPrintable(added.errorMessage()));
    }

    void cleanupTestCase()
    {
        m_logind.kill();
        m_logind.waitForFinished();
        m_systemBus.kill();
        m_systemBus.waitForFinished();
    }

    void resumeFromSleep()
    {
        SessionMonitor monitor;
        QSignalSpy resumed(&monitor, &SessionMonitor::resumed);
        QTest::qWait(200); // subscriptions are asynchronous
        sleepSignal(true);
        QTest::qWait(200);
        QCOMPARE(resumed.count(), 0);
        sleepSignal(false);
        QTRY_COMPARE(resumed.count(), 1);
    }

    void sessionUnlocked()
    {
        SessionMonitor monitor;
        QSignalSpy unlocked(&monitor, &SessionMonitor::unlocked);
        QTest::qWait(300);
        setLocked(true);
        QTest::qWait(200);
        QCOMPARE(unlocked.count(), 0);
        setLocked(false);
        QTRY_COMPARE(unlocked.count(), 1);
    }

    void screenSaversUnlock_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("interface");
        QTest::newRow("freedesktop")
            << u"/org/freedesktop/ScreenSaver"_qs << u"org.freedesktop.ScreenSaver"_qs;
        QTest::newRow("KDE") << u"/ScreenSaver"_qs << u"org.freedesktop.ScreenSaver"_qs;
        QTest::newRow("GNOME") << u"/org/gnome/ScreenSaver"_qs << u"org.gnome.ScreenSaver"_qs;
    }
    void screenSaversUnlock()
    {
        QFETCH(QString, path);
        QFETCH(QString, interface);
        SessionMonitor monitor;
        QSignalSpy unlocked(&monitor, &SessionMonitor::unlocked);
        screenSaver(path, interface, true);
        QTest::qWait(200);
        QCOMPARE(unlocked.count(), 0);
        screenSaver(path, interface, false);
        QTRY_COMPARE(unlocked.count(), 1);
    }

    // After a night asleep, today's board is there before the panel is opened.
    void wakingLoadsTheNewDay()
    {
        Scratch scratch;
        FakeClock clock;
        RecordingLauncher launcher;
        Scratch::write(scratch.boards() + u"/2025-03-07.md"_qs, "## To do\n- [ ] unfinished\n");
        BoardStore store(&clock, &launcher);
        SessionMonitor monitor;
        connect(&monitor, &SessionMonitor::resumed, &store, &BoardStore::loadToday);
        QTest::qWait(200);
        clock.set(2025, 3, 8, 7, 30);
        sleepSignal(false);
        QTRY_COMPARE(store.day(), u"2025-03-08"_qs);
        QVERIFY(QFileInfo::exists(scratch.boards() + u"/2025-03-08.md"_qs));
        QCOMPARE(store.board().cards(LaneKind::Todo).size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestSessionMonitor)
#include "tst_sessionmonitor.moc"
