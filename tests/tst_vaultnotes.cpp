#include "notes/NotesIndex.h"
#include "store/BoardStore.h"
#include "store/VaultNotes.h"
#include "support/StoreFixture.h"
#include "support/UsedUpInotify.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <functional>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::atomic<int> walks{0};

void countWalk()
{
    ++walks;
}

QStringList pathsOf(const QList<NoteFile> &notes)
{
    QStringList paths;
    for (const NoteFile &note : notes)
        paths.append(note.path);
    return paths;
}

constexpr int patienceMs = 5000;

} // namespace

class TestVaultNotes;
Q_DECLARE_METATYPE(std::function<void(TestVaultNotes *)>)

// The vault's notes, walked once and then kept current from what inotify reports: after every
// kind of change the list has to be what a new walk of the vault finds, without that walk.
class TestVaultNotes : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;
    std::unique_ptr<BoardStore> m_store;

    [[nodiscard]] VaultNotes *notes() const { return m_store->vaultNotes(); }
    [[nodiscard]] QString vault(const QString &relative = {}) const
    {
        return relative.isEmpty() ? m_scratch->vault() : m_scratch->vault() + u'/' + relative;
    }
    // What a walk of the vault finds now.
    [[nodiscard]] QStringList walked() const
    {
        return pathsOf(NotesIndex::scan(vault(), m_store->boardsFolder()).shown({}));
    }
    void write(const QString &relative, qint64 secondsAgo = 0)
    {
        Scratch::write(vault(relative), "text\n");
        if (secondsAgo == 0)
            return;
        QFile file(vault(relative));
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-secondsAgo),
                                 QFileDevice::FileModificationTime));
    }
    void ready()
    {
        notes()->require();
        QTRY_VERIFY_WITH_TIMEOUT(!notes()->loading(), patienceMs);
        QVERIFY(notes()->isKnown());
    }

private slots:
    void initTestCase() { VaultNotes::setBeforeWalkForTesting(&countWalk); }
    void cleanupTestCase() { VaultNotes::setBeforeWalkForTesting(nullptr); }

    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        write(u"Inbox.md"_qs, 50);
        write(u"Projects/Garden.md"_qs, 40);
        write(u"Projects/Kitchen.md"_qs, 30);
        write(u"Projects/Old/Shed.md"_qs, 20);
        write(u"01 Journal/Boards/2025-03-06.md"_qs, 10);
        write(u"01 Journal/Quick Notes/2025-03-06.md"_qs, 60);
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
        walks = 0;
    }

    void cleanup()
    {
        m_store.reset();
        // QDir cannot remove names that are not UTF-8.
        ::unlink((QFile::encodeName(vault()) + "/caf\xE9.md").constData());
    }

    // Nothing is walked until the list is needed, then once, however often it is needed.
    void walksOnceWhenFirstNeeded()
    {
        QCOMPARE(walks.load(), 0);
        QVERIFY(!notes()->isKnown());
        QCOMPARE(notes()->shown({}), QList<NoteFile>());
        QSignalSpy changed(notes(), &VaultNotes::changed);
        notes()->require();
        QVERIFY(notes()->loading());
        QTRY_VERIFY_WITH_TIMEOUT(!notes()->loading(), patienceMs);
        QVERIFY(changed.count() >= 1);
        QVERIFY(notes()->isLive());
        QCOMPARE(
            pathsOf(notes()->shown({})),
            (QStringList{u"Projects/Old/Shed"_qs, u"Projects/Kitchen"_qs, u"Projects/Garden"_qs,
                         u"Inbox"_qs, u"01 Journal/Quick Notes/2025-03-06"_qs}));
        for (int i = 0; i < 5; ++i) {
            notes()->require();
            QVERIFY(!notes()->loading());
        }
        QCOMPARE(walks.load(), 1);
    }

    void followsChanges_data()
    {
        QTest::addColumn<std::function<void(TestVaultNotes *)>>("change");
        using Change = std::function<void(TestVaultNotes *)>;
        const auto rename = [](const QString &from, const QString &to) {
            return ::rename(QFile::encodeName(from).constData(),
                            QFile::encodeName(to).constData()) == 0;
        };

        QTest::newRow("new note") << Change([](TestVaultNotes *t) { t->write(u"New.md"_qs); });
        QTest::newRow("new note in a folder")
            << Change([](TestVaultNotes *t) { t->write(u"Projects/Old/New.md"_qs); });
        QTest::newRow("note removed")
            << Change([](TestVaultNotes *t) { QVERIFY(QFile::remove(t->vault(u"Inbox.md"_qs))); });
        QTest::newRow("note renamed") << Change([rename](TestVaultNotes *t) {
            QVERIFY(rename(t->vault(u"Inbox.md"_qs), t->vault(u"Outbox.md"_qs)));
        });
        QTest::newRow("note moved to another folder") << Change([rename](TestVaultNotes *t) {
            QVERIFY(rename(t->vault(u"Inbox.md"_qs), t->vault(u"Projects/Old/Inbox.md"_qs)));
        });
        QTest::newRow("written in place becomes the newest") << Change([](TestVaultNotes *t) {
            QFile file(t->vault(u"Inbox.md"_qs));
            QVERIFY(file.open(QIODevice::Append));
            QVERIFY(file.write("more\n") == 5);
        });
        QTest::newRow("saved by renaming over it") << Change([rename](TestVaultNotes *t) {
            Scratch::write(t->vault(u"Projects/.Garden.md.tmp"_qs), "new\n");
            QVERIFY(rename(t->vault(u"Projects/.Garden.md.tmp"_qs),
                           t->vault(u"Projects/Garden.md"_qs)));
        });
        QTest::newRow("time set back") << Change([](TestVaultNotes *t) {
            QFile file(t->vault(u"Projects/Old/Shed.md"_qs));
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(QDateTime::currentDateTime().addDays(-400),
                                     QFileDevice::FileModificationTime));
        });
        QTest::newRow("folders made with notes") << Change([](TestVaultNotes *t) {
            QVERIFY(QDir().mkpath(t->vault(u"Made/Deeper/Deepest"_qs)));
            t->write(u"Made/Deeper/Deepest/a.md"_qs);
            t->write(u"Made/b.md"_qs);
        });
        QTest::newRow("folder removed") << Change(
            [](TestVaultNotes *t) { QVERIFY(QDir(t->vault(u"Projects"_qs)).removeRecursively()); });
        QTest::newRow("folder renamed, then written in") << Change([rename](TestVaultNotes *t) {
            QVERIFY(rename(t->vault(u"Projects"_qs), t->vault(u"Work"_qs)));
            t->write(u"Work/Old/After.md"_qs);
        });
        QTest::newRow("folder moved out, then written in") << Change([rename](TestVaultNotes *t) {
            QVERIFY(rename(t->vault(u"Projects"_qs), t->m_scratch->path(u"Elsewhere"_qs)));
            Scratch::write(t->m_scratch->path(u"Elsewhere/Old/After.md"_qs), "x\n");
        });
        QTest::newRow("folder moved in") << Change([rename](TestVaultNotes *t) {
            Scratch::write(t->m_scratch->path(u"Outside/Sub/In.md"_qs), "x\n");
            QVERIFY(rename(t->m_scratch->path(u"Outside"_qs), t->vault(u"Outside"_qs)));
            t->write(u"Outside/Sub/Later.md"_qs);
        });
        QTest::newRow("folder named like a note")
            << Change([](TestVaultNotes *t) { QVERIFY(QDir().mkpath(t->vault(u"Topic.md"_qs))); });
        QTest::newRow("name that is not UTF-8") << Change([](TestVaultNotes *t) {
            const QByteArray path = QFile::encodeName(t->vault()) + "/caf\xE9.md";
            const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            QVERIFY(fd >= 0);
            ::close(fd);
        });
        // None of these is a note of the list; the note written after them shows that they
        // were seen and passed over.
        QTest::newRow("hidden, boards and other files") << Change([](TestVaultNotes *t) {
            t->write(u".obsidian/workspace.md"_qs);
            t->write(u".hidden.md"_qs);
            t->write(u"Projects/.drafts/x.md"_qs);
            t->write(u"01 Journal/Boards/2025-03-07.md"_qs);
            t->write(u"01 Journal/Boards/Archive/2024.md"_qs);
            t->write(u"Projects/readme.txt"_qs);
            t->write(u"Projects/Upper.MD"_qs);
            t->write(u"Last.md"_qs);
        });
    }
    void followsChanges()
    {
        QFETCH(std::function<void(TestVaultNotes *)>, change);
        ready();
        const QStringList before = pathsOf(notes()->shown({}));
        change(this);
        QVERIFY(walked() != before);
        QTRY_COMPARE_WITH_TIMEOUT(pathsOf(notes()->shown({})), walked(), patienceMs);
        // Kept current without walking the vault again.
        QCOMPARE(walks.load(), 1);
        QVERIFY(notes()->isLive());
        // And the search agrees too.
        for (const QString &query : {u"o"_qs, u"old"_qs, u"é"_qs, u"md"_qs})
            QCOMPARE(pathsOf(notes()->shown(query)),
                     pathsOf(NotesIndex::scan(vault(), m_store->boardsFolder()).shown(query)));
    }

    // Many changes at once, folders made, filled, emptied and removed while earlier events are
    // still being read.
    void burstOfChanges()
    {
        ready();
        for (int i = 0; i < 200; ++i) {
            const QString folder = u"Burst/%1"_qs.arg(i % 7);
            write(folder + u"/n%1.md"_qs.arg(i));
            if (i % 5 == 0)
                QVERIFY(QFile::remove(vault(folder + u"/n%1.md"_qs.arg(i))));
        }
        QVERIFY(QDir(vault(u"Burst/3"_qs)).removeRecursively());
        QTRY_COMPARE_WITH_TIMEOUT(
            notes()->size(), NotesIndex::scan(vault(), m_store->boardsFolder()).size(), patienceMs);
        QCOMPARE(pathsOf(notes()->shown({})), walked());
        QCOMPARE(walks.load(), 1);
    }

    // When the system will not watch, the vault is walked again whenever the list is needed.
    void walksAgainWhenItCannotWatch()
    {
        // Made of the spare user's inotify instances, so the vault must be theirs to use.
        QVERIFY(::chmod(QFile::encodeName(m_scratch->path()).constData(), 0755) == 0);
        QVERIFY(::chmod(QFile::encodeName(vault()).constData(), 0777) == 0);
        UsedUpInotify used;
        if (!used.limitReached)
            QSKIP(used.reason);
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(u"^Changes to the vault's notes aren't followed: "
                                                u".*max_user_instances.*Notes tab opens$"_qs));
        ready();
        QVERIFY(!notes()->isLive());
        QCOMPARE(pathsOf(notes()->shown({})), walked());
        write(u"New.md"_qs);
        ready();
        used.giveBack();
        QCOMPARE(walks.load(), 2);
        QCOMPARE(pathsOf(notes()->shown({})), walked());
        QVERIFY(pathsOf(notes()->shown({})).contains(u"New"_qs));
        // Once watching works again, it is followed again.
        ready();
        QCOMPARE(walks.load(), 3);
        QVERIFY(notes()->isLive());
    }

    // Another vault, or another boards folder, is walked anew when next needed.
    void followsTheBoardsFolder()
    {
        ready();
        QVERIFY(!walked().contains(u"01 Journal/Boards/2025-03-06"_qs));
        QSignalSpy changed(notes(), &VaultNotes::changed);
        m_store->setBoardsFolder(u"Projects"_qs);
        QCOMPARE(changed.count(), 1);
        QVERIFY(!notes()->isKnown());
        QCOMPARE(notes()->shown({}), QList<NoteFile>());
        ready();
        QCOMPARE(walks.load(), 2);
        const QStringList paths = pathsOf(notes()->shown({}));
        QCOMPARE(paths, walked());
        QVERIFY(paths.contains(u"01 Journal/Boards/2025-03-06"_qs));
        QVERIFY(!paths.contains(u"Projects/Garden"_qs));
        // And the new choice is followed: the old boards folder is now watched.
        write(u"01 Journal/Boards/2025-03-07.md"_qs);
        QTRY_COMPARE_WITH_TIMEOUT(pathsOf(notes()->shown({})), walked(), patienceMs);
        QCOMPARE(walks.load(), 2);
    }

    // The vault folder goes away: nothing to list; once it is back, the next need walks it.
    void vaultRemovedAndBack()
    {
        ready();
        const QString aside = m_scratch->path(u"vault aside"_qs);
        QVERIFY(QDir().rename(vault(), aside));
        QTRY_VERIFY_WITH_TIMEOUT(!notes()->isLive(), patienceMs);
        QCOMPARE(notes()->shown({}), QList<NoteFile>());
        QVERIFY(QDir().rename(aside, vault()));
        ready();
        QVERIFY(notes()->isLive());
        QCOMPARE(pathsOf(notes()->shown({})), walked());
        QCOMPARE(walks.load(), 2);
    }
};

QTEST_GUILESS_MAIN(TestVaultNotes)
#include "tst_vaultnotes.moc"
