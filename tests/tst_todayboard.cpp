#include "store/Preferences.h"
#include "store/TodayBoard.h"
#include "store/VaultLocations.h"
#include "support/BoardText.h"
#include "support/StoreFixture.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

// Today's board and its file, with the settings and locations it reads but no store around it.
class TestTodayBoard : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    std::unique_ptr<Preferences> m_prefs;
    std::unique_ptr<VaultLocations> m_locations;

    std::unique_ptr<TodayBoard> makeToday()
    {
        return std::make_unique<TodayBoard>(m_prefs.get(), m_locations.get(), &m_clock);
    }
    QString boardFile(const QString &day) const
    {
        return m_scratch->boards() + u'/' + day + u".md"_qs;
    }
    QStringList replacedCopies() const
    {
        return QDir(m_scratch->replaced()).entryList(QDir::Files);
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }

    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
        m_prefs = std::make_unique<Preferences>();
        m_locations = std::make_unique<VaultLocations>(m_prefs.get());
    }
    void cleanup()
    {
        m_locations.reset();
        m_prefs.reset();
    }

    void newDayCarriesOverAndGreets_data()
    {
        QTest::addColumn<bool>("carryOver");
        QTest::addColumn<bool>("banner");
        QTest::addColumn<QStringList>("todo");
        QTest::addColumn<QVariant>("greeting");
        const QStringList unfinished{u"a"_qs, u"b"_qs};
        QTest::newRow("both on") << true << true << unfinished
                                 << QVariant::fromValue(Greeting(3, u"2025-03-05"_qs));
        QTest::newRow("no carry-over")
            << false << true << QStringList() << QVariant::fromValue(Greeting(0, u"2025-03-05"_qs));
        QTest::newRow("no banner") << true << false << unfinished << QVariant();
    }
    void newDayCarriesOverAndGreets()
    {
        QFETCH(bool, carryOver);
        QFETCH(bool, banner);
        QFETCH(QStringList, todo);
        QFETCH(QVariant, greeting);
        Scratch::write(boardFile(u"2025-03-05"_qs),
                       boardText({u"a"_qs, u"b"_qs}, {u"c"_qs}, {u"done"_qs}));
        m_prefs->setCarryOver(carryOver);
        m_prefs->setMorningBanner(banner);
        const auto today = makeToday();
        QCOMPARE(today->day(), u"2025-03-07"_qs);
        QCOMPARE(today->path(), boardFile(u"2025-03-07"_qs));
        QCOMPARE(texts(today->board(), LaneKind::Todo), todo);
        QVERIFY(today->board().cards(LaneKind::Done).isEmpty());
        QCOMPARE(today->greetingValue(), greeting);
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), today->board().markdown().toUtf8());
        QCOMPARE(today->lastError(), QString());
    }

    void greetingFromQml()
    {
        const auto today = makeToday();
        QSignalSpy changed(today.get(), &TodayBoard::greetingChanged);
        QVERIFY(today->setProperty("greeting", QVariant()));
        QVERIFY(!today->greeting());
        QCOMPARE(changed.count(), 1);
        QVERIFY(today->setProperty("greeting", QVariant(u"not a greeting"_qs)));
        QCOMPARE(changed.count(), 1);
        today->setGreeting(Greeting(2, std::nullopt));
        QCOMPARE(today->property("greeting").value<Greeting>(), Greeting(2, std::nullopt));
    }

    void everyEditIsWrittenAtOnce()
    {
        const auto today = makeToday();
        QSignalSpy changed(today.get(), &TodayBoard::boardChanged);
        const auto onDisk = [&] {
            return Board::parse(QString::fromUtf8(Scratch::read(boardFile(u"2025-03-07"_qs))));
        };
        today->add(u"first"_qs, u"todo"_qs);
        today->add(u"second"_qs, LaneKind::Todo);
        const QUuid first = today->board().cards(LaneKind::Todo)[0].id();
        const QUuid second = today->board().cards(LaneKind::Todo)[1].id();
        today->move(first.toString(), u"doing"_qs, QString());
        QCOMPARE(texts(onDisk(), LaneKind::Doing), QStringList{u"first"_qs});
        today->toggle(second);
        QCOMPARE(texts(onDisk(), LaneKind::Done), QStringList{u"second"_qs});
        today->rename(second.toString(), u"renamed\nacross lines"_qs);
        QCOMPARE(texts(onDisk(), LaneKind::Done), QStringList{u"renamed across lines"_qs});
        today->deleteCard(first);
        QVERIFY(onDisk().cards(LaneKind::Doing).isEmpty());
        QCOMPARE(changed.count(), 6);
        // Nothing to do: nothing published, nothing written.
        today->add(u"   "_qs, LaneKind::Todo);
        today->add(u"x"_qs, u"nowhere"_qs);
        today->toggle(u"not an id"_qs);
        today->move(QUuid::createUuid(), LaneKind::Done, std::nullopt);
        QCOMPARE(changed.count(), 6);
    }

    void copyTakesTheTextOnly()
    {
        const auto today = makeToday();
        const Card card(u"from before"_qs, {u"\tdetail"_qs});
        today->copyToToday(card);
        QCOMPARE(today->board().cards(LaneKind::Todo).size(), 1);
        const Card copy = today->board().cards(LaneKind::Todo)[0];
        QCOMPARE(copy.text(), u"from before"_qs);
        QVERIFY(copy.extraLines().isEmpty());
        QVERIFY(copy.id() != card.id());
    }

    void everyOutcomeIsReported()
    {
        Scratch::write(m_scratch->vault() + u"/01 Journal/Boards"_qs, "I am a file\n");
        const auto today = makeToday();
        QVERIFY2(today->lastError().startsWith(TodayBoard::saveErrorPrefix),
                 qPrintable(today->lastError()));
        QSignalSpy reported(today.get(), &TodayBoard::reported);
        QSignalSpy changed(today.get(), &TodayBoard::lastErrorChanged);
        today->add(u"a"_qs, LaneKind::Todo);
        today->add(u"b"_qs, LaneKind::Todo);
        // The same failure twice: one change of the message, but two reports.
        QCOMPARE(reported.count(), 2);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(reported[1][0].toString(), today->lastError());
        QFile::remove(m_scratch->vault() + u"/01 Journal/Boards"_qs);
        today->add(u"c"_qs, LaneKind::Todo);
        QCOMPARE(reported.count(), 3);
        QCOMPARE(reported[2][0].toString(), QString());
        QCOMPARE(today->lastError(), QString());
        QCOMPARE(changed.count(), 1);
    }

    void unreadableFileIsKeptBeforeTheFirstSave_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("error");
        QTest::newRow("not UTF-8")
            << QByteArray("## To do\n- [ ] caf\xe9\n") << u"Couldn't read 2025-03-07.md: "_qs;
        QTest::newRow("not canonical") << QByteArray("Intro\n## To do\n* [ ] star\n") << QString();
    }
    void unreadableFileIsKeptBeforeTheFirstSave()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, error);
        Scratch::write(boardFile(u"2025-03-07"_qs), bytes);
        const auto today = makeToday();
        QVERIFY2(error.isEmpty() ? today->lastError().isEmpty()
                                 : today->lastError().startsWith(error),
                 qPrintable(today->lastError()));
        QCOMPARE(Scratch::read(boardFile(u"2025-03-07"_qs)), bytes);
        today->add(u"new"_qs, LaneKind::Todo);
        QCOMPARE(today->lastError(), QString());
        QCOMPARE(replacedCopies().size(), 1);
        QCOMPARE(Scratch::read(m_scratch->replaced() + u'/' + replacedCopies()[0]), bytes);
        // Once written, the file holds the board: no second copy.
        today->add(u"more"_qs, LaneKind::Todo);
        QCOMPARE(replacedCopies().size(), 1);
    }

    void checkingFollowsOutsideWrites()
    {
        const auto today = makeToday();
        today->add(u"mine"_qs, LaneKind::Todo);
        QSignalSpy changed(today.get(), &TodayBoard::boardChanged);
        QSignalSpy checked(today.get(), &TodayBoard::folderChecked);
        today->checkForChanges();
        QCOMPARE(changed.count(), 0);
        QCOMPARE(checked.count(), 1);
        Scratch::write(boardFile(u"2025-03-07"_qs), boardText({u"theirs"_qs}, {}, {}));
        today->checkForChanges();
        QCOMPARE(texts(today->board(), LaneKind::Todo), QStringList{u"theirs"_qs});
        QCOMPARE(changed.count(), 1);
        QCOMPARE(checked.count(), 2);
        QCOMPARE(replacedCopies().size(), 0);
    }

    void newDayLoadsItsBoard()
    {
        const auto today = makeToday();
        today->add(u"unfinished"_qs, LaneKind::Doing);
        QSignalSpy day(today.get(), &TodayBoard::dayChanged);
        QSignalSpy checked(today.get(), &TodayBoard::folderChecked);
        m_clock.set(2025, 3, 8, 0, 1);
        today->checkForChanges();
        QCOMPARE(today->day(), u"2025-03-08"_qs);
        QVERIFY(day.count() >= 1);
        QCOMPARE(checked.count(), 0);
        QCOMPARE(texts(today->board(), LaneKind::Doing), QStringList{u"unfinished"_qs});
        QCOMPARE(today->greeting(), std::optional<Greeting>(Greeting(1, u"2025-03-07"_qs)));
        QVERIFY(QFileInfo::exists(boardFile(u"2025-03-08"_qs)));
    }

    void relocateReadsTheNewFolder()
    {
        Scratch::write(m_scratch->vault() + u"/Elsewhere/2025-03-07.md"_qs,
                       boardText({u"there"_qs}, {}, {}));
        const auto today = makeToday();
        m_prefs->setBoardsFolder(u"Elsewhere"_qs);
        // The preferences alone move nothing: relocating does.
        QVERIFY(today->board().cards(LaneKind::Todo).isEmpty());
        today->relocate();
        QCOMPARE(today->path(), m_scratch->vault() + u"/Elsewhere/2025-03-07.md"_qs);
        QCOMPARE(texts(today->board(), LaneKind::Todo), QStringList{u"there"_qs});
        // And the new folder is watched.
        Scratch::write(today->path(), boardText({u"edited there"_qs}, {}, {}));
        QTRY_COMPARE_WITH_TIMEOUT(texts(today->board(), LaneKind::Todo),
                                  QStringList{u"edited there"_qs}, 3000);
    }
};

QTEST_GUILESS_MAIN(TestTodayBoard)
#include "tst_todayboard.moc"
