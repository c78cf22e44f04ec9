#include "store/BoardStore.h"
#include "support/StoreFixture.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <sys/stat.h>

namespace {

qint64 modifiedNanos(const QString &path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return -1;
    return qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec;
}

} // namespace

// The store's side of the daily quick note: loading, the typing debounce, flushing.
class TestQuickNoteStore : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;

    std::unique_ptr<BoardStore> makeStore()
    {
        return std::make_unique<BoardStore>(&m_clock, &m_launcher);
    }
    QString noteFile(const QString &day) const
    {
        return m_scratch->notes() + u'/' + day + u".md"_qs;
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }
    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
    }

    void noFileShowsEmptyAndCreatesNothing()
    {
        auto store = makeStore();
        QCOMPARE(store->loadQuickNote(), QString());
        QVERIFY(!QFileInfo::exists(m_scratch->notes()));
        store->saveQuickNote(u"   \n\n  "_qs);
        store->flushQuickNote();
        QVERIFY(!QFileInfo::exists(m_scratch->notes()));
        QVERIFY(!store->noteSavedAt().isValid());
        QCOMPARE(store->noteSavedLabel(), u"Saves as you type"_qs);
    }

    void typedTextIsSavedAfterAPause()
    {
        auto store = makeStore();
        m_clock.set(2025, 3, 7, 9, 41, 5);
        QSignalSpy saved(store.get(), &BoardStore::noteSavedAtChanged);
        store->saveQuickNote(u"\u2022 a"_qs);
        QVERIFY(!QFileInfo::exists(noteFile(u"2025-03-07"_qs)));
        QTRY_COMPARE_WITH_TIMEOUT(saved.count(), 1, 3000);
        QCOMPARE(Scratch::read(noteFile(u"2025-03-07"_qs)), QByteArray("- a\n"));
        QCOMPARE(store->noteSavedLabel(), u"Saved 09:41"_qs);
        QCOMPARE(store->loadQuickNote(), u"\u2022 a\n"_qs);
    }

    void keystrokesWriteOnce()
    {
        auto store = makeStore();
        QElapsedTimer clock;
        clock.start();
        qint64 lastKeystroke = 0;
        // How long after the keystroke before it each save came.
        QList<qint64> pauses;
        connect(store.get(), &BoardStore::noteSavedAtChanged, this,
                [&] { pauses.append(clock.elapsed() - lastKeystroke); });
        QString text;
        for (int i = 0; i < 10; ++i) {
            text += QChar(u'a' + i);
            lastKeystroke = clock.elapsed();
            store->saveQuickNote(text);
            QTest::qWait(100);
        }
        QTRY_VERIFY_WITH_TIMEOUT(
            !pauses.isEmpty() && Scratch::read(noteFile(u"2025-03-07"_qs)) == "abcdefghij\n", 5000);
        // Typing saves nothing until it pauses (a coarse timer may fire 5 % early). A machine too
        // busy to type every 0.1 s pauses for real, so a save in between is not counted against
        // it; on any other, the whole typing is one save.
        for (const qint64 pause : std::as_const(pauses))
            QVERIFY2(pause >= BoardStore::noteSaveDelayMs * 95 / 100,
                     qPrintable(QString::number(pause)));
        const qint64 savesBefore = pauses.size();
        store->flushQuickNote();
        QCOMPARE(pauses.size(), savesBefore);
    }

    void flushWritesAtOnceAndOnlyOnce()
    {
        auto store = makeStore();
        QSignalSpy saved(store.get(), &BoardStore::noteSavedAtChanged);
        store->saveQuickNote(u"closing soon"_qs);
        store->flushQuickNote();
        QCOMPARE(saved.count(), 1);
        QCOMPARE(Scratch::read(noteFile(u"2025-03-07"_qs)), QByteArray("closing soon\n"));
        const qint64 written = modifiedNanos(noteFile(u"2025-03-07"_qs));
        QTest::qWait(800);
        QCOMPARE(saved.count(), 1);
        QCOMPARE(modifiedNanos(noteFile(u"2025-03-07"_qs)), written);
        store->flushQuickNote(); // nothing pending
        QCOMPARE(saved.count(), 1);
    }

    void clearingLeavesAnEmptyFile()
    {
        Scratch::write(noteFile(u"2025-03-07"_qs), "- old\n");
        auto store = makeStore();
        QCOMPARE(store->loadQuickNote(), u"\u2022 old\n"_qs);
        store->saveQuickNote(QString());
        store->flushQuickNote();
        QVERIFY(QFileInfo::exists(noteFile(u"2025-03-07"_qs)));
        QCOMPARE(QFileInfo(noteFile(u"2025-03-07"_qs)).size(), 0);
    }

    void textTypedBeforeMidnightStaysWithItsDay()
    {
        m_clock.set(2025, 3, 7, 23, 59, 59, 800);
        auto store = makeStore();
        store->saveQuickNote(u"late thought"_qs);
        m_clock.set(2025, 3, 8, 0, 0, 0, 300);
        store->checkForChanges();
        QCOMPARE(store->day(), u"2025-03-08"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(noteFile(u"2025-03-07"_qs)), 3000);
        QCOMPARE(Scratch::read(noteFile(u"2025-03-07"_qs)), QByteArray("late thought\n"));
        QVERIFY(!QFileInfo::exists(noteFile(u"2025-03-08"_qs)));
        QCOMPARE(store->todayNotePath(), noteFile(u"2025-03-08"_qs));
    }

    void blockedFolderReportsAndKeepsTime()
    {
        auto store = makeStore();
        store->saveQuickNote(u"first"_qs);
        store->flushQuickNote();
        const QDateTime savedAt = store->noteSavedAt();
        QVERIFY(savedAt.isValid());
        store->setNotesFolder(u"Blocked/Notes"_qs);
        Scratch::write(m_scratch->vault() + u"/Blocked"_qs, "a file where a folder should be");
        store->saveQuickNote(u"second"_qs);
        store->flushQuickNote();
        QVERIFY2(store->lastError().startsWith(u"Couldn't save note: "_qs),
                 qPrintable(store->lastError()));
        QCOMPARE(store->noteSavedAt(), savedAt);
        QCOMPARE(Scratch::read(m_scratch->vault() + u"/Blocked"_qs),
                 QByteArray("a file where a folder should be"));
        // A later successful save clears the message.
        store->setNotesFolder(u"Fine"_qs);
        store->saveQuickNote(u"third"_qs);
        store->flushQuickNote();
        QCOMPARE(store->lastError(), QString());
    }

    void unreadableNoteIsKeptBeforeBeingReplaced()
    {
        const QByteArray latin1 = "Notiz \xfc"
                                  "ber Caf\xe9\n";
        Scratch::write(noteFile(u"2025-03-07"_qs), latin1);
        auto store = makeStore();
        QCOMPARE(store->loadQuickNote(), QString());
        QCOMPARE(store->lastError(), QString());
        store->saveQuickNote(u"new text"_qs);
        store->flushQuickNote();
        QCOMPARE(Scratch::read(noteFile(u"2025-03-07"_qs)), QByteArray("new text\n"));
        const QStringList copies = QDir(m_scratch->replaced()).entryList(QDir::Files);
        QCOMPARE(copies.size(), 1);
        QCOMPARE(Scratch::read(m_scratch->replaced() + u'/' + copies[0]), latin1);
    }

    void starItemsBecomeDashItems()
    {
        Scratch::write(noteFile(u"2025-03-07"_qs), "* star\n  - nested\n");
        auto store = makeStore();
        const QString shown = store->loadQuickNote();
        QCOMPARE(shown, u"\u2022 star\n  \u2022 nested\n"_qs);
        store->saveQuickNote(shown);
        store->flushQuickNote();
        QCOMPARE(Scratch::read(noteFile(u"2025-03-07"_qs)), QByteArray("- star\n  - nested\n"));
    }

    void pendingSaveDiesWithTheStore()
    {
        {
            auto store = makeStore();
            store->saveQuickNote(u"never written"_qs);
        }
        QTest::qWait(700);
        QVERIFY(!QFileInfo::exists(noteFile(u"2025-03-07"_qs)));
    }
};

QTEST_GUILESS_MAIN(TestQuickNoteStore)
#include "tst_quicknotestore.moc"
