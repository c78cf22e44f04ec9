#include "platform/FileRevealer.h"
#include "support/StoreFixture.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QSignalSpy>
#include <QTest>

// Stands in for the desktop's file manager on the test's private session bus.
class FakeFileManager : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    QList<QPair<QString, QStringList>> calls;

public slots:
    void ShowItems(const QStringList &uris, const QString &startupId)
    {
        Q_UNUSED(startupId);
        calls.append({u"ShowItems"_qs, uris});
    }
    void ShowFolders(const QStringList &uris, const QString &startupId)
    {
        Q_UNUSED(startupId);
        calls.append({u"ShowFolders"_qs, uris});
    }
};

class TestFileRevealer : public QObject {
    Q_OBJECT

    RecordingLauncher m_launcher;

private slots:
    void initTestCase()
    {
        if (!QDBusConnection::sessionBus().isConnected())
            QFAIL("needs a session bus: run under dbus-run-session (tools/dev test does)");
    }

    void init() { m_launcher.opened.clear(); }

    void fileManagerSelectsTheItem()
    {
        FakeFileManager manager;
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerObject(u"/org/freedesktop/FileManager1"_qs, &manager,
                                   QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(u"org.freedesktop.FileManager1"_qs));

        FileRevealer revealer(&m_launcher);
        revealer.reveal(u"/vault/01 Journal/Boards/2025-03-07.md"_qs);
        QTRY_COMPARE(manager.calls.size(), 1);
        QCOMPARE(manager.calls[0].first, u"ShowItems"_qs);
        QCOMPARE(manager.calls[0].second,
                 QStringList{u"file:///vault/01 Journal/Boards/2025-03-07.md"_qs});
        revealer.showFolder(u"/vault/./01 Journal//Boards/"_qs);
        QTRY_COMPARE(manager.calls.size(), 2);
        QCOMPARE(manager.calls[1].first, u"ShowFolders"_qs);
        QCOMPARE(manager.calls[1].second, QStringList{u"file:///vault/01 Journal/Boards"_qs});
        QTest::qWait(200);
        QVERIFY(m_launcher.opened.isEmpty());

        bus.unregisterService(u"org.freedesktop.FileManager1"_qs);
        bus.unregisterObject(u"/org/freedesktop/FileManager1"_qs);
    }

    void withoutFileManagerTheFolderOpens()
    {
        QVERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered(
            u"org.freedesktop.FileManager1"_qs));
        FileRevealer revealer(&m_launcher);
        revealer.reveal(u"/vault/Notes/Idea #1.md"_qs);
        QTRY_COMPARE(m_launcher.opened.size(), 1);
        QCOMPARE(m_launcher.opened[0], QByteArray("file:///vault/Notes"));
        revealer.showFolder(u"/vault/Über"_qs);
        QTRY_COMPARE(m_launcher.opened.size(), 2);
        QCOMPARE(QUrl::fromEncoded(m_launcher.opened[1]).toLocalFile(), u"/vault/Über"_qs);
    }
};

QTEST_GUILESS_MAIN(TestFileRevealer)
#include "tst_filerevealer.moc"
