#include "io/TextFile.h"
#include "store/QuickNote.h"
#include "support/StoreFixture.h"

#include <QDir>
#include <QSignalSpy>
#include <QTest>

#include <memory>

// The quick note's file on its own: any path, a hand-set clock.
class TestQuickNote : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;

    QString note(const QString &name = u"note"_qs) const
    {
        return m_scratch->path(u"notes/"_qs + name + u".md"_qs);
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }
    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7, 14, 5);
    }

    void load_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("shown");
        QTest::newRow("dash and star items")
            << QByteArray("- a\n  * b\n") << u"\u2022 a\n  \u2022 b\n"_qs;
        QTest::newRow("plain") << QByteArray("text") << u"text"_qs;
        QTest::newRow("not UTF-8 shows empty") << QByteArray("caf\xe9") << QString();
    }
    void load()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, shown);
        Scratch::write(note(), bytes);
        QCOMPARE(QuickNote::load(note()), shown);
    }

    void missingFileLoadsEmpty() { QCOMPARE(QuickNote::load(note()), QString()); }

    void writesAfterThePause()
    {
        QuickNote quick(&m_clock);
        QCOMPARE(quick.savedLabel(), u"Saves as you type"_qs);
        QSignalSpy saved(&quick, &QuickNote::savedAtChanged);
        quick.save(u"\u2022 first"_qs, note());
        quick.save(u"\u2022 second"_qs, note());
        QVERIFY(!QFileInfo::exists(note()));
        QTRY_COMPARE_WITH_TIMEOUT(saved.count(), 1, 3000);
        QCOMPARE(Scratch::read(note()), QByteArray("- second\n"));
        QCOMPARE(quick.savedAt(), m_clock.now());
        QCOMPARE(quick.savedLabel(), u"Saved 14:05"_qs);
    }

    void theLastCallPicksThePath()
    {
        QuickNote quick(&m_clock);
        quick.save(u"for a"_qs, note(u"a"_qs));
        quick.save(u"for b"_qs, note(u"b"_qs));
        quick.flush();
        QVERIFY(!QFileInfo::exists(note(u"a"_qs)));
        QCOMPARE(Scratch::read(note(u"b"_qs)), QByteArray("for b\n"));
    }

    void flushWithNothingPendingDoesNothing()
    {
        QuickNote quick(&m_clock);
        QSignalSpy saved(&quick, &QuickNote::savedAtChanged);
        QSignalSpy reported(&quick, &QuickNote::reported);
        quick.flush();
        QCOMPARE(saved.count(), 0);
        QCOMPARE(reported.count(), 0);
    }

    void blankTextMakesNoFile()
    {
        QuickNote quick(&m_clock);
        QSignalSpy reported(&quick, &QuickNote::reported);
        quick.save(u" \n\t\n"_qs, note());
        quick.flush();
        QVERIFY(!QFileInfo::exists(m_scratch->path(u"notes"_qs)));
        QVERIFY(!quick.savedAt().isValid());
        QCOMPARE(reported.count(), 0);
    }

    void everyFailureIsReported()
    {
        Scratch::write(m_scratch->path(u"notes"_qs), "a file where a folder should be");
        QuickNote quick(&m_clock);
        QSignalSpy reported(&quick, &QuickNote::reported);
        QSignalSpy changed(&quick, &QuickNote::lastErrorChanged);
        for (int i = 0; i < 2; ++i) {
            quick.save(u"text"_qs, note());
            quick.flush();
        }
        QCOMPARE(reported.count(), 2);
        QCOMPARE(changed.count(), 1);
        QVERIFY2(quick.lastError().startsWith(u"Couldn't save note: "_qs),
                 qPrintable(quick.lastError()));
        QVERIFY(!quick.savedAt().isValid());
        QFile::remove(m_scratch->path(u"notes"_qs));
        quick.save(u"text"_qs, note());
        quick.flush();
        QCOMPARE(reported.count(), 3);
        QCOMPARE(reported[2][0].toString(), QString());
        QCOMPARE(quick.lastError(), QString());
    }

    void unreadableNoteIsKept()
    {
        Scratch::write(note(), "caf\xe9");
        QuickNote quick(&m_clock);
        quick.save(u"new"_qs, note());
        quick.flush();
        QCOMPARE(Scratch::read(note()), QByteArray("new\n"));
        const QStringList copies = QDir(m_scratch->replaced()).entryList(QDir::Files);
        QCOMPARE(copies.size(), 1);
        QCOMPARE(Scratch::read(m_scratch->replaced() + u'/' + copies[0]), QByteArray("caf\xe9"));
    }

    // ---- another program writing the shown note

    void outsideChangeIsLoadedWhenNothingWaits_data()
    {
        QTest::addColumn<bool>("inPlace");
        QTest::newRow("rewritten in place") << true;
        QTest::newRow("replaced by rename") << false;
    }
    void outsideChangeIsLoadedWhenNothingWaits()
    {
        QFETCH(bool, inPlace);
        Scratch::write(note(), "- mine\n");
        QuickNote quick(&m_clock);
        QSignalSpy changed(&quick, &QuickNote::changedOutside);
        QCOMPARE(quick.open(note()), u"\u2022 mine\n"_qs);
        if (inPlace)
            Scratch::write(note(), "- theirs\n");
        else
            QVERIFY(!TextFile::writeAtomically(note(), "- theirs\n"));
        QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 10000);
        QCOMPARE(changed[0][0].toString(), u"\u2022 theirs\n"_qs);
        // Once loaded, the next save replaces it without a copy.
        quick.save(u"\u2022 theirs\n\u2022 more\n"_qs, note());
        quick.flush();
        QCOMPARE(Scratch::read(note()), QByteArray("- theirs\n- more\n"));
        QVERIFY(QDir(m_scratch->replaced()).entryList(QDir::Files).isEmpty());
        QCOMPARE(quick.lastError(), QString());
    }

    void outsideChangeMeetingTypingIsKeptAsACopy()
    {
        Scratch::write(note(), "- mine\n");
        QuickNote quick(&m_clock);
        quick.open(note());
        QSignalSpy changed(&quick, &QuickNote::changedOutside);
        QSignalSpy reported(&quick, &QuickNote::reported);
        quick.save(u"\u2022 mine\n\u2022 typed\n"_qs, note());
        QVERIFY(!TextFile::writeAtomically(note(), "- theirs\n"));
        // Whichever comes first, the watcher or the typing pause, both texts survive.
        QTRY_VERIFY_WITH_TIMEOUT(!QDir(m_scratch->replaced()).entryList(QDir::Files).isEmpty(),
                                 10000);
        quick.flush();
        QCOMPARE(Scratch::read(note()), QByteArray("- mine\n- typed\n"));
        const QStringList copies = QDir(m_scratch->replaced()).entryList(QDir::Files);
        QCOMPARE(copies.size(), 1);
        QCOMPARE(Scratch::read(m_scratch->replaced() + u'/' + copies[0]), QByteArray("- theirs\n"));
        QVERIFY2(quick.lastError().contains(u"copy"_qs), qPrintable(quick.lastError()));
        QCOMPARE(reported.last()[1].toString(), m_scratch->replaced() + u'/' + copies[0]);
        QCOMPARE(changed.count(), 0);
    }

    void versionNeverReadIsKeptBeforeItIsReplaced()
    {
        QuickNote quick(&m_clock);
        QCOMPARE(quick.open(note()), QString());
        // Made by another program after the editor showed the day's empty note.
        Scratch::write(note(), "- theirs\n");
        quick.close();
        quick.save(u"\u2022 mine\n"_qs, note());
        quick.flush();
        QCOMPARE(Scratch::read(note()), QByteArray("- mine\n"));
        const QStringList copies = QDir(m_scratch->replaced()).entryList(QDir::Files);
        QCOMPARE(copies.size(), 1);
        QCOMPARE(Scratch::read(m_scratch->replaced() + u'/' + copies[0]), QByteArray("- theirs\n"));
    }

    // The editor knows "\n" only and no byte-order mark; the note keeps what it had, also after
    // this saved it once.
    void keepsHowTheNoteWasWritten_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("after");
        QTest::addColumn<QByteArray>("again"); // after "z" is typed at the end
        QTest::newRow("CRLF") << QByteArray("- a\r\n") << u"• a\n"_qs << u"• a\n• b\n"_qs
                              << QByteArray("- a\r\n- b\r\n") << QByteArray("- a\r\n- b\r\nz\r\n");
        QTest::newRow("CR, bullets on every line")
            << QByteArray("- a\r- b\r") << u"• a\n• b\n"_qs << u"• a\n• b\n• c\n"_qs
            << QByteArray("- a\r- b\r- c\r") << QByteArray("- a\r- b\r- c\rz\r");
        QTest::newRow("byte-order mark")
            << QByteArray("\xEF\xBB\xBF- a\n") << u"• a\n"_qs << u"• a\n• b\n"_qs
            << QByteArray("\xEF\xBB\xBF- a\n- b\n") << QByteArray("\xEF\xBB\xBF- a\n- b\nz\n");
        QTest::newRow("no-break space and line separator")
            << QByteArray("a\xC2\xA0"
                          "b\xE2\x80\xA8"
                          "c\n")
            << u"a\u00A0b\u2028c\n"_qs << u"a\u00A0b\u2028c\nd"_qs
            << QByteArray("a\xC2\xA0"
                          "b\xE2\x80\xA8"
                          "c\nd\n")
            << QByteArray("a\xC2\xA0"
                          "b\xE2\x80\xA8"
                          "c\ndz\n");
        QTest::newRow("emptied CRLF note")
            << QByteArray("a\r\n") << u"a\n"_qs << QString() << QByteArray() << QByteArray("z\n");
    }
    void keepsHowTheNoteWasWritten()
    {
        QFETCH(QByteArray, before);
        QFETCH(QString, shown);
        QFETCH(QString, typed);
        QFETCH(QByteArray, after);
        QFETCH(QByteArray, again);
        Scratch::write(note(), before);
        QuickNote quick(&m_clock);
        QCOMPARE(quick.open(note()), shown);
        quick.save(typed, note());
        quick.flush();
        QCOMPARE(Scratch::read(note()), after);
        quick.save(typed + u"z"_qs, note());
        quick.flush();
        QCOMPARE(Scratch::read(note()), again);
        QVERIFY(QDir(m_scratch->replaced()).entryList(QDir::Files).isEmpty());
    }

    // Line breaks come from the version last read, also one another program saved.
    void outsideChangeBringsItsLineBreaks()
    {
        Scratch::write(note(), "a\n");
        QuickNote quick(&m_clock);
        QSignalSpy changed(&quick, &QuickNote::changedOutside);
        quick.open(note());
        Scratch::write(note(), "a\r\nb\r\n");
        QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 10000);
        QCOMPARE(changed[0][0].toString(), u"a\nb\n"_qs);
        quick.save(u"a\nb\nc"_qs, note());
        quick.flush();
        QCOMPARE(Scratch::read(note()), QByteArray("a\r\nb\r\nc\r\n"));
    }

    // A new day: what waits is written to the note it was typed into, then the new note shown.
    void reopenMovesToAnotherNote()
    {
        Scratch::write(note(u"tomorrow"_qs), "- planned\n");
        QuickNote quick(&m_clock);
        QVERIFY(!quick.reopen(note(u"tomorrow"_qs))); // nothing shown yet
        quick.open(note(u"today"_qs));
        quick.save(u"typed"_qs, note(u"today"_qs));
        const auto shown = quick.reopen(note(u"tomorrow"_qs));
        QVERIFY(shown);
        QCOMPARE(*shown, u"• planned\n"_qs);
        QCOMPARE(Scratch::read(note(u"today"_qs)), QByteArray("typed\n"));
        QVERIFY(!quick.reopen(note(u"tomorrow"_qs))); // shown already
        // The new one is watched now.
        QSignalSpy changed(&quick, &QuickNote::changedOutside);
        Scratch::write(note(u"tomorrow"_qs), "- changed\n");
        QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 10000);
        quick.close();
        QVERIFY(!quick.reopen(note(u"today"_qs)));
    }

    void closedNoteIsNotWatched()
    {
        Scratch::write(note(), "- mine\n");
        Scratch::write(note(u"other"_qs), "- other\n");
        QuickNote quick(&m_clock);
        QSignalSpy changed(&quick, &QuickNote::changedOutside);
        quick.open(note());
        quick.close();
        Scratch::write(note(), "- theirs\n");
        // Anchor: a note that is open again is reported, and the closed one was not.
        quick.open(note(u"other"_qs));
        Scratch::write(note(u"other"_qs), "- changed\n");
        QTRY_COMPARE_WITH_TIMEOUT(changed.count(), 1, 10000);
        QCOMPARE(changed[0][0].toString(), u"\u2022 changed\n"_qs);
    }

    void pendingTextDiesWithTheNote()
    {
        {
            QuickNote quick(&m_clock);
            quick.save(u"never"_qs, note());
        }
        QTest::qWait(QuickNote::saveDelayMs + 200);
        QVERIFY(!QFileInfo::exists(note()));
    }
};

QTEST_GUILESS_MAIN(TestQuickNote)
#include "tst_quicknote.moc"
