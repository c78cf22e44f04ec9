#include "model/Shortcut.h"
#include "platform/KGlobalAccelShortcut.h"
#include "platform/KeyboardLayout.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

using Status = GlobalShortcutBackend::Status;

constexpr int timeoutMs = 15000;
constexpr quint16 keyY = 16;
constexpr quint16 keyF5 = 96;

const QString fakeInterface = u"io.tallowfern.test.FakeKGlobalAccel"_qs;

int combined(Qt::KeyboardModifiers modifiers, Qt::Key key)
{
    return QKeyCombination(modifiers, key).toCombined();
}

QJsonArray ourActionId()
{
    return QJsonArray{u"io.tallowfern.Tallowfern"_qs, u"toggle"_qs, u"Tallowfern"_qs,
                      u"Open Tallowfern"_qs};
}

} // namespace

// The key as an action of KDE's global shortcut service, against a fake of that service (the
// KF5 one, and Plasma 6's without the int-list calls) on the private bus the test runs on.
class TestKGlobalAccelShortcut : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<KeyboardLayout> m_us = KeyboardLayout::fromNames(u"us"_qs);
    QProcess m_fake;

    static QDBusConnection bus() { return QDBusConnection::sessionBus(); }

    static bool serviceOwned()
    {
        return bus().interface()->isServiceRegistered(KGlobalAccelShortcut::service.toString());
    }

    std::unique_ptr<KGlobalAccelShortcut> backend()
    {
        return std::make_unique<KGlobalAccelShortcut>(bus(), m_us.get());
    }

    bool startFake(bool plasma6)
    {
        QStringList arguments{QStringLiteral(FAKE_KGLOBALACCEL)};
        if (plasma6)
            arguments << u"--plasma6"_qs;
        m_fake.setProcessChannelMode(QProcess::ForwardedChannels);
        m_fake.start(u"/usr/bin/python3"_qs, arguments);
        if (!m_fake.waitForStarted(timeoutMs))
            return false;
        return QTest::qWaitFor([] { return serviceOwned(); }, timeoutMs);
    }

    QDBusMessage hook(const QString &method, const QVariantList &arguments = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            KGlobalAccelShortcut::service.toString(), KGlobalAccelShortcut::path.toString(),
            fakeInterface, method);
        message.setArguments(arguments);
        return bus().call(message, QDBus::Block, timeoutMs);
    }

    QJsonArray calls(const QString &method = {})
    {
        const QDBusMessage reply = hook(u"Calls"_qs);
        const QJsonArray all =
            QJsonDocument::fromJson(reply.arguments().value(0).toString().toUtf8()).array();
        if (method.isEmpty())
            return all;
        QJsonArray named;
        for (const QJsonValue &call : all) {
            if (call.toArray().at(0).toString() == method)
                named.append(call);
        }
        return named;
    }

    // The method that sets keys in the running fake: Plasma 6's fake has only the newer one.
    QString keysMethod() const
    {
        return m_fake.arguments().contains(u"--plasma6"_qs) ? u"setShortcutKeys"_qs
                                                            : u"setShortcut"_qs;
    }

    QJsonArray lastKeysCall()
    {
        const QJsonArray sets = calls(keysMethod());
        return sets.isEmpty() ? QJsonArray() : sets.last().toArray();
    }

    void press(const QString &component, const QString &action)
    {
        const QDBusMessage reply = hook(u"Press"_qs, {component, action});
        QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
    }

    void bindAndWait(KGlobalAccelShortcut &backend, const Shortcut &shortcut)
    {
        backend.bind(shortcut);
        QTRY_COMPARE_WITH_TIMEOUT(backend.status(), Status::Bound, timeoutMs);
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(m_us, "the XKB data (xkb-data) is needed");
        if (!bus().isConnected())
            QFAIL("needs a private session bus: run it through ctest");
    }

    void cleanup()
    {
        if (m_fake.state() != QProcess::NotRunning) {
            m_fake.terminate();
            QVERIFY(m_fake.waitForFinished(timeoutMs));
        }
        QTRY_VERIFY_WITH_TIMEOUT(!serviceOwned(), timeoutMs);
    }

    void registration_data()
    {
        QTest::addColumn<bool>("plasma6");
        QTest::newRow("KF5") << false;
        QTest::newRow("Plasma 6") << true;
    }

    void registration()
    {
        QFETCH(bool, plasma6);
        QVERIFY(startFake(plasma6));
        const auto shortcut = backend();
        QCOMPARE(shortcut->name(), u"KDE global shortcuts"_qs);
        QCOMPARE(shortcut->status(), Status::Unbound);
        shortcut->bind(Shortcut::defaultOpen());
        QCOMPARE(shortcut->status(), Status::Pending);
        QTRY_COMPARE_WITH_TIMEOUT(shortcut->status(), Status::Bound, timeoutMs);
        QVERIFY(shortcut->message().isEmpty());

        const QJsonArray registered = calls(u"doRegister"_qs);
        QCOMPARE(registered.size(), 1);
        QCOMPARE(registered.at(0).toArray().at(1).toArray(), ourActionId());
        const QJsonArray set = lastKeysCall();
        QCOMPARE(set.at(1).toArray(), ourActionId());
        QCOMPARE(set.at(2).toArray(), QJsonArray{combined(Qt::AltModifier, Qt::Key_N)});
        // Present, and overriding whatever the service had stored for the action.
        QCOMPARE(set.at(3).toInt(), 6);
        // Registration comes first.
        QCOMPARE(calls().first().toArray().at(0).toString(), u"doRegister"_qs);
    }

    void pressing_data()
    {
        QTest::addColumn<QString>("component");
        QTest::addColumn<QString>("action");
        QTest::addColumn<int>("activations");
        QTest::newRow("ours") << u"io.tallowfern.Tallowfern"_qs << u"toggle"_qs << 1;
        QTest::newRow("other component") << u"org.kde.kwin"_qs << u"toggle"_qs << 0;
        QTest::newRow("other action") << u"io.tallowfern.Tallowfern"_qs << u"other"_qs << 0;
    }

    void pressing()
    {
        QFETCH(QString, component);
        QFETCH(QString, action);
        QFETCH(int, activations);
        QVERIFY(startFake(false));
        const auto shortcut = backend();
        QSignalSpy activated(shortcut.get(), &GlobalShortcutBackend::activated);
        bindAndWait(*shortcut, Shortcut::defaultOpen());
        press(component, action);
        // Our own press after it: once that has arrived, the one before has been handled.
        press(u"io.tallowfern.Tallowfern"_qs, u"toggle"_qs);
        QTRY_COMPARE_WITH_TIMEOUT(activated.count(), activations + 1, timeoutMs);
        QCOMPARE(activated.count(), activations + 1);
    }

    void rebindSendsTheNewKey_data() { registration_data(); }

    void rebindSendsTheNewKey()
    {
        QFETCH(bool, plasma6);
        QVERIFY(startFake(plasma6));
        const auto shortcut = backend();
        bindAndWait(*shortcut, Shortcut::defaultOpen());
        hook(u"ClearCalls"_qs);
        shortcut->bind(Shortcut(keyY, Shortcut::Control | Shortcut::Option));
        QCOMPARE(shortcut->status(), Status::Pending);
        QTRY_COMPARE_WITH_TIMEOUT(shortcut->status(), Status::Bound, timeoutMs);
        QCOMPARE(lastKeysCall().at(2).toArray(),
                 QJsonArray{combined(Qt::ControlModifier | Qt::AltModifier, Qt::Key_Y)});
    }

    void unbindClearsTheKeyAndBindRestoresIt_data() { registration_data(); }

    void unbindClearsTheKeyAndBindRestoresIt()
    {
        QFETCH(bool, plasma6);
        QVERIFY(startFake(plasma6));
        const auto shortcut = backend();
        bindAndWait(*shortcut, Shortcut::defaultOpen());
        const qsizetype sets = calls(keysMethod()).size();

        shortcut->unbind();
        QCOMPARE(shortcut->status(), Status::Unbound);
        QTRY_COMPARE_WITH_TIMEOUT(calls(keysMethod()).size(), sets + 1, timeoutMs);
        QCOMPARE(lastKeysCall().at(1).toArray(), ourActionId());
        QCOMPARE(lastKeysCall().at(2).toArray(), QJsonArray());
        // The action stays known to the service, and so to System Settings.
        QVERIFY(calls(u"unregister"_qs).isEmpty());
        QVERIFY(calls(u"unRegister"_qs).isEmpty());
        QVERIFY(calls(u"setInactive"_qs).isEmpty());

        shortcut->bind(Shortcut::defaultOpen());
        QTRY_COMPARE_WITH_TIMEOUT(shortcut->status(), Status::Bound, timeoutMs);
        QCOMPARE(lastKeysCall().at(2).toArray(), QJsonArray{combined(Qt::AltModifier, Qt::Key_N)});
    }

    void takenKeyIsRefused_data() { registration_data(); }

    void takenKeyIsRefused()
    {
        QFETCH(bool, plasma6);
        QVERIFY(startFake(plasma6));
        hook(u"Take"_qs, {combined(Qt::AltModifier, Qt::Key_N)});
        const auto shortcut = backend();
        shortcut->bind(Shortcut::defaultOpen());
        QTRY_COMPARE_WITH_TIMEOUT(shortcut->status(), Status::Refused, timeoutMs);
        QCOMPARE(shortcut->message(),
                 u"Alt+N is already used by another program in KDE's shortcuts"_qs);

        // Another key is free.
        shortcut->bind(Shortcut(keyF5, Shortcut::Control));
        QTRY_COMPARE_WITH_TIMEOUT(shortcut->status(), Status::Bound, timeoutMs);
        QVERIFY(shortcut->message().isEmpty());
    }

    void changedInSystemSettings_data()
    {
        QTest::addColumn<bool>("sequences");
        QTest::addColumn<QStringList>("actionId");
        QTest::addColumn<int>("key");
        QTest::addColumn<bool>("reported");
        QTest::addColumn<Shortcut>("expected");

        const QStringList ours = KGlobalAccelShortcut::actionId();
        const QStringList other{u"org.kde.kwin"_qs, u"toggle"_qs, u"KWin"_qs, u"Toggle"_qs};
        const int ctrlAltY = combined(Qt::ControlModifier | Qt::AltModifier, Qt::Key_Y);
        const Shortcut ctrlOptionY(keyY, Shortcut::Control | Shortcut::Option);
        QTest::newRow("KF5 signal") << false << ours << ctrlAltY << true << ctrlOptionY;
        QTest::newRow("key sequence signal") << true << ours << ctrlAltY << true << ctrlOptionY;
        QTest::newRow("super space") << true << ours << combined(Qt::MetaModifier, Qt::Key_Space)
                                     << true << Shortcut(Shortcut::keySpace, Shortcut::Command);
        QTest::newRow("another program's action")
            << false << other << ctrlAltY << false << Shortcut();
        // No key types "!" without Shift on a US keyboard: nothing to store.
        QTest::newRow("key without a code")
            << true << ours << combined(Qt::MetaModifier, Qt::Key_Exclam) << false << Shortcut();
        QTest::newRow("key removed") << false << ours << 0 << false << Shortcut();
    }

    void changedInSystemSettings()
    {
        QFETCH(bool, sequences);
        QFETCH(QStringList, actionId);
        QFETCH(int, key);
        QFETCH(bool, reported);
        QFETCH(Shortcut, expected);
        QVERIFY(startFake(false));
        const auto shortcut = backend();
        QSignalSpy changed(shortcut.get(), &GlobalShortcutBackend::shortcutChangedElsewhere);
        bindAndWait(*shortcut, Shortcut::defaultOpen());

        hook(u"ChangeInSettings"_qs, {actionId, QVariant::fromValue(QList<int>{key}), sequences});
        // A change that is always reported, after it: once that has arrived, so has the first.
        const Shortcut last(keyF5, Shortcut::Control);
        hook(u"ChangeInSettings"_qs,
             {KGlobalAccelShortcut::actionId(),
              QVariant::fromValue(QList<int>{combined(Qt::ControlModifier, Qt::Key_F5)}), false});
        QTRY_VERIFY_WITH_TIMEOUT(
            !changed.isEmpty() && changed.last().at(0).value<Shortcut>() == last, timeoutMs);
        QCOMPARE(changed.count(), reported ? 2 : 1);
        if (reported)
            QCOMPARE(changed.first().at(0).value<Shortcut>(), expected);
    }

    void unavailableWithoutTheService()
    {
        // The service could be started on demand here, as on GNOME with KDE's libraries
        // installed; it must not be.
        QVERIFY(bus().interface()->activatableServiceNames().value().contains(
            KGlobalAccelShortcut::service.toString()));
        QVERIFY(!serviceOwned());
        const auto shortcut = backend();
        QSignalSpy activated(shortcut.get(), &GlobalShortcutBackend::activated);
        shortcut->bind(Shortcut::defaultOpen());
        QTRY_COMPARE_WITH_TIMEOUT(shortcut->status(), Status::Unavailable, timeoutMs);
        QVERIFY(!serviceOwned());
        QCOMPARE(activated.count(), 0);

        // Once the service runs (Plasma started late, or the service restarted), the key goes
        // to it.
        QVERIFY(startFake(false));
        QTRY_COMPARE_WITH_TIMEOUT(shortcut->status(), Status::Bound, timeoutMs);
        QCOMPARE(lastKeysCall().at(2).toArray(), QJsonArray{combined(Qt::AltModifier, Qt::Key_N)});
    }

    void inactiveOnDestruction()
    {
        QVERIFY(startFake(false));
        auto shortcut = backend();
        bindAndWait(*shortcut, Shortcut::defaultOpen());
        QVERIFY(calls(u"setInactive"_qs).isEmpty());
        shortcut.reset();
        // The call blocks, so the service has it by now.
        const QJsonArray inactive = calls(u"setInactive"_qs);
        QCOMPARE(inactive.size(), 1);
        QCOMPARE(inactive.at(0).toArray().at(1).toArray(), ourActionId());
        // Kept on record, not forgotten.
        QVERIFY(calls(u"unregister"_qs).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestKGlobalAccelShortcut)
#include "tst_kglobalaccelshortcut.moc"
