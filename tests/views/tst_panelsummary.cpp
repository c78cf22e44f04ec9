#include "notch/NotchModel.h"
#include "store/BoardStore.h"
#include "support/BoardText.h"
#include "support/StoreFixture.h"
#include "views/PanelSummary.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

class TestPanelSummary : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;

    QString boardFile(const QString &day) const
    {
        return m_scratch->boards() + u'/' + day + u".md"_qs;
    }
    void writeBoard(const QString &day, int todo, int doing, int done)
    {
        Scratch::write(boardFile(day), boardText(todo, doing, done));
    }
    std::unique_ptr<BoardStore> makeStore()
    {
        return std::make_unique<BoardStore>(&m_clock, &m_launcher);
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }

    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
    }

    void wings_data()
    {
        QTest::addColumn<int>("todo");
        QTest::addColumn<int>("doing");
        QTest::addColumn<int>("done");
        QTest::addColumn<int>("remaining");
        QTest::addColumn<bool>("isDoing");
        QTest::addColumn<QString>("label");
        QTest::addColumn<qreal>("closedWidth");
        QTest::newRow("nothing left") << 0 << 0 << 4 << 0 << false << u"0 left"_qs << 190.0;
        QTest::newRow("empty board") << 0 << 0 << 0 << 0 << false << u"0 left"_qs << 190.0;
        QTest::newRow("two to do, one doing")
            << 2 << 1 << 0 << 3 << true << u"3 left"_qs << 190.0 + 128;
        QTest::newRow("two to do, none doing")
            << 2 << 0 << 5 << 2 << false << u"2 left"_qs << 190.0 + 128;
        QTest::newRow("only doing") << 0 << 1 << 0 << 1 << true << u"1 left"_qs << 190.0 + 128;
    }
    // The wings count today's board: To do plus Doing, and the notch widens by two wings.
    void wings()
    {
        QFETCH(int, todo);
        QFETCH(int, doing);
        QFETCH(int, done);
        writeBoard(u"2025-03-07"_qs, todo, doing, done);
        auto store = makeStore();
        NotchModel model;
        PanelSummary summary(store.get(), &model);

        QTEST(summary.remaining(), "remaining");
        QTEST(summary.doing(), "isDoing");
        QTEST(summary.wingsLabel(), "label");
        QCOMPARE(summary.hasWings(), summary.remaining() > 0);
        QFETCH(qreal, closedWidth);
        QCOMPARE(summary.closedSize(), QSizeF(closedWidth, 32));
    }

    void closedSizeFollowsTheNotchAndTheBoard()
    {
        writeBoard(u"2025-03-07"_qs, 0, 0, 0);
        auto store = makeStore();
        NotchModel model;
        PanelSummary summary(store.get(), &model);
        QSignalSpy sizes(&summary, &PanelSummary::closedSizeChanged);
        QSignalSpy today(&summary, &PanelSummary::todayChanged);
        QCOMPARE(summary.closedSize(), QSizeF(190, 32));

        model.setNotchSize(QSizeF(200, 27));
        QCOMPARE(summary.closedSize(), QSizeF(200, 27));
        QCOMPARE(sizes.size(), 1);

        store->add(u"Water the ferns"_qs, LaneKind::Todo);
        QCOMPARE(summary.remaining(), 1);
        QCOMPARE(summary.closedSize(), QSizeF(200 + 128, 27));
        QCOMPARE(today.size(), 1);

        const QUuid id = store->board().cards(LaneKind::Todo).first().id();
        store->move(id, LaneKind::Doing, std::nullopt);
        QVERIFY(summary.doing());
        QCOMPARE(summary.remaining(), 1);
        QCOMPARE(sizes.size(), 2); // the width did not change again

        store->move(id, LaneKind::Done, std::nullopt);
        QCOMPARE(summary.remaining(), 0);
        QVERIFY(!summary.doing());
        QCOMPARE(summary.closedSize(), QSizeF(200, 27));
    }

    // The wings show today even while an earlier day is looked at.
    void wingsIgnoreThePastDay()
    {
        writeBoard(u"2025-03-05"_qs, 4, 4, 0);
        writeBoard(u"2025-03-07"_qs, 1, 0, 0);
        auto store = makeStore();
        NotchModel model;
        PanelSummary summary(store.get(), &model);
        store->view(u"2025-03-05"_qs);
        QVERIFY(store->isViewingPast());
        QCOMPARE(summary.remaining(), 1);
        QVERIFY(!summary.doing());
    }

    void progress_data()
    {
        QTest::addColumn<int>("todo");
        QTest::addColumn<int>("doing");
        QTest::addColumn<int>("done");
        QTest::addColumn<qreal>("progress");
        QTest::addColumn<QString>("toolTip");
        QTest::newRow("no cards") << 0 << 0 << 0 << 0.0 << u"0% done today"_qs;
        QTest::newRow("none done") << 2 << 1 << 0 << 0.0 << u"0% done today"_qs;
        QTest::newRow("all done") << 0 << 0 << 3 << 1.0 << u"100% done today"_qs;
        QTest::newRow("one of three") << 1 << 1 << 1 << 1.0 / 3 << u"33% done today"_qs;
        // Cut towards zero, not rounded.
        QTest::newRow("two of three") << 1 << 0 << 2 << 2.0 / 3 << u"66% done today"_qs;
        QTest::newRow("29 of 100") << 71 << 0 << 29 << 0.29 << u"29% done today"_qs;
        QTest::newRow("half") << 1 << 1 << 2 << 0.5 << u"50% done today"_qs;
    }
    void progress()
    {
        QFETCH(int, todo);
        QFETCH(int, doing);
        QFETCH(int, done);
        writeBoard(u"2025-03-07"_qs, todo, doing, done);
        auto store = makeStore();
        PanelSummary summary(store.get(), nullptr);
        QFETCH(qreal, progress);
        QCOMPARE(summary.progress(), progress);
        QTEST(summary.progressToolTip(), "toolTip");
    }

    // Progress and the day label follow the shown board, not today's.
    void shownDayDrivesProgressAndLabel()
    {
        writeBoard(u"2025-03-03"_qs, 1, 0, 3);
        writeBoard(u"2025-03-07"_qs, 2, 1, 0);
        auto store = makeStore();
        PanelSummary summary(store.get(), nullptr);
        QSignalSpy shown(&summary, &PanelSummary::shownChanged);
        QCOMPARE(summary.dayLabel(), u"Fri, 7 Mar"_qs);
        QCOMPARE(summary.progress(), 0.0);
        QVERIFY(!summary.isViewingPast());

        store->view(u"2025-03-03"_qs);
        QCOMPARE(summary.dayLabel(), u"Mon, 3 Mar"_qs);
        QCOMPARE(summary.progress(), 0.75);
        QCOMPARE(summary.progressToolTip(), u"75% done today"_qs);
        QVERIFY(summary.isViewingPast());
        QVERIFY(shown.size() >= 1);

        store->view(QString());
        QCOMPARE(summary.dayLabel(), u"Fri, 7 Mar"_qs);
        QVERIFY(!summary.isViewingPast());
    }

    void dayLabel_data()
    {
        QTest::addColumn<QDate>("date");
        QTest::addColumn<QString>("label");
        QTest::newRow("Monday") << QDate(2025, 3, 3) << u"Mon, 3 Mar"_qs;
        QTest::newRow("two digits") << QDate(2025, 12, 25) << u"Thu, 25 Dec"_qs;
        QTest::newRow("leap day") << QDate(2024, 2, 29) << u"Thu, 29 Feb"_qs;
        QTest::newRow("Sunday") << QDate(2025, 6, 1) << u"Sun, 1 Jun"_qs;
    }
    // English whatever the user's locale.
    void dayLabel()
    {
        QFETCH(QDate, date);
        const QLocale previous;
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        const QString label = PanelSummary::dayLabel(date);
        QLocale::setDefault(previous);
        QTEST(label, "label");
    }

    void greetingMessage_data()
    {
        QTest::addColumn<int>("carried");
        QTest::addColumn<QString>("message");
        QTest::newRow("none") << 0 << u"Fresh board for today. What's the plan?"_qs;
        QTest::newRow("negative") << -2 << u"Fresh board for today. What's the plan?"_qs;
        QTest::newRow("one")
            << 1
            << u"Carried over 1 unfinished task. Keep, move or drop them, then add today's."_qs;
        QTest::newRow("three")
            << 3
            << u"Carried over 3 unfinished tasks. Keep, move or drop them, then add today's."_qs;
        QTest::newRow("eleven")
            << 11
            << u"Carried over 11 unfinished tasks. Keep, move or drop them, then add today's."_qs;
    }
    void greetingMessage()
    {
        QFETCH(int, carried);
        QTEST(PanelSummary::greetingMessage(carried), "message");

        auto store = makeStore();
        PanelSummary summary(store.get(), nullptr);
        store->setGreeting(Greeting(carried, u"2025-03-06"_qs));
        QVERIFY(summary.showsGreeting());
        QTEST(summary.greetingMessage(), "message");
        QCOMPARE(summary.greetingTitle(), u"Good morning"_qs);
    }

    // While a past day is shown, the greeting banner gives way even though the greeting is kept.
    void greetingHiddenWhileViewingPast()
    {
        writeBoard(u"2025-03-05"_qs, 1, 0, 0);
        auto store = makeStore();
        PanelSummary summary(store.get(), nullptr);
        store->setGreeting(Greeting(2, u"2025-03-05"_qs));
        QVERIFY(summary.showsGreeting());
        QSignalSpy greeting(&summary, &PanelSummary::greetingChanged);

        store->view(u"2025-03-05"_qs);
        QVERIFY(store->greeting().has_value());
        QVERIFY(!summary.showsGreeting());
        QCOMPARE(greeting.size(), 1);

        store->view(QString());
        QVERIFY(summary.showsGreeting());
    }

    void dismissGreetingClearsTheStore()
    {
        auto store = makeStore();
        PanelSummary summary(store.get(), nullptr);
        store->setGreeting(Greeting(0, std::nullopt));
        QVERIFY(summary.showsGreeting());
        summary.dismissGreeting();
        QVERIFY(!store->greeting().has_value());
        QVERIFY(!summary.showsGreeting());
    }

    // The step buttons are enabled exactly when the store would move.
    void steps()
    {
        writeBoard(u"2025-03-01"_qs, 1, 0, 0);
        writeBoard(u"2025-03-04"_qs, 1, 0, 0);
        writeBoard(u"2025-03-07"_qs, 1, 0, 0);
        auto store = makeStore();
        NotchModel model;
        PanelSummary summary(store.get(), &model);
        QVERIFY(summary.canStepBack());
        QVERIFY(!summary.canStepForward());

        store->step(-1);
        QCOMPARE(store->shownDay(), u"2025-03-04"_qs);
        QVERIFY(summary.canStepBack());
        QVERIFY(summary.canStepForward());

        store->step(-1);
        QCOMPARE(store->shownDay(), u"2025-03-01"_qs);
        QVERIFY(!summary.canStepBack());
        QVERIFY(summary.canStepForward());

        // A board that appears on disk counts once the panel opens again.
        writeBoard(u"2025-02-20"_qs, 1, 0, 0);
        QVERIFY(!summary.canStepBack());
        model.setOpen(true);
        QVERIFY(summary.canStepBack());
    }

    void followsAReplacedStore()
    {
        writeBoard(u"2025-03-07"_qs, 2, 0, 0);
        auto store = makeStore();
        PanelSummary summary;
        QCOMPARE(summary.remaining(), 0);
        QCOMPARE(summary.dayLabel(), QString());
        QSignalSpy stores(&summary, &PanelSummary::storeChanged);
        summary.setStore(store.get());
        QCOMPARE(stores.size(), 1);
        QCOMPARE(summary.remaining(), 2);
        QCOMPARE(summary.dayLabel(), u"Fri, 7 Mar"_qs);
        summary.setStore(store.get());
        QCOMPARE(stores.size(), 1);
        store.reset();
        QCOMPARE(summary.store(), nullptr);
    }
};

QTEST_GUILESS_MAIN(TestPanelSummary)
#include "tst_panelsummary.moc"
