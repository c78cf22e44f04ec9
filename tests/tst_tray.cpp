#include "support/StoreFixture.h"
#include "support/TrayMenu.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QProcess>
#include <QScopeGuard>
#include <QTest>

class TestTray : public QObject {
    Q_OBJECT

    FakeWatcher m_watcher;

    QList<MenuItem> menu() { return TrayMenu::items(m_watcher.itemService); }
    static MenuItem find(const QList<MenuItem> &items, const QString &label)
    {
        return TrayMenu::find(items, label);
    }
    void click(int id) { TrayMenu::click(m_watcher.itemService, id); }

private slots:
    void initTestCase()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected())
            QFAIL("needs a session bus: run under dbus-run-session (tools/dev test does)");
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            QFAIL("needs an X server: run under Xvfb (tools/dev test does)");
        QVERIFY(bus.registerObject(u"/StatusNotifierWatcher"_qs, &m_watcher,
                                   QDBusConnection::ExportAllContents));
    }

    // A desktop without a tray, whose panel comes up after the app: the app says so and, once
    // the tray is there, puts its icon in it.
    void trayThatComesLater()
    {
        Scratch scratch;
        QProcess app;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_qs, u"xcb"_qs);
        environment.insert(u"QT_LOGGING_RULES"_qs,
                           u"tallowfern.*.debug=true;qt.qpa.menu.debug=true"_qs);
        app.setProcessEnvironment(environment);
        app.start(QStringLiteral(TALLOWFERN_BINARY), {});
        QVERIFY(app.waitForStarted(10000));
        QByteArray err;
        // What the app said, for a failure's diagnosis.
        const auto dump = qScopeGuard([&] {
            if (QTest::currentTestFailed())
                qWarning().noquote() << err + app.readAllStandardError();
        });
        QTRY_VERIFY_WITH_TIMEOUT((err += app.readAllStandardError()).contains("no tray"), 15000);
        QVERIFY(m_watcher.itemService.isEmpty());

        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerService(u"org.kde.StatusNotifierWatcher"_qs));
        emit m_watcher.StatusNotifierHostRegistered();
        QTRY_VERIFY_WITH_TIMEOUT(!m_watcher.itemService.isEmpty(), 15000);
        QTRY_VERIFY_WITH_TIMEOUT(menu().size() >= 8, 10000);
        click(find(menu(), u"Quit Tallowfern"_qs).id);
        QVERIFY(app.waitForFinished(10000));
        QCOMPARE(app.exitCode(), 0);
        m_watcher.itemService.clear();
    }

    void menuItemsAndQuit()
    {
        Scratch scratch;
        QProcess app;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_qs, u"xcb"_qs);
        app.setProcessEnvironment(environment);
        app.setProcessChannelMode(QProcess::ForwardedChannels);
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.interface()->isServiceRegistered(u"org.kde.StatusNotifierWatcher"_qs))
            QVERIFY(bus.registerService(u"org.kde.StatusNotifierWatcher"_qs));
        app.start(QStringLiteral(TALLOWFERN_BINARY), {});
        QVERIFY(app.waitForStarted(10000));
        QTRY_VERIFY_WITH_TIMEOUT(!m_watcher.itemService.isEmpty(), 15000);

        QList<MenuItem> items;
        QTRY_VERIFY_WITH_TIMEOUT((items = menu()).size() >= 8, 10000);
        QStringList labels;
        for (const MenuItem &item : items) {
            labels.append(item.properties.value(u"type"_qs).toString() == u"separator"
                              ? u"-"_qs
                              : item.properties.value(u"label"_qs).toString());
        }
        QCOMPARE(labels, (QStringList{u"Open Tallowfern"_qs, u"Open Today's Board in Obsidian"_qs,
                                      u"Show Boards Folder"_qs, u"-"_qs, u"Choose Vault\u2026"_qs,
                                      u"Launch at Login"_qs, u"-"_qs, u"Quit Tallowfern"_qs}));
        const MenuItem quit = find(items, u"Quit Tallowfern"_qs);
        QVERIFY(quit.properties.contains(u"shortcut"_qs));
        const MenuItem login = find(items, u"Launch at Login"_qs);
        QCOMPARE(login.properties.value(u"toggle-type"_qs).toString(), u"checkmark"_qs);
        QCOMPARE(login.properties.value(u"toggle-state"_qs).toInt(), 0);

        // Launch at Login writes the autostart entry for this very binary.
        click(login.id);
        const QString entry = scratch.path(u"config/autostart/io.tallowfern.Tallowfern.desktop"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(entry), 5000);
        QVERIFY(Scratch::read(entry).contains("Exec=" + QByteArray(TALLOWFERN_BINARY) + "\n"));
        QTRY_COMPARE_WITH_TIMEOUT(
            find(menu(), u"Launch at Login"_qs).properties.value(u"toggle-state"_qs).toInt(), 1,
            5000);

        click(quit.id);
        QVERIFY(app.waitForFinished(10000));
        QCOMPARE(app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(app.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(TestTray)
#include "tst_tray.moc"
