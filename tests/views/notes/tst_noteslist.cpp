#include "NotesList.h"
#include "notes/NotesIndex.h"
#include "store/BoardStore.h"
#include "store/VaultNotes.h"
#include "support/StoreFixture.h"

#include <QAbstractItemModelTester>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Holds the walk of the vault until the test lets it go.
QSemaphore walkStarted;
QSemaphore walkMayGo;
std::atomic<int> walks{0};

void heldWalk()
{
    ++walks;
    walkStarted.release();
    walkMayGo.acquire();
}

void countedWalk()
{
    ++walks;
}

// While it lives, every walk waits for let().
class HeldWalks {
public:
    HeldWalks() { VaultNotes::setBeforeWalkForTesting(&heldWalk); }
    ~HeldWalks()
    {
        let();
        VaultNotes::setBeforeWalkForTesting(&countedWalk);
    }
    HeldWalks(const HeldWalks &) = delete;
    HeldWalks &operator=(const HeldWalks &) = delete;

    [[nodiscard]] static bool started() { return walkStarted.tryAcquire(1, 5000); }
    void let()
    {
        if (!m_let)
            walkMayGo.release();
        m_let = true;
    }

private:
    bool m_let = false;
};

} // namespace

class TestNotesList : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;
    std::unique_ptr<BoardStore> m_store;

    void note(const QString &relative, int minutesAgo)
    {
        const QString path = m_scratch->vault() + u'/' + relative;
        Scratch::write(path, "text\n");
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addSecs(-60 * minutesAgo),
                                 QFileDevice::FileModificationTime));
    }

    void refreshed(NotesList &list)
    {
        QSignalSpy done(&list, &NotesList::refreshed);
        list.refresh();
        QVERIFY(list.loading());
        QVERIFY(done.wait(5000));
        QVERIFY(!list.loading());
    }

private slots:
    void initTestCase() { VaultNotes::setBeforeWalkForTesting(&countedWalk); }

    void init()
    {
        m_store.reset();
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
        note(u"Inbox.md"_qs, 5);
        note(u"Projects/Garden plan.md"_qs, 60);
        note(u"Projects/Kitchen.md"_qs, 3 * 24 * 60);
        note(u"01 Journal/Boards/2025-03-06.md"_qs, 1); // boards are not notes
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
        m_launcher.opened.clear();
        walks = 0;
    }

    void cleanup()
    {
        m_store.reset();
        // QDir cannot remove names that are not UTF-8.
        ::unlink((QFile::encodeName(m_scratch->vault()) + "/Caf\xE9.md").constData());
    }

    void listsNewestFirstWithTimes()
    {
        NotesList list;
        QAbstractItemModelTester tester(&list,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        list.setStore(m_store.get());
        refreshed(list);
        QCOMPARE(list.count(), 3);
        QCOMPARE(list.header(), u"Recent"_qs);
        const auto at = [&](int row, int role) { return list.index(row).data(role).toString(); };
        QCOMPARE(at(0, NotesList::NameRole), u"Inbox"_qs);
        QCOMPARE(at(0, NotesList::FolderRole), QString());
        QCOMPARE(at(1, NotesList::PathRole), u"Projects/Garden plan"_qs);
        QCOMPARE(at(1, NotesList::FolderRole), u"Projects"_qs);
        QCOMPARE(at(0, NotesList::ModifiedRole), u"5 minutes ago"_qs);
        QCOMPARE(at(1, NotesList::ModifiedRole), u"1 hour ago"_qs);
        QCOMPARE(at(2, NotesList::ModifiedRole), u"3 days ago"_qs);
    }

    // Letters narrow the list and the header counts the rows; spaces alone count as a query.
    void queryNarrows()
    {
        NotesList list;
        list.setStore(m_store.get());
        refreshed(list);
        QSignalSpy header(&list, &NotesList::headerChanged);
        list.setQuery(u"proj"_qs);
        QCOMPARE(list.count(), 2);
        QCOMPARE(list.header(), u"2 matches"_qs);
        list.setQuery(u"GARDEN"_qs);
        QCOMPARE(list.count(), 1);
        QCOMPARE(list.header(), u"1 matches"_qs);
        list.setQuery(u"   "_qs);
        QCOMPARE(list.count(), 3);
        QCOMPARE(list.header(), u"3 matches"_qs);
        list.setQuery(QString());
        QCOMPARE(list.header(), u"Recent"_qs);
        QVERIFY(header.size() >= 4);
    }

    void neverMoreThanForty()
    {
        for (int i = 0; i < 60; ++i)
            note(u"Many/note %1.md"_qs.arg(i), 10 + i);
        NotesList list;
        list.setStore(m_store.get());
        refreshed(list);
        QCOMPARE(list.count(), NotesIndex::maxShown);
        list.setQuery(u"note"_qs);
        QCOMPARE(list.count(), NotesIndex::maxShown);
        QCOMPARE(list.header(), u"40 matches"_qs);
    }

    void openingGoesToObsidian()
    {
        NotesList list;
        list.setStore(m_store.get());
        refreshed(list);
        list.setQuery(u"kitchen"_qs);
        QVERIFY(list.openCurrent());
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(m_launcher.opened.first().contains("file=Projects/Kitchen"));
        list.setQuery(u"nothing like this"_qs);
        QVERIFY(!list.openCurrent());
        QVERIFY(!list.open(-1));
        QCOMPARE(m_launcher.opened.size(), 1);
    }

    // The list follows the vault without walking it again, however often the tab opens.
    void changesShowWithoutAnotherWalk()
    {
        {
            NotesList list;
            list.setStore(m_store.get());
            refreshed(list);
        }
        note(u"Later.md"_qs, 0);
        for (int opening = 0; opening < 3; ++opening) {
            NotesList list;
            list.setStore(m_store.get());
            list.refresh();
            QVERIFY(!list.loading());
            QTRY_COMPARE_WITH_TIMEOUT(list.index(0).data(NotesList::NameRole).toString(),
                                      u"Later"_qs, 5000);
        }
        QCOMPARE(walks.load(), 1);
    }

    // A list that goes while the vault is being walked does not wait for the walk.
    void goingNeverWaitsForAWalk()
    {
        HeldWalks held;
        auto list = std::make_unique<NotesList>();
        list->setStore(m_store.get());
        list->refresh();
        QVERIFY(held.started());
        QVERIFY(list->loading());
        // Waiting here would never end: the walk is held until after this.
        list.reset();
        held.let();
        QTRY_VERIFY_WITH_TIMEOUT(!m_store->vaultNotes()->loading(), 5000);
        QCOMPARE(m_store->vaultNotes()->size(), 3);
    }

    // A query typed while the vault is walked is answered when the walk ends, and Return
    // pressed meanwhile opens the first match then.
    void queryAndReturnDuringAWalk()
    {
        HeldWalks held;
        NotesList list;
        list.setStore(m_store.get());
        QSignalSpy header(&list, &NotesList::headerChanged);
        list.refresh();
        QVERIFY(held.started());
        QCOMPARE(list.header(), u"Recent"_qs);
        list.setQuery(u"kit"_qs);
        QCOMPARE(list.count(), 0);
        QCOMPARE(list.header(), u"Searching…"_qs);
        QVERIFY(!list.openCurrent());
        QVERIFY(m_launcher.opened.isEmpty());
        held.let();
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 1, 5000);
        QCOMPARE(list.header(), u"1 matches"_qs);
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(m_launcher.opened.first().contains("file=Projects/Kitchen"));
    }

    // Return pressed during a walk for a query that was then changed opens nothing later.
    void returnForAnOlderQueryIsForgotten()
    {
        HeldWalks held;
        NotesList list;
        list.setStore(m_store.get());
        list.refresh();
        QVERIFY(held.started());
        list.setQuery(u"kit"_qs);
        QVERIFY(!list.openCurrent());
        list.setQuery(u"garden"_qs);
        held.let();
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 1, 5000);
        QVERIFY(m_launcher.opened.isEmpty());
    }

    void arrowsMoveTheSelection()
    {
        NotesList list;
        list.setStore(m_store.get());
        refreshed(list);
        QCOMPARE(list.count(), 3);
        QCOMPARE(list.currentRow(), -1);
        QSignalSpy current(&list, &NotesList::currentRowChanged);
        const QList<std::pair<int, int>> steps{{+1, 0}, {+1, 1},  {+1, 2},  {+1, 2}, {-1, 1},
                                               {-1, 0}, {-1, -1}, {-1, -1}, {+1, 0}};
        for (const auto &[delta, expected] : steps) {
            list.moveCurrent(delta);
            QCOMPARE(list.currentRow(), expected);
        }
        QCOMPARE(current.count(), 7);
        // Return opens the selected row.
        list.moveCurrent(+1);
        QVERIFY(list.openCurrent());
        QVERIFY(m_launcher.opened.last().contains("file=Projects/Garden%20plan"));
        // A new query starts without a selection; Return then opens the first row.
        list.setQuery(u"o"_qs);
        QCOMPARE(list.currentRow(), -1);
        QVERIFY(list.openCurrent());
        QVERIFY(m_launcher.opened.last().contains("file=Inbox"));
        // Nothing to select in an empty list.
        list.setQuery(u"nothing"_qs);
        list.moveCurrent(+1);
        QCOMPARE(list.currentRow(), -1);
    }

    // While the list has the keyboard some row stays selected.
    void arrowsWithinTheList()
    {
        NotesList list;
        list.setStore(m_store.get());
        list.moveCurrentWithin(0);
        QCOMPARE(list.currentRow(), -1);
        refreshed(list);
        QCOMPARE(list.count(), 3);
        const QList<std::pair<int, int>> steps{{0, 0},  {-1, 0}, {+1, 1}, {+1, 2},
                                               {+1, 2}, {0, 2},  {-1, 1}, {-1, 0}};
        for (const auto &[delta, expected] : steps) {
            list.moveCurrentWithin(delta);
            QCOMPARE(list.currentRow(), expected);
        }
        list.setQuery(u"nothing"_qs);
        list.moveCurrentWithin(+1);
        QCOMPARE(list.currentRow(), -1);
    }

    // The selection stays on its note when the list changes under it.
    void selectionFollowsItsNote()
    {
        NotesList list;
        list.setStore(m_store.get());
        refreshed(list);
        list.moveCurrent(+1);
        list.moveCurrent(+1);
        QCOMPARE(list.index(1).data(NotesList::NameRole).toString(), u"Garden plan"_qs);
        note(u"Newer.md"_qs, 0);
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 4, 5000);
        QCOMPARE(list.currentRow(), 2);
        QCOMPARE(list.index(2).data(NotesList::NameRole).toString(), u"Garden plan"_qs);
        QVERIFY(QFile::remove(m_scratch->vault() + u"/Projects/Garden plan.md"_qs));
        QTRY_COMPARE_WITH_TIMEOUT(list.count(), 3, 5000);
        QCOMPARE(list.currentRow(), -1);
    }

    // A name that is not UTF-8 is shown readably and opened by its own bytes.
    void nameThatIsNotUtf8()
    {
        const QByteArray path = QFile::encodeName(m_scratch->vault()) + "/Caf\xE9.md";
        const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0)
            QSKIP("this file system takes only UTF-8 names");
        ::close(fd);
        NotesList list;
        list.setStore(m_store.get());
        refreshed(list);
        list.setQuery(u"café"_qs);
        QCOMPARE(list.count(), 1);
        QCOMPARE(list.index(0).data(NotesList::NameRole).toString(), u"Café"_qs);
        QVERIFY(list.openCurrent());
        QVERIFY2(m_launcher.opened.last().endsWith("&file=Caf%E9"), m_launcher.opened.last());
    }

    // "é" typed finds a name whose "é" is stored as "e" and a combining accent.
    void decomposedNamesAreFound()
    {
        note(u"Cafe\u0301.md"_qs, 2);
        NotesList list;
        list.setStore(m_store.get());
        refreshed(list);
        list.setQuery(u"CAFÉ"_qs);
        QCOMPARE(list.count(), 1);
        QVERIFY(list.openCurrent());
        QVERIFY(m_launcher.opened.last().endsWith("&file=Cafe%CC%81"));
    }

    void missingVaultListsNothing()
    {
        qputenv("TALLOWFERN_VAULT", QFile::encodeName(m_scratch->path(u"no such vault"_qs)));
        NotesList list;
        list.setStore(m_store.get());
        refreshed(list);
        QCOMPARE(list.count(), 0);
        QVERIFY(!list.openCurrent());
    }
};

QTEST_GUILESS_MAIN(TestNotesList)
#include "tst_noteslist.moc"
