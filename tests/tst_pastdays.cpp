#include "store/PastDays.h"
#include "store/Preferences.h"
#include "store/TodayBoard.h"
#include "store/VaultLocations.h"
#include "support/BoardText.h"
#include "support/StoreFixture.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <memory>

// Looking at earlier days, and what is shown meanwhile.
class TestPastDays : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    std::unique_ptr<Preferences> m_prefs;
    std::unique_ptr<VaultLocations> m_locations;
    std::unique_ptr<TodayBoard> m_today;
    std::unique_ptr<PastDays> m_past;

    QString boardFile(const QString &day) const
    {
        return m_scratch->boards() + u'/' + day + u".md"_qs;
    }
    void makeParts()
    {
        m_prefs = std::make_unique<Preferences>();
        m_locations = std::make_unique<VaultLocations>(m_prefs.get());
        m_today = std::make_unique<TodayBoard>(m_prefs.get(), m_locations.get(), &m_clock);
        m_past = std::make_unique<PastDays>(m_today.get(), m_locations.get());
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }

    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
        Scratch::write(boardFile(u"2025-03-01"_qs), boardText({u"one"_qs}, {}, {}));
        Scratch::write(boardFile(u"2025-03-04"_qs), boardText({u"four"_qs}, {}, {}));
        Scratch::write(boardFile(u"2025-03-09"_qs), boardText({u"future"_qs}, {}, {}));
        Scratch::write(boardFile(u"2025-03-02"_qs), "\xff not UTF-8");
        // Today starts empty, so that its cards are told from the earlier days' ones.
        QSettings(Preferences::settingsPath(), QSettings::IniFormat)
            .setValue(u"carryOver"_qs, false);
        makeParts();
        m_today->add(u"today"_qs, LaneKind::Todo);
    }
    void cleanup()
    {
        m_past.reset();
        m_today.reset();
        m_locations.reset();
        m_prefs.reset();
    }

    void view_data()
    {
        QTest::addColumn<QString>("day");
        QTest::addColumn<bool>("past");
        QTest::addColumn<QString>("shownDay");
        QTest::addColumn<QStringList>("shownTodo");
        QTest::newRow("today") << u"2025-03-07"_qs << false << u"2025-03-07"_qs
                               << QStringList{u"today"_qs};
        QTest::newRow("no day") << QString() << false << u"2025-03-07"_qs
                                << QStringList{u"today"_qs};
        QTest::newRow("a later day, even with a board")
            << u"2025-03-09"_qs << false << u"2025-03-07"_qs << QStringList{u"today"_qs};
        QTest::newRow("an earlier board")
            << u"2025-03-04"_qs << true << u"2025-03-04"_qs << QStringList{u"four"_qs};
        QTest::newRow("an earlier day without a board")
            << u"2025-02-10"_qs << true << u"2025-02-10"_qs << QStringList();
        QTest::newRow("an unreadable board shows empty")
            << u"2025-03-02"_qs << true << u"2025-03-02"_qs << QStringList();
    }
    void view()
    {
        QFETCH(QString, day);
        QFETCH(bool, past);
        QFETCH(QString, shownDay);
        QFETCH(QStringList, shownTodo);
        const QString errorBefore = m_today->lastError();
        m_past->view(day);
        QCOMPARE(m_past->isViewingPast(), past);
        QCOMPARE(m_past->viewedBoard().has_value(), past);
        QCOMPARE(m_past->property("viewedDay").toString(), past ? day : QString());
        QCOMPARE(m_past->shownDay(), shownDay);
        QCOMPARE(texts(m_past->shownBoard(), LaneKind::Todo), shownTodo);
        QCOMPARE(m_past->shownBoard().lanes().size(), 3);
        QCOMPARE(m_today->lastError(), errorBefore);
    }

    void signalsOnlyForWhatChanged()
    {
        QSignalSpy viewed(m_past.get(), &PastDays::viewedDayChanged);
        QSignalSpy day(m_past.get(), &PastDays::shownDayChanged);
        QSignalSpy board(m_past.get(), &PastDays::shownBoardChanged);
        m_past->view(u"2025-03-04"_qs);
        QCOMPARE((QList<int>{int(viewed.count()), int(day.count()), int(board.count())}),
                 (QList<int>{1, 1, 1}));
        // The same day again: a fresh read, the same day.
        m_past->view(u"2025-03-04"_qs);
        QCOMPARE((QList<int>{int(viewed.count()), int(day.count()), int(board.count())}),
                 (QList<int>{1, 1, 2}));
        // Today's edits are not shown while an earlier day is.
        m_today->add(u"more"_qs, LaneKind::Todo);
        QCOMPARE(board.count(), 2);
        m_past->view(QString());
        QCOMPARE((QList<int>{int(viewed.count()), int(day.count()), int(board.count())}),
                 (QList<int>{2, 2, 3}));
        m_today->add(u"shown"_qs, LaneKind::Todo);
        QCOMPARE(board.count(), 4);
        // Showing today while today is shown changes nothing.
        m_past->view(QString());
        QCOMPARE((QList<int>{int(viewed.count()), int(day.count()), int(board.count())}),
                 (QList<int>{2, 2, 4}));
    }

    void newDayMovesTheShownDay_data()
    {
        QTest::addColumn<QString>("viewing");
        QTest::addColumn<int>("shownDayChanges");
        QTest::newRow("today shown") << QString() << 1;
        QTest::newRow("an earlier day shown") << u"2025-03-04"_qs << 0;
    }
    void newDayMovesTheShownDay()
    {
        QFETCH(QString, viewing);
        QFETCH(int, shownDayChanges);
        m_past->view(viewing);
        QSignalSpy day(m_past.get(), &PastDays::shownDayChanged);
        // Reloading the same day is no new day.
        m_today->loadToday();
        QCOMPARE(day.count(), 0);
        m_clock.set(2025, 3, 8, 0, 1);
        m_today->checkForChanges();
        QCOMPARE(day.count(), shownDayChanges);
        QCOMPARE(m_past->shownDay(), viewing.isEmpty() ? u"2025-03-08"_qs : viewing);
    }

    void viewedDayIsReadAgainOnEveryCheck()
    {
        m_past->view(u"2025-03-04"_qs);
        Scratch::write(boardFile(u"2025-03-04"_qs), boardText({u"edited"_qs}, {}, {}));
        QCOMPARE(texts(*m_past->viewedBoard(), LaneKind::Todo), QStringList{u"four"_qs});
        m_today->checkForChanges();
        QCOMPARE(texts(*m_past->viewedBoard(), LaneKind::Todo), QStringList{u"edited"_qs});
    }

    void boardDays()
    {
        QCOMPARE(m_past->boardDays(),
                 (QSet<QString>{u"2025-03-01"_qs, u"2025-03-02"_qs, u"2025-03-04"_qs,
                                u"2025-03-07"_qs, u"2025-03-09"_qs}));
        QCOMPARE(m_past->boardDayList(),
                 (QStringList{u"2025-03-01"_qs, u"2025-03-02"_qs, u"2025-03-04"_qs,
                              u"2025-03-07"_qs, u"2025-03-09"_qs}));
    }

    void step_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<int>("delta");
        QTest::addColumn<QString>("to");
        QTest::newRow("back from today") << QString() << -1 << u"2025-03-04"_qs;
        QTest::newRow("any step back is one board") << QString() << -5 << u"2025-03-04"_qs;
        QTest::newRow("back past an unreadable board")
            << u"2025-03-04"_qs << -1 << u"2025-03-02"_qs;
        QTest::newRow("back from the first stays") << u"2025-03-01"_qs << -1 << u"2025-03-01"_qs;
        QTest::newRow("back from a day without a board")
            << u"2025-03-03"_qs << -1 << u"2025-03-02"_qs;
        QTest::newRow("forward") << u"2025-03-01"_qs << 1 << u"2025-03-02"_qs;
        QTest::newRow("forward from the last is today") << u"2025-03-04"_qs << 1 << QString();
        QTest::newRow("forward from today stays today") << QString() << 1 << QString();
        QTest::newRow("no step is forward") << u"2025-03-04"_qs << 0 << QString();
    }
    void step()
    {
        QFETCH(QString, from);
        QFETCH(int, delta);
        QFETCH(QString, to);
        m_past->view(from);
        m_past->step(delta);
        QCOMPARE(m_past->viewedDay().value_or(QString()), to);
    }

    void canStep_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<bool>("back");
        QTest::addColumn<bool>("forward");
        QTest::newRow("today") << QString() << true << false;
        QTest::newRow("a middle day") << u"2025-03-02"_qs << true << true;
        QTest::newRow("the first day") << u"2025-03-01"_qs << false << true;
    }
    void canStep()
    {
        QFETCH(QString, from);
        QFETCH(bool, back);
        QFETCH(bool, forward);
        m_past->view(from);
        QCOMPARE(m_past->canStep(-1), back);
        QCOMPARE(m_past->canStep(1), forward);
    }

    void viewedCard()
    {
        const QUuid todays = m_today->board().cards(LaneKind::Todo)[0].id();
        QVERIFY(!m_past->viewedCard(todays));
        m_past->view(u"2025-03-04"_qs);
        const QUuid earlier = m_past->viewedBoard()->cards(LaneKind::Todo)[0].id();
        QCOMPARE(m_past->viewedCard(earlier).value_or(Card()).text(), u"four"_qs);
        QVERIFY(!m_past->viewedCard(todays));
    }
};

QTEST_GUILESS_MAIN(TestPastDays)
#include "tst_pastdays.moc"
