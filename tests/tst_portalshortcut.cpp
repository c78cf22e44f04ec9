#include "platform/KeyboardLayout.h"
#include "platform/PortalShortcut.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using Status = GlobalShortcutBackend::Status;

namespace {

const QString portalName = u"org.freedesktop.portal.Desktop"_qs;
constexpr int timeout = 20000;

} // namespace

// Plays the desktop portal with tests/portal/fake_portal.py on the test's private session bus.
class TestPortalShortcut : public QObject {
    Q_OBJECT

    std::unique_ptr<KeyboardLayout> m_us = KeyboardLayout::fromNames(u"us"_qs);
    std::unique_ptr<QProcess> m_portal;

    [[nodiscard]] static QDBusConnection bus() { return QDBusConnection::sessionBus(); }

    void startPortal(const QStringList &arguments = {})
    {
        m_portal = std::make_unique<QProcess>();
        m_portal->setProcessChannelMode(QProcess::ForwardedChannels);
        m_portal->start(QString::fromUtf8(PORTAL_TEST_PYTHON),
                        QStringList{QString::fromUtf8(FAKE_PORTAL)} + arguments);
        QVERIFY2(m_portal->waitForStarted(timeout), qPrintable(m_portal->errorString()));
        QTRY_VERIFY_WITH_TIMEOUT(bus().interface()->isServiceRegistered(portalName) ||
                                     m_portal->state() == QProcess::NotRunning,
                                 timeout);
        QVERIFY2(m_portal->state() == QProcess::Running, "the fake portal exited");
    }

    void stopPortal()
    {
        if (!m_portal)
            return;
        m_portal->terminate();
        QVERIFY(m_portal->waitForFinished(timeout));
        m_portal.reset();
        // The next test's portal takes the same name.
        QTRY_VERIFY_WITH_TIMEOUT(!bus().interface()->isServiceRegistered(portalName), timeout);
    }

    static QDBusMessage control(const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage call = QDBusMessage::createMethodCall(
            portalName, u"/io/tallowfern/FakePortal"_qs, u"io.tallowfern.FakePortal"_qs, method);
        call.setArguments(arguments);
        return bus().call(call);
    }

    // Every call the portal received so far, in order.
    static QJsonArray calls()
    {
        const QDBusMessage reply = control(u"Calls"_qs);
        if (reply.type() != QDBusMessage::ReplyMessage)
            return {};
        return QJsonDocument::fromJson(reply.arguments().value(0).toString().toUtf8()).array();
    }

    static QList<QJsonObject> callsTo(const QString &method)
    {
        QList<QJsonObject> found;
        for (const QJsonValue &call : calls()) {
            if (call[u"method"_qs].toString() == method)
                found.append(call.toObject());
        }
        return found;
    }

    // The session of the most recent BindShortcuts.
    static QString boundSession()
    {
        const QList<QJsonObject> binds = callsTo(u"BindShortcuts"_qs);
        return binds.isEmpty() ? QString() : binds.last()[u"args"_qs][0].toString();
    }

    static QString preferredTrigger(const QJsonObject &bind)
    {
        return bind[u"args"_qs][1][0][1][u"preferred_trigger"_qs].toString();
    }

    static void activate(const QString &session, const QString &id)
    {
        const QDBusMessage reply =
            control(u"EmitActivated"_qs, {QVariant::fromValue(QDBusObjectPath(session)), id});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    }

    // The warning that leaves a trace of a refusal in the log.
    static void expectWarning(const QString &message)
    {
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QRegularExpression::escape(message)));
    }

    // Binds `shortcut` and waits for the desktop's answer, recording each status on the way.
    static QList<Status> bindAndWait(PortalShortcut &backend, const Shortcut &shortcut)
    {
        QList<Status> statuses;
        const auto connection = connect(&backend, &GlobalShortcutBackend::statusChanged, &backend,
                                        [&] { statuses.append(backend.status()); });
        backend.bind(shortcut);
        // The callers check what the statuses were; a timeout leaves Pending last.
        if (!QTest::qWaitFor([&] { return backend.status() != Status::Pending; }, timeout))
            qWarning("no answer from the portal");
        disconnect(connection);
        return statuses;
    }

private slots:
    void initTestCase()
    {
        if (!bus().isConnected())
            QFAIL("needs a session bus: run under dbus-run-session (tools/dev test does)");
        QVERIFY(m_us);
        QVERIFY2(!bus().interface()->isServiceRegistered(portalName),
                 "a portal is already on the test bus");
    }

    void cleanup() { stopPortal(); }

    void registersAndProposesTheKey()
    {
        startPortal();
        PortalShortcut backend(bus(), m_us.get());
        QCOMPARE(backend.status(), Status::Unbound);
        const QList<Status> statuses = bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(statuses, (QList<Status>{Status::Pending, Status::Bound}));
        QVERIFY(backend.message().isEmpty());
        QCOMPARE(backend.triggerDescription(), u"Alt+N"_qs);
        QCOMPARE(backend.portalVersion(), 1u);

        const QJsonArray received = calls();
        QVERIFY(!received.isEmpty());
        // The app id comes before any other portal call, from this connection.
        QCOMPARE(received[0][u"method"_qs].toString(), u"Register"_qs);
        QCOMPARE(received[0][u"sender"_qs].toString(), bus().baseService());
        QCOMPARE(received[0][u"args"_qs][0].toString(), u"io.tallowfern.Tallowfern"_qs);

        const QList<QJsonObject> creates = callsTo(u"CreateSession"_qs);
        QCOMPARE(creates.size(), 1);
        const QJsonObject createOptions = creates[0][u"args"_qs][0].toObject();
        QVERIFY(!createOptions[u"handle_token"_qs].toString().isEmpty());
        const QString sessionToken = createOptions[u"session_handle_token"_qs].toString();
        QVERIFY(!sessionToken.isEmpty());

        const QList<QJsonObject> binds = callsTo(u"BindShortcuts"_qs);
        QCOMPARE(binds.size(), 1);
        const QJsonArray args = binds[0][u"args"_qs].toArray();
        QVERIFY(args[0].toString().endsWith(u'/' + sessionToken));
        const QJsonArray shortcuts = args[1].toArray();
        QCOMPARE(shortcuts.size(), 1);
        QCOMPARE(shortcuts[0][0].toString(), u"toggle"_qs);
        QCOMPARE(shortcuts[0][1][u"description"_qs].toString(), u"Open Tallowfern"_qs);
        QCOMPARE(preferredTrigger(binds[0]), u"ALT+n"_qs);
        QCOMPARE(args[2].toString(), QString());
        QVERIFY(!args[3][u"handle_token"_qs].toString().isEmpty());
    }

    void portalChoosingItsOwnHandles()
    {
        startPortal();
        QCOMPARE(control(u"SetOwnHandles"_qs, {true}).type(), QDBusMessage::ReplyMessage);
        PortalShortcut backend(bus(), m_us.get());
        bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(backend.status(), Status::Bound);
    }

    void activation_data()
    {
        QTest::addColumn<bool>("ourSession");
        QTest::addColumn<QString>("id");
        QTest::addColumn<int>("expected");
        QTest::newRow("ours") << true << u"toggle"_qs << 1;
        QTest::newRow("another id") << true << u"other"_qs << 0;
        QTest::newRow("another session") << false << u"toggle"_qs << 0;
    }

    void activation()
    {
        QFETCH(bool, ourSession);
        QFETCH(QString, id);
        QFETCH(int, expected);
        startPortal();
        PortalShortcut backend(bus(), m_us.get());
        bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(backend.status(), Status::Bound);
        const QString session = boundSession();
        QSignalSpy activated(&backend, &GlobalShortcutBackend::activated);

        activate(ourSession ? session : u"/org/freedesktop/portal/desktop/session/1_999/x"_qs, id);
        // A press of our own key after it: once that arrived, so did the one before.
        activate(session, u"toggle"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(activated.size() >= 1 + expected, timeout);
        QCOMPARE(activated.size(), 1 + expected);
    }

    void newKeyRebinds_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<QString>("trigger");
        QTest::newRow("ctrl shift space")
            << Shortcut(Shortcut::keySpace, Shortcut::Control | Shortcut::Shift)
            << u"CTRL+SHIFT+space"_qs;
        QTest::newRow("ctrl tab") << Shortcut::defaultSwitchTab() << u"CTRL+Tab"_qs;
    }

    void newKeyRebinds()
    {
        QFETCH(Shortcut, shortcut);
        QFETCH(QString, trigger);
        startPortal();
        PortalShortcut backend(bus(), m_us.get());
        bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(backend.status(), Status::Bound);
        const QString oldSession = boundSession();

        backend.unbind();
        const QList<Status> statuses = bindAndWait(backend, shortcut);
        QCOMPARE(statuses, (QList<Status>{Status::Pending, Status::Bound}));
        const QList<QJsonObject> binds = callsTo(u"BindShortcuts"_qs);
        QCOMPARE(binds.size(), 2);
        QCOMPARE(preferredTrigger(binds[1]), trigger);
        const QString newSession = boundSession();
        QVERIFY(newSession != oldSession);
        const QList<QJsonObject> closes = callsTo(u"Session.Close"_qs);
        QCOMPARE(closes.size(), 1);
        QCOMPARE(closes[0][u"path"_qs].toString(), oldSession);

        QSignalSpy activated(&backend, &GlobalShortcutBackend::activated);
        activate(oldSession, u"toggle"_qs);
        activate(newSession, u"toggle"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(!activated.isEmpty(), timeout);
        QCOMPARE(activated.size(), 1);
    }

    void unbindKeepsTheSession()
    {
        startPortal();
        PortalShortcut backend(bus(), m_us.get());
        bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(backend.status(), Status::Bound);
        const QString session = boundSession();
        const qsizetype before = calls().size();
        QSignalSpy activated(&backend, &GlobalShortcutBackend::activated);

        backend.unbind();
        QCOMPARE(backend.status(), Status::Unbound);
        // The signal goes out before the reply to this call, so once the call returns the press
        // waits in this thread's event queue.
        activate(session, u"toggle"_qs);
        QCoreApplication::processEvents();
        QCOMPARE(activated.size(), 0);
        backend.bind(Shortcut::defaultOpen());
        QCOMPARE(backend.status(), Status::Bound);
        activate(session, u"toggle"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(!activated.isEmpty(), timeout);
        QCOMPARE(activated.size(), 1);
        QCOMPARE(calls().size(), before);
        QCOMPARE(backend.triggerDescription(), u"Alt+N"_qs);
    }

    void desktopRefuses_data()
    {
        QTest::addColumn<uint>("code");
        QTest::addColumn<bool>("assign");
        QTest::addColumn<QString>("message");
        QTest::newRow("cancelled")
            << 1u << true << u"The shortcut was declined in the desktop's dialog."_qs;
        QTest::newRow("failed") << 2u << true << u"The desktop could not set up the shortcut."_qs;
        QTest::newRow("key left out")
            << 0u << false << u"The desktop did not assign a key to the shortcut."_qs;
    }

    void desktopRefuses()
    {
        QFETCH(uint, code);
        QFETCH(bool, assign);
        QFETCH(QString, message);
        startPortal();
        QCOMPARE(control(u"SetBindResponse"_qs, {code, assign}).type(), QDBusMessage::ReplyMessage);
        PortalShortcut backend(bus(), m_us.get());
        expectWarning(message);
        const QList<Status> statuses = bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(statuses, (QList<Status>{Status::Pending, Status::Refused}));
        QCOMPARE(backend.message(), message);
        QVERIFY(backend.triggerDescription().isEmpty());

        // Asking again, after the user changed their mind, shows the dialog again.
        QCOMPARE(control(u"SetBindResponse"_qs, {0u, true}).type(), QDBusMessage::ReplyMessage);
        bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(backend.status(), Status::Bound);
        QVERIFY(backend.message().isEmpty());
        QCOMPARE(callsTo(u"BindShortcuts"_qs).size(), 2);
    }

    void desktopEndsTheSession()
    {
        startPortal();
        PortalShortcut backend(bus(), m_us.get());
        bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(backend.status(), Status::Bound);
        expectWarning(u"The desktop withdrew the shortcut."_qs);
        QCOMPARE(control(u"CloseSession"_qs, {QVariant::fromValue(QDBusObjectPath(boundSession()))})
                     .type(),
                 QDBusMessage::ReplyMessage);
        QTRY_COMPARE_WITH_TIMEOUT(backend.status(), Status::Refused, timeout);
        QCOMPARE(backend.message(), u"The desktop withdrew the shortcut."_qs);
        QVERIFY(backend.triggerDescription().isEmpty());
    }

    void portalGoesAway()
    {
        startPortal();
        PortalShortcut backend(bus(), m_us.get());
        bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(backend.status(), Status::Bound);
        expectWarning(u"The desktop portal stopped; the shortcut no longer works."_qs);
        stopPortal();
        QTRY_COMPARE_WITH_TIMEOUT(backend.status(), Status::Refused, timeout);
        QVERIFY(!backend.message().isEmpty());
    }

    void availability_data()
    {
        QTest::addColumn<bool>("portal");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Status>("expected");
        QTest::newRow("no portal") << false << QStringList() << Status::Unavailable;
        QTest::newRow("no GlobalShortcuts")
            << true << QStringList{u"--no-global-shortcuts"_qs} << Status::Unavailable;
        QTest::newRow("no registry") << true << QStringList{u"--no-registry"_qs} << Status::Bound;
        QTest::newRow("version 2")
            << true << QStringList{u"--version"_qs, u"2"_qs} << Status::Bound;
    }

    void availability()
    {
        QFETCH(bool, portal);
        QFETCH(QStringList, arguments);
        QFETCH(Status, expected);
        if (portal)
            startPortal(arguments);
        PortalShortcut backend(bus(), m_us.get());
        const QList<Status> statuses = bindAndWait(backend, Shortcut::defaultOpen());
        QCOMPARE(statuses, (QList<Status>{Status::Pending, expected}));
        QVERIFY(backend.message().isEmpty());
        if (expected == Status::Unavailable)
            QVERIFY(callsTo(u"CreateSession"_qs).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestPortalShortcut)
#include "tst_portalshortcut.moc"
