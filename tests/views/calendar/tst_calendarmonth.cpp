#include "notch/NotchModel.h"
#include "store/BoardStore.h"
#include "support/BoardText.h"
#include "support/StoreFixture.h"
#include "views/calendar/CalendarMonth.h"

#include <QAbstractItemModelTester>
#include <QLocale>
#include <QSignalSpy>
#include <QTest>

#include <memory>

class TestCalendarMonth : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;

    void writeBoard(const QString &day)
    {
        Scratch::write(m_scratch->boards() + u'/' + day + u".md"_qs, boardText(1, 0, 0));
    }
    std::unique_ptr<BoardStore> makeStore()
    {
        return std::make_unique<BoardStore>(&m_clock, &m_launcher);
    }

    // The row of `day` in the grid, -1 when it is not there.
    static int rowOf(const CalendarMonth &calendar, const QString &day)
    {
        for (int row = 0; row < calendar.rowCount(); ++row) {
            if (calendar.index(row).data(CalendarMonth::DayKeyRole).toString() == day)
                return row;
        }
        return -1;
    }
    static QVariant cell(const CalendarMonth &calendar, const QString &day, int role)
    {
        const int row = rowOf(calendar, day);
        return row < 0 ? QVariant() : calendar.index(row).data(role);
    }

private slots:
    void initTestCase()
    {
        useTimeZone("Europe/Berlin");
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    }

    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
    }

    void cleanup() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom)); }

    void grid_data()
    {
        QTest::addColumn<int>("firstWeekday");
        QTest::addColumn<QDate>("month");
        QTest::addColumn<int>("blanks");
        QTest::addColumn<int>("days");
        QTest::newRow("Monday first, month begins on a Sunday")
            << 2 << QDate(2025, 6, 14) << 6 << 30;
        QTest::newRow("Sunday first, month begins on a Sunday")
            << 1 << QDate(2025, 6, 1) << 0 << 30;
        QTest::newRow("Monday first, month begins on a Monday")
            << 2 << QDate(2025, 9, 30) << 0 << 30;
        QTest::newRow("Sunday first, month begins on a Monday")
            << 1 << QDate(2025, 9, 2) << 1 << 30;
        QTest::newRow("Sunday first, month begins on a Saturday")
            << 1 << QDate(2025, 2, 28) << 6 << 28;
        QTest::newRow("Monday first, month begins on a Saturday")
            << 2 << QDate(2025, 2, 1) << 5 << 28;
        QTest::newRow("Saturday first, month begins on a Saturday")
            << 7 << QDate(2025, 3, 31) << 0 << 31;
        QTest::newRow("Sunday first, leap February") << 1 << QDate(2024, 2, 10) << 4 << 29;
        QTest::newRow("Monday first, month begins on a Wednesday")
            << 2 << QDate(2025, 1, 15) << 2 << 31;
    }
    // Blanks up to the 1st's weekday, then every day of the month and nothing after it.
    void grid()
    {
        QFETCH(int, firstWeekday);
        QFETCH(QDate, month);
        QFETCH(int, blanks);
        QFETCH(int, days);
        m_clock.set(2025, 12, 15);
        auto store = makeStore();
        CalendarMonth calendar(store.get(), nullptr);
        calendar.setFirstWeekday(firstWeekday);
        calendar.setMonth(month);
        QCOMPARE(calendar.month(), month);
        QCOMPARE(calendar.leadingBlanks(), blanks);

        const QList<QDate> cells = calendar.cells();
        QCOMPARE(cells.size(), blanks + days);
        QCOMPARE(calendar.rowCount(), cells.size());
        for (int i = 0; i < blanks; ++i) {
            QVERIFY(cells.at(i).isNull());
            QCOMPARE(calendar.index(i).data(CalendarMonth::DayKeyRole).toString(), QString());
            QCOMPARE(calendar.index(i).data(CalendarMonth::DayNumberRole).toInt(), 0);
        }
        for (int d = 1; d <= days; ++d) {
            const QDate expected(month.year(), month.month(), d);
            QCOMPARE(cells.at(blanks + d - 1), expected);
            QCOMPARE(calendar.index(blanks + d - 1).data(CalendarMonth::DayNumberRole).toInt(), d);
            QCOMPARE(calendar.index(blanks + d - 1).data(CalendarMonth::DayKeyRole).toString(),
                     expected.toString(u"yyyy-MM-dd"));
        }
        // The 1st sits in the column of its weekday, counted from the first weekday.
        const int sundayBased = cells.at(blanks).dayOfWeek() % 7 + 1;
        QCOMPARE((blanks + firstWeekday - 1) % 7 + 1, sundayBased);
    }

    void weekdaySymbols_data()
    {
        QTest::addColumn<int>("firstWeekday");
        QTest::addColumn<QStringList>("symbols");
        QTest::addColumn<QString>("firstName");
        QTest::newRow("Sunday first")
            << 1 << QStringList{u"S"_qs, u"M"_qs, u"T"_qs, u"W"_qs, u"T"_qs, u"F"_qs, u"S"_qs}
            << u"Sunday"_qs;
        QTest::newRow("Monday first")
            << 2 << QStringList{u"M"_qs, u"T"_qs, u"W"_qs, u"T"_qs, u"F"_qs, u"S"_qs, u"S"_qs}
            << u"Monday"_qs;
        QTest::newRow("Saturday first")
            << 7 << QStringList{u"S"_qs, u"S"_qs, u"M"_qs, u"T"_qs, u"W"_qs, u"T"_qs, u"F"_qs}
            << u"Saturday"_qs;
    }
    void weekdaySymbols()
    {
        QFETCH(int, firstWeekday);
        CalendarMonth calendar;
        QSignalSpy changed(&calendar, &CalendarMonth::firstWeekdayChanged);
        calendar.setFirstWeekday(firstWeekday);
        QCOMPARE(calendar.firstWeekday(), firstWeekday);
        QCOMPARE(changed.size(), firstWeekday == CalendarMonth::localeFirstWeekday() ? 0 : 1);
        QTEST(calendar.weekdaySymbols(), "symbols");
        QCOMPARE(calendar.weekdayNames().size(), 7);
        QTEST(calendar.weekdayNames().first(), "firstName");
    }

    void firstWeekdayFollowsTheLocale_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<int>("firstWeekday");
        QTest::newRow("en_US") << QLocale(QLocale::English, QLocale::UnitedStates) << 1;
        QTest::newRow("en_GB") << QLocale(QLocale::English, QLocale::UnitedKingdom) << 2;
        QTest::newRow("de_DE") << QLocale(QLocale::German, QLocale::Germany) << 2;
    }
    void firstWeekdayFollowsTheLocale()
    {
        QFETCH(QLocale, locale);
        QLocale::setDefault(locale);
        CalendarMonth calendar;
        QTEST(calendar.firstWeekday(), "firstWeekday");
        QTEST(CalendarMonth::localeFirstWeekday(), "firstWeekday");
        // A weekday set by hand lasts until reset.
        calendar.setFirstWeekday(calendar.firstWeekday() % 7 + 1);
        calendar.setFirstWeekday(0);
        calendar.setFirstWeekday(8);
        QFETCH(int, firstWeekday);
        QCOMPARE(calendar.firstWeekday(), firstWeekday % 7 + 1);
        calendar.resetFirstWeekday();
        QCOMPARE(calendar.firstWeekday(), firstWeekday);
    }

    void title_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QDate>("month");
        QTest::addColumn<QString>("title");
        QTest::newRow("English") << QLocale(QLocale::English, QLocale::UnitedKingdom)
                                 << QDate(2025, 3, 7) << u"March 2025"_qs;
        QTest::newRow("English, last year") << QLocale(QLocale::English, QLocale::UnitedStates)
                                            << QDate(2024, 12, 31) << u"December 2024"_qs;
        QTest::newRow("German") << QLocale(QLocale::German, QLocale::Germany) << QDate(2025, 3, 1)
                                << u"März 2025"_qs;
    }
    void title()
    {
        QFETCH(QLocale, locale);
        QFETCH(QDate, month);
        QLocale::setDefault(locale);
        auto store = makeStore();
        CalendarMonth calendar(store.get(), nullptr);
        calendar.setMonth(month);
        QTEST(calendar.title(), "title");
    }

    void canGoForward_data()
    {
        QTest::addColumn<QDate>("today");
        QTest::addColumn<QDate>("month");
        QTest::addColumn<bool>("canGoForward");
        QTest::newRow("current month") << QDate(2025, 3, 7) << QDate(2025, 3, 1) << false;
        QTest::newRow("current month, its last day")
            << QDate(2025, 3, 31) << QDate(2025, 3, 31) << false;
        QTest::newRow("previous month") << QDate(2025, 3, 7) << QDate(2025, 2, 28) << true;
        QTest::newRow("previous month, on the 1st")
            << QDate(2025, 3, 1) << QDate(2025, 2, 1) << true;
        QTest::newRow("last year") << QDate(2025, 1, 2) << QDate(2024, 12, 25) << true;
        QTest::newRow("long ago") << QDate(2025, 3, 7) << QDate(2019, 7, 4) << true;
    }
    void canGoForward()
    {
        QFETCH(QDate, today);
        QFETCH(QDate, month);
        m_clock.set(QDateTime(today, QTime(12, 0)));
        auto store = makeStore();
        CalendarMonth calendar(store.get(), nullptr);
        calendar.setMonth(month);
        QTEST(calendar.canGoForward(), "canGoForward");
        QFETCH(bool, canGoForward);
        QSignalSpy shifted(&calendar, &CalendarMonth::monthShifted);
        calendar.shiftMonth(1);
        // Forward only while the next month has begun; it never passes today's month.
        QCOMPARE(shifted.size(), canGoForward ? 1 : 0);
        QCOMPARE(calendar.month(), canGoForward ? month.addMonths(1) : month);
        QVERIFY(QDate(calendar.month().year(), calendar.month().month(), 1) <= today);
    }

    void futureMonthsAreNeverShown()
    {
        auto store = makeStore();
        CalendarMonth calendar(store.get(), nullptr);
        calendar.setMonth(QDate(2025, 4, 1));
        QCOMPARE(calendar.month(), QDate(2025, 3, 7));
        calendar.shiftMonth(5);
        QCOMPARE(calendar.month(), QDate(2025, 3, 7));
        QVERIFY(!calendar.canGoForward());
    }

    void shiftMonth()
    {
        auto store = makeStore();
        CalendarMonth calendar(store.get(), nullptr);
        QCOMPARE(calendar.month(), QDate(2025, 3, 7));
        QSignalSpy month(&calendar, &CalendarMonth::monthChanged);
        QSignalSpy forward(&calendar, &CalendarMonth::canGoForwardChanged);
        QSignalSpy shifted(&calendar, &CalendarMonth::monthShifted);
        QSignalSpy grid(&calendar, &CalendarMonth::gridChanged);

        calendar.shiftMonth(-1);
        QCOMPARE(calendar.month(), QDate(2025, 2, 7));
        QCOMPARE(calendar.title(), u"February 2025"_qs);
        QVERIFY(calendar.canGoForward());
        QCOMPARE(month.size(), 1);
        QCOMPARE(forward.size(), 1);
        QCOMPARE(grid.size(), 1);
        QCOMPARE(shifted.size(), 1);
        QCOMPARE(shifted.first().first().toInt(), -1);
        QCOMPARE(calendar.rowCount(), calendar.leadingBlanks() + 28);

        calendar.shiftMonth(-14);
        QCOMPARE(calendar.month(), QDate(2023, 12, 7));
        calendar.shiftMonth(15);
        QCOMPARE(calendar.month(), QDate(2025, 3, 7));
        QVERIFY(!calendar.canGoForward());
        QCOMPARE(forward.size(), 2);
        month.clear();
        calendar.shiftMonth(1);
        QCOMPARE(month.size(), 0);
        calendar.shiftMonth(0);
        QCOMPARE(month.size(), 0);
    }

    void days_data()
    {
        QTest::addColumn<QString>("day");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<QString>("toolTip");
        QTest::addColumn<QString>("accessibleName");
        QTest::newRow("past day with a board")
            << u"2025-03-04"_qs << true << QString() << u"Tuesday, 4 March 2025"_qs;
        QTest::newRow("past day without a board")
            << u"2025-03-05"_qs << false << u"No board this day"_qs
            << u"Wednesday, 5 March 2025, no board"_qs;
        QTest::newRow("last month, with a board")
            << u"2025-02-28"_qs << true << QString() << u"Friday, 28 February 2025"_qs;
        QTest::newRow("last month, without a board")
            << u"2025-02-27"_qs << false << u"No board this day"_qs
            << u"Thursday, 27 February 2025, no board"_qs;
        QTest::newRow("today without a board")
            << u"2025-03-07"_qs << true << QString() << u"Friday, 7 March 2025"_qs;
        QTest::newRow("future day")
            << u"2025-03-08"_qs << false << QString() << u"Saturday, 8 March 2025, no board"_qs;
        QTest::newRow("future day with a board")
            << u"2025-03-14"_qs << false << QString() << u"Friday, 14 March 2025, no board"_qs;
    }
    // Past days only with a board, today always, later days never.
    void days()
    {
        QFETCH(QString, day);
        auto store = makeStore();
        CalendarMonth calendar(store.get(), nullptr);
        // Today's own file is left out: today does not need one.
        calendar.setBoardDays({u"2025-03-04"_qs, u"2025-02-28"_qs, u"2025-03-14"_qs});
        const QDate date = *BoardStore::date(day);
        calendar.setMonth(date);

        QTEST(calendar.isEnabled(date), "enabled");
        QTEST(calendar.toolTip(date), "toolTip");
        QTEST(calendar.accessibleName(date), "accessibleName");
        QTEST(cell(calendar, day, CalendarMonth::IsEnabledRole).toBool(), "enabled");
        QTEST(cell(calendar, day, CalendarMonth::ToolTipRole).toString(), "toolTip");
        QTEST(cell(calendar, day, CalendarMonth::AccessibleNameRole).toString(), "accessibleName");
        QCOMPARE(cell(calendar, day, CalendarMonth::HasBoardRole).toBool(),
                 calendar.boardDays().contains(day));
        QCOMPARE(cell(calendar, day, CalendarMonth::IsTodayRole).toBool(), day == u"2025-03-07");
        QCOMPARE(cell(calendar, day, CalendarMonth::DateRole).toDate(), date);
    }

    void aLaterBoardFileDoesNotEnableItsDay()
    {
        writeBoard(u"2025-03-04"_qs);
        writeBoard(u"2025-03-09"_qs);
        auto store = makeStore();
        CalendarMonth calendar(store.get(), nullptr);
        QVERIFY(calendar.boardDays().contains(u"2025-03-09"_qs));
        QVERIFY(cell(calendar, u"2025-03-09"_qs, CalendarMonth::HasBoardRole).toBool());
        QVERIFY(!cell(calendar, u"2025-03-09"_qs, CalendarMonth::IsEnabledRole).toBool());
        QCOMPARE(cell(calendar, u"2025-03-09"_qs, CalendarMonth::ToolTipRole).toString(),
                 QString());
        QVERIFY(cell(calendar, u"2025-03-04"_qs, CalendarMonth::IsEnabledRole).toBool());

        NotchModel model;
        model.setShowCalendar(true);
        calendar.setModel(&model);
        calendar.pick(u"2025-03-09"_qs);
        QVERIFY(model.showCalendar());
        QVERIFY(!store->isViewingPast());
        QCOMPARE(store->shownDay(), u"2025-03-07"_qs);
    }

    void openingReadsTheShownDayAndTheBoards()
    {
        writeBoard(u"2025-01-15"_qs);
        writeBoard(u"2025-03-04"_qs);
        auto store = makeStore();
        store->view(u"2025-01-15"_qs);
        NotchModel model;
        CalendarMonth calendar(store.get(), &model);
        QSignalSpy boardDays(&calendar, &CalendarMonth::boardDaysChanged);
        model.setShowCalendar(true);
        QCOMPARE(calendar.month(), QDate(2025, 1, 15));
        QVERIFY(calendar.boardDays().contains(u"2025-01-15"_qs));
        QVERIFY(calendar.boardDays().contains(u"2025-03-04"_qs));
        QCOMPARE(calendar.boardDays(), store->boardDays());
        QCOMPARE(calendar.boardDayList(), store->boardDayList());
        QVERIFY(cell(calendar, u"2025-01-15"_qs, CalendarMonth::IsShownRole).toBool());
        QCOMPARE(calendar.focusedDay(), u"2025-01-15"_qs);

        // While open, files that come later are not looked at.
        writeBoard(u"2025-01-20"_qs);
        calendar.shiftMonth(1);
        calendar.shiftMonth(-1);
        QVERIFY(!calendar.boardDays().contains(u"2025-01-20"_qs));
        QVERIFY(!cell(calendar, u"2025-01-20"_qs, CalendarMonth::IsEnabledRole).toBool());
        calendar.shiftMonth(2);
        QCOMPARE(calendar.month().month(), 3);

        // The next opening starts afresh.
        model.setShowCalendar(false);
        boardDays.clear();
        model.setShowCalendar(true);
        QCOMPARE(calendar.month(), QDate(2025, 1, 15));
        QCOMPARE(boardDays.size(), 1);
        QVERIFY(calendar.boardDays().contains(u"2025-01-20"_qs));
        QVERIFY(cell(calendar, u"2025-01-20"_qs, CalendarMonth::IsEnabledRole).toBool());
    }

    void openingOnTodayShowsThisMonth()
    {
        auto store = makeStore();
        CalendarMonth calendar(store.get(), nullptr);
        QCOMPARE(calendar.month(), QDate(2025, 3, 7));
        QCOMPARE(calendar.focusedDay(), u"2025-03-07"_qs);
        QVERIFY(cell(calendar, u"2025-03-07"_qs, CalendarMonth::IsShownRole).toBool());
        QVERIFY(cell(calendar, u"2025-03-07"_qs, CalendarMonth::IsTodayRole).toBool());
    }

    // A shown day that is no date falls back to today's month.
    void anUnreadableShownDayOpensOnToday()
    {
        auto store = makeStore();
        store->view(u"2025-02-30"_qs);
        QCOMPARE(store->shownDay(), u"2025-02-30"_qs);
        CalendarMonth calendar(store.get(), nullptr);
        QCOMPARE(calendar.month(), QDate(2025, 3, 7));
        QCOMPARE(calendar.focusedDay(), u"2025-03-07"_qs);
    }

    void pickingADayShowsItAndCloses_data()
    {
        QTest::addColumn<QString>("day");
        QTest::addColumn<bool>("picked");
        QTest::addColumn<bool>("viewingPast");
        QTest::newRow("past day with a board") << u"2025-03-04"_qs << true << true;
        QTest::newRow("last year, with a board") << u"2024-12-31"_qs << true << true;
        QTest::newRow("today") << u"2025-03-07"_qs << true << false;
        QTest::newRow("past day without a board") << u"2025-03-05"_qs << false << false;
        QTest::newRow("future day") << u"2025-03-08"_qs << false << false;
        QTest::newRow("no date") << u"yesterday"_qs << false << false;
    }
    void pickingADayShowsItAndCloses()
    {
        QFETCH(QString, day);
        QFETCH(bool, picked);
        writeBoard(u"2025-03-04"_qs);
        writeBoard(u"2024-12-31"_qs);
        auto store = makeStore();
        NotchModel model;
        CalendarMonth calendar(store.get(), &model);
        model.setShowCalendar(true);
        calendar.pick(day);
        QCOMPARE(model.showCalendar(), !picked);
        QTEST(store->isViewingPast(), "viewingPast");
        QCOMPARE(store->shownDay(), picked ? day : u"2025-03-07"_qs);
    }

    void todayClosesAndShowsToday()
    {
        writeBoard(u"2025-03-04"_qs);
        auto store = makeStore();
        store->view(u"2025-03-04"_qs);
        QVERIFY(store->isViewingPast());
        NotchModel model;
        CalendarMonth calendar(store.get(), &model);
        model.setShowCalendar(true);
        calendar.shiftMonth(-3);
        calendar.showToday();
        QVERIFY(!model.showCalendar());
        QVERIFY(!store->isViewingPast());
        QCOMPARE(store->shownDay(), u"2025-03-07"_qs);
    }

    void keysMoveTheFocus()
    {
        writeBoard(u"2025-03-04"_qs);
        writeBoard(u"2025-02-25"_qs);
        auto store = makeStore();
        store->view(u"2025-03-04"_qs);
        NotchModel model;
        CalendarMonth calendar(store.get(), &model);
        model.setShowCalendar(true);
        QSignalSpy shifted(&calendar, &CalendarMonth::monthShifted);

        calendar.moveFocus(-7);
        QCOMPARE(calendar.focusedDay(), u"2025-02-25"_qs);
        QCOMPARE(calendar.month().month(), 2);
        QCOMPARE(shifted.size(), 1);
        QCOMPARE(shifted.first().first().toInt(), -1);
        QVERIFY(cell(calendar, u"2025-02-25"_qs, CalendarMonth::IsFocusedRole).toBool());

        calendar.moveFocus(7);
        QCOMPARE(calendar.focusedDay(), u"2025-03-04"_qs);
        QCOMPARE(calendar.month().month(), 3);
        // Never past today.
        calendar.moveFocus(7);
        QCOMPARE(calendar.focusedDay(), u"2025-03-07"_qs);
        calendar.moveFocus(1);
        QCOMPARE(calendar.focusedDay(), u"2025-03-07"_qs);
        QCOMPARE(shifted.size(), 2);

        // The arrows take the focus along to the same day of the other month.
        calendar.shiftMonth(-1);
        QCOMPARE(calendar.focusedDay(), u"2025-02-07"_qs);
        calendar.moveFocus(-1);
        calendar.pickFocused();
        // No board on the 6th: nothing happens.
        QVERIFY(model.showCalendar());
        calendar.moveFocus(18);
        QCOMPARE(calendar.focusedDay(), u"2025-02-24"_qs);
        calendar.moveFocus(1);
        calendar.pickFocused();
        QVERIFY(!model.showCalendar());
        QCOMPARE(store->shownDay(), u"2025-02-25"_qs);
    }

    // A new day can make the shown month's successor begin, and moves today's mark.
    void aNewDayMovesTodayAndTheForwardArrow()
    {
        m_clock.set(2025, 3, 31, 23, 59);
        auto store = makeStore();
        CalendarMonth calendar(store.get(), nullptr);
        QVERIFY(!calendar.canGoForward());
        QSignalSpy forward(&calendar, &CalendarMonth::canGoForwardChanged);
        QSignalSpy data(&calendar, &QAbstractItemModel::dataChanged);
        m_clock.set(2025, 4, 1, 0, 1);
        store->loadToday();
        QCOMPARE(store->day(), u"2025-04-01"_qs);
        QVERIFY(calendar.canGoForward());
        QCOMPARE(forward.size(), 1);
        QVERIFY(!data.isEmpty());
        QVERIFY(!cell(calendar, u"2025-03-31"_qs, CalendarMonth::IsTodayRole).toBool());
        // Yesterday now: enabled only with a board.
        QCOMPARE(cell(calendar, u"2025-03-31"_qs, CalendarMonth::IsEnabledRole).toBool(),
                 calendar.boardDays().contains(u"2025-03-31"_qs));
    }

    void itemModel()
    {
        writeBoard(u"2025-03-04"_qs);
        writeBoard(u"2025-01-02"_qs);
        auto store = makeStore();
        NotchModel model;
        CalendarMonth calendar(store.get(), &model);
        QAbstractItemModelTester tester(&calendar,
                                        QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.setShowCalendar(true);
        for (int delta : {-1, -1, -1, 2, 1, -12})
            calendar.shiftMonth(delta);
        for (int weekday = 1; weekday <= 7; ++weekday)
            calendar.setFirstWeekday(weekday);
        calendar.setBoardDays({u"2024-03-01"_qs});
        calendar.moveFocus(-40);
        model.setShowCalendar(false);
        model.setShowCalendar(true);
        calendar.pick(u"2025-01-02"_qs);
        QVERIFY(!model.showCalendar());
        calendar.setStore(nullptr);
        calendar.setStore(store.get());
        QCOMPARE(calendar.month(), QDate(2025, 1, 2));
        const QHash<int, QByteArray> roles = calendar.roleNames();
        QCOMPARE(roles.value(CalendarMonth::DayKeyRole), QByteArray("dayKey"));
        QCOMPARE(roles.value(CalendarMonth::IsEnabledRole), QByteArray("isEnabled"));
    }
};

QTEST_GUILESS_MAIN(TestCalendarMonth)
#include "tst_calendarmonth.moc"
