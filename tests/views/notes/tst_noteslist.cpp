#include "NotesList.h"
#include "store/BoardStore.h"
#include "support/StoreFixture.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include <memory>

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
    }

    void cleanup() { m_store.reset(); }

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
        QVERIFY(list.openFirst());
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(m_launcher.opened.first().contains("file=Projects/Kitchen"));
        list.setQuery(u"nothing like this"_qs);
        QVERIFY(!list.openFirst());
        QVERIFY(!list.open(-1));
        QCOMPARE(m_launcher.opened.size(), 1);
    }

    // A refresh asked for during a walk runs after it, and a list gone mid-walk is no harm.
    void refreshDuringAWalk()
    {
        NotesList list;
        list.setStore(m_store.get());
        QSignalSpy done(&list, &NotesList::refreshed);
        list.refresh();
        note(u"Later.md"_qs, 0);
        list.refresh();
        QTRY_COMPARE_WITH_TIMEOUT(done.size(), 2, 5000);
        QCOMPARE(list.index(0).data(NotesList::NameRole).toString(), u"Later"_qs);

        auto gone = std::make_unique<NotesList>();
        gone->setStore(m_store.get());
        gone->refresh();
        gone.reset();
    }

    void missingVaultListsNothing()
    {
        qputenv("TALLOWFERN_VAULT", QFile::encodeName(m_scratch->path(u"no such vault"_qs)));
        NotesList list;
        list.setStore(m_store.get());
        refreshed(list);
        QCOMPARE(list.count(), 0);
        QVERIFY(!list.openFirst());
    }
};

QTEST_GUILESS_MAIN(TestNotesList)
#include "tst_noteslist.moc"
