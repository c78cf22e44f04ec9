#include "IconProvider.h"
#include "notch/NotchModel.h"
#include "notch/Theme.h"
#include "settings/FakeDesktopServices.h"
#include "store/BoardStore.h"
#include "support/BoardText.h"
#include "support/PanelView.h"
#include "support/QuickItems.h"
#include "support/StoreFixture.h"
#include "support/ViewFixture.h"
#include "views/SteppedAnimationDriver.h"

#include <QDir>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>
#include <algorithm>

#include <memory>

Q_IMPORT_QML_PLUGIN(TallowfernPlugin)

using QuickItems::shown;

namespace {

// Longer than every spring and fade of the panel.
constexpr int springMs = 1000;

// Offscreen windows have no alpha channel, so the tests put the panel on a light backdrop, like a
// desktop, where the shape and its shadow show as they would on screen.
const QColor backdrop(200, 200, 200);

bool near(QRgb a, const QColor &b, int tolerance)
{
    const QColor c = QColor::fromRgba(a);
    return std::abs(c.red() - b.red()) <= tolerance &&
           std::abs(c.green() - b.green()) <= tolerance &&
           std::abs(c.blue() - b.blue()) <= tolerance &&
           std::abs(c.alpha() - b.alpha()) <= tolerance;
}

QString describe(QRgb pixel)
{
    return QColor::fromRgba(pixel).name(QColor::HexArgb);
}

} // namespace

class TestNotchRootView : public QObject, protected ViewFixture {
    Q_OBJECT

    void writeBoard(const QString &day, int todo, int doing, int done)
    {
        Scratch::write(m_scratch->boards() + u'/' + day + u".md"_qs, boardText(todo, doing, done));
    }

    void start()
    {
        makeStore();
        showView(u"notch/NotchRootView.qml"_qs, QSize(860, 420), backdrop);
    }

    void open()
    {
        m_model->setOpen(true);
        // Settled when the spring has come to rest at the open size, however busy the machine.
        QTRY_COMPARE_WITH_TIMEOUT(root()->property("shapeRect").toRectF().size(), QSizeF(780, 380),
                                  10000);
    }

    [[nodiscard]] QQuickItem *root() const { return m_view->rootObject(); }
    [[nodiscard]] QQuickItem *item(const char *name) const
    {
        return root()->findChild<QQuickItem *>(QString::fromLatin1(name));
    }
    [[nodiscard]] QRectF shapeRect() const { return root()->property("shapeRect").toRectF(); }

    void click(QQuickItem *target)
    {
        QVERIFY(target);
        const QPoint centre =
            target->mapToScene(QPointF(target->width() / 2, target->height() / 2)).toPoint();
        QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, centre);
    }

    [[nodiscard]] QImage grab() const { return m_view->grabWindow(); }

    // Every animation on a clock of the test's own while it lives: on a busy machine real frames
    // come late and could step right over what a test looks at part way.
    class SteppedClock {
    public:
        explicit SteppedClock(AnimationWatch &watch) : m_watch(watch)
        {
            m_watch.uninstall();
            m_driver.install();
        }
        ~SteppedClock()
        {
            m_driver.uninstall();
            m_watch.install();
        }
        SteppedClock(const SteppedClock &) = delete;
        SteppedClock &operator=(const SteppedClock &) = delete;

        // Frame by frame; whatever a frame started (a loader's content) catches up before the
        // next.
        void run(qint64 milliseconds)
        {
            for (qint64 done = 0; done < milliseconds; done += frame) {
                m_driver.step(frame);
                QCoreApplication::processEvents();
            }
        }
        [[nodiscard]] qint64 elapsed() const { return m_driver.elapsed(); }

        static constexpr qint64 frame = 16;

    private:
        AnimationWatch &m_watch;
        SteppedAnimationDriver m_driver;
    };

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }

    void init() { freshVault(); }

    void cleanup() { closeView(); }

    void rendersWithTheExpectedSceneGraph()
    {
        start();
        const QByteArray expected = qgetenv("TALLOWFERN_EXPECT_SCENE_GRAPH");
        if (expected == "software")
            QCOMPARE(m_view->rendererInterface()->graphicsApi(), QSGRendererInterface::Software);
        else if (expected == "opengl")
            QCOMPARE(m_view->rendererInterface()->graphicsApi(), QSGRendererInterface::OpenGL);
        QCOMPARE(root()->width(), 860.0);
        QCOMPARE(root()->height(), 420.0);
    }

    // Closed with nothing in To do or Doing: exactly the notch, and no wings.
    void closedWithNothingLeftIsTheNotch()
    {
        writeBoard(u"2025-03-07"_qs, 0, 0, 2);
        start();
        QTRY_COMPARE(shapeRect(), QRectF((860 - 190) / 2.0, 0, 190, 32));
        QVERIFY(!shown(item("wings")));

        const QImage image = grab();
        QVERIFY(near(image.pixel(430, 16), Theme::panel, 2));
        QVERIFY2(near(image.pixel(430, 30), Theme::panel, 2),
                 qPrintable(describe(image.pixel(430, 30))));
        // Outside the shape nothing is drawn; closed, there is no shadow either.
        QCOMPARE(image.pixel(430, 40), backdrop.rgb());
        QCOMPARE(image.pixel(335 - 4, 16), backdrop.rgb());
        QCOMPARE(image.pixel(525 + 4, 16), backdrop.rgb());
        QCOMPARE(image.pixel(10, 10), backdrop.rgb());
    }

    void closedWithTasksShowsWings_data()
    {
        QTest::addColumn<int>("todo");
        QTest::addColumn<int>("doing");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QColor>("dot");
        QTest::newRow("two to do, one doing")
            << 2 << 1 << u"3 left"_qs << Theme::lane(LaneKind::Doing);
        QTest::newRow("two to do, none doing")
            << 2 << 0 << u"2 left"_qs << Theme::lane(LaneKind::Todo);
    }
    void closedWithTasksShowsWings()
    {
        QFETCH(int, todo);
        QFETCH(int, doing);
        QFETCH(QColor, dot);
        writeBoard(u"2025-03-07"_qs, todo, doing, 0);
        start();
        const qreal width = 190 + 128;
        // Settled when the shape has its closed width and the wings have faded in fully.
        QTRY_COMPARE(shapeRect(), QRectF((860 - width) / 2, 0, width, 32));
        QTRY_COMPARE(item("wings")->opacity(), 1.0);
        QVERIFY(shown(item("wings")));
        QTEST(item("wingLabel")->property("text").toString(), "label");
        QCOMPARE(item("wingDot")->property("color").value<QColor>(), dot);

        // The dot's centre, 18 + 3.5 from the left end of the shape, half way down.
        const QImage image = grab();
        const QPoint centre(int(shapeRect().left() + 18 + 3.5), 16);
        QVERIFY2(near(image.pixel(centre), dot, 40), qPrintable(describe(image.pixel(centre))));
        // The label is drawn on the right wing, nothing under the notch.
        bool label = false;
        for (int x = int(shapeRect().right()) - 64; x < int(shapeRect().right()) - 6; ++x) {
            for (int y = 8; y < 24; ++y)
                label = label || qGray(image.pixel(x, y)) > 60;
        }
        QVERIFY(label);
        for (int x = 335 + 2; x < 525 - 2; ++x)
            QVERIFY(near(image.pixel(x, 16), Theme::panel, 2));
    }

    // Tasks coming and going while closed widen and narrow the shape.
    void wingsFollowTheBoard()
    {
        writeBoard(u"2025-03-07"_qs, 0, 0, 0);
        start();
        QCOMPARE(shapeRect().width(), 190.0);
        QSignalSpy rects(root(), SIGNAL(shapeRectChanged()));
        m_store->add(u"Repot the fern"_qs, LaneKind::Todo);
        QTRY_COMPARE(shapeRect().width(), 190.0 + 128);
        QVERIFY(rects.size() > 2); // animated, not jumped
        QTRY_VERIFY(shown(item("wings")));
        QCOMPARE(item("wingLabel")->property("text").toString(), u"1 left"_qs);
    }

    void openShapeAndShadow()
    {
        writeBoard(u"2025-03-07"_qs, 2, 1, 0);
        start();
        QSignalSpy rects(root(), SIGNAL(shapeRectChanged()));
        open();
        QVERIFY(rects.size() > 5);
        QCOMPARE(shapeRect(), QRectF(40, 0, 780, 380));
        QVERIFY(!shown(item("wings")));
        QVERIFY(shown(item("pin")));

        const QImage image = grab();
        QVERIFY(near(image.pixel(430, 370), Theme::panel, 2));
        QVERIFY(near(image.pixel(60, 200), Theme::panel, 2));
        // How much the shadow darkens the backdrop: 0 for none, 1 for black.
        const auto shade = [&](int x, int y) {
            return 1 - qRed(image.pixel(x, y)) / qreal(backdrop.red());
        };
        // Black over grey stays grey.
        QCOMPARE(qRed(image.pixel(430, 384)), qBlue(image.pixel(430, 384)));
        // The body is inset by the top radius; beside it, the shadow shows.
        const qreal beside = shade(40 + 4, 200);
        QVERIFY2(beside > 0.05 && beside < 0.55, qPrintable(QString::number(beside)));
        // Below the shape the shadow, offset downwards, fades out with distance.
        const qreal justBelow = shade(430, 384);
        const qreal further = shade(430, 405);
        QVERIFY2(justBelow > further && further > 0, qPrintable(QString::number(justBelow)));
        QVERIFY(justBelow <= 0.55 + 0.01);
        // Far away there is no shadow; above the shape's top corners neither (it hangs from the
        // top edge).
        QVERIFY(shade(2, 415) < 0.01);
        QVERIFY(shade(430, 419) < 0.02);
        QVERIFY(shade(2, 2) < 0.01);

        m_model->setOpen(false);
        // Settled when the closing spring has come to rest at the closed size.
        QTRY_COMPARE(shapeRect(), QRectF((860 - 318) / 2.0, 0, 318, 32));
        QTRY_VERIFY(shown(item("wings")));
        QTRY_COMPARE(item("pin"), nullptr); // the open content is gone
        QCOMPARE(grab().pixel(430, 384), backdrop.rgb());
    }

    // Opening runs the open spring, which carries the shape a little past the open size before
    // it settles; the content comes in only after a short delay, growing from a little smaller.
    void openingSpringAndEntrance()
    {
        SteppedClock clock(m_animations);
        start();
        QQuickItem *holder = nullptr;
        qreal tallest = 0;
        qint64 firstContent = -1;
        m_model->setOpen(true);
        const qint64 opened = clock.elapsed();
        while (clock.elapsed() - opened < springMs) {
            clock.run(SteppedClock::frame);
            tallest = std::max(tallest, shapeRect().height());
            if (!holder)
                holder = item("openContentHolder");
            if (holder && firstContent < 0 && holder->opacity() > 0)
                firstContent = clock.elapsed() - opened;
        }
        QVERIFY2(tallest > 381 && tallest < 400, qPrintable(QString::number(tallest)));
        QVERIFY2(firstContent >= 55, qPrintable(QString::number(firstContent)));
        QCOMPARE(shapeRect().height(), 380.0);
        QVERIFY(holder);
        QCOMPARE(holder->opacity(), 1.0);
        QCOMPARE(holder->scale(), 1.0);
        QCOMPARE(holder->y(), 0.0);
    }

    void header()
    {
        writeBoard(u"2025-03-07"_qs, 2, 1, 1);
        start();
        open();
        QCOMPARE(item("dayLabel")->property("text").toString(), u"Fri, 7 Mar"_qs);
        QCOMPARE(item("dayLabel")->property("toolTip").toString(), u"Pick a day"_qs);
        QCOMPARE(item("previousDay")->property("toolTip").toString(),
                 u"Previous day with a board"_qs);
        QCOMPARE(item("nextDay")->property("toolTip").toString(), u"Next day"_qs);
        QCOMPARE(item("openInObsidian")->property("toolTip").toString(),
                 u"Open today's board in Obsidian"_qs);
        QCOMPARE(item("settings")->property("toolTip").toString(), u"Settings"_qs);
        QCOMPARE(item("settings")->property("icon").toString(), u"gear"_qs);
        QCOMPARE(item("pin")->property("toolTip").toString(), u"Keep open"_qs);
        QCOMPARE(item("pin")->property("icon").toString(), u"push-pin"_qs);
        QCOMPARE(item("progressRing")->property("toolTip").toString(), u"25% done today"_qs);
        QCOMPARE(item("progressRing")->property("progress").toReal(), 0.25);
        QCOMPARE(item("tabBoard")->property("text").toString(), u"Board"_qs);
        QCOMPARE(item("tabNotes")->property("text").toString(), u"Notes"_qs);
        // Today is the newest day: nothing to step forward to.
        QVERIFY(!item("nextDay")->isEnabled());
        QVERIFY(!item("previousDay")->isEnabled());
    }

    // Tab goes through the header in reading order (the day, the tabs, the buttons) and on into
    // the board; a disabled day arrow is skipped. Return presses what has the keyboard.
    void headerByKeyboard()
    {
        writeBoard(u"2025-03-05"_qs, 1, 0, 0);
        writeBoard(u"2025-03-07"_qs, 1, 0, 0);
        start();
        activateView();
        open();
        QTRY_VERIFY(item("cardKeys"));
        QStringList order;
        for (int i = 0; i < 12; ++i) {
            QTest::keyClick(m_view.get(), Qt::Key_Tab);
            QQuickItem *focused = m_view->activeFocusItem();
            QVERIFY(focused);
            order.append(focused->objectName());
            if (focused->objectName() == u"cardKeys")
                break;
        }
        QCOMPARE(order,
                 QStringList({u"previousDay"_qs, u"dayLabel"_qs, u"tabBoard"_qs, u"tabNotes"_qs,
                              u"openInObsidian"_qs, u"settings"_qs, u"pin"_qs, u"cardKeys"_qs}));
        // Back to the tab button, which Space presses.
        for (int i = 0; i < 4; ++i)
            QTest::keyClick(m_view.get(), Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(m_view->activeFocusItem()->objectName(), u"tabNotes"_qs);
        QVERIFY(shown(QuickItems::findItem(item("tabNotes"), u"focusRing"_qs)));
        QTest::keyClick(m_view.get(), Qt::Key_Space);
        QCOMPARE(m_model->tab(), NotchModel::Tab::Notes);
    }

    void pinToggles()
    {
        start();
        open();
        click(item("pin"));
        QVERIFY(m_model->isPinned());
        QCOMPARE(item("pin")->property("toolTip").toString(), u"Unpin"_qs);
        QCOMPARE(item("pin")->property("icon").toString(), u"push-pin-fill"_qs);
        click(item("pin"));
        QVERIFY(!m_model->isPinned());
    }

    void toolTipShowsOnHover()
    {
        start();
        open();
        QQuickItem *pin = item("pin");
        QObject *tip = pin->findChild<QObject *>(u"toolTip"_qs);
        QVERIFY(tip);
        QVERIFY(!tip->property("showing").toBool());
        const QPoint centre = pin->mapToScene(QPointF(13, 13)).toPoint();
        QTest::mouseMove(m_view.get(), centre - QPoint(60, 0));
        QTest::mouseMove(m_view.get(), centre);
        QTRY_VERIFY(pin->property("hovered").toBool());
        QTRY_VERIFY(tip->property("showing").toBool());
        // The bubble stays inside the black shape, under the button.
        const auto bubble = tip->findChild<QQuickItem *>();
        QVERIFY(bubble);
        const QRectF where = bubble->mapRectToScene(bubble->boundingRect());
        QVERIFY2(where.right() <= 40 + 780 - 14, qPrintable(QString::number(where.right())));
        QVERIFY(where.top() > centre.y());
        QTest::mouseMove(m_view.get(), QPoint(430, 300));
        QTRY_VERIFY(!tip->property("showing").toBool());
    }

    void obsidianButtonOpensToday()
    {
        start();
        open();
        click(item("openInObsidian"));
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(m_launcher.opened.first().startsWith("obsidian://open?"));
    }

    // On the Settings tab the settings button goes back to the Board tab, not to Notes.
    void settingsButtonReturnsToBoard()
    {
        start();
        open();
        click(item("tabNotes"));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Notes);
        click(item("settings"));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Settings);
        QCOMPARE(item("settings")->property("icon").toString(), u"gear-fill"_qs);
        click(item("settings"));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
        click(item("tabBoard"));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Board);
    }

    void tabContentSwaps()
    {
        start();
        open();
        QVERIFY(shown(item("boardTab")));
        QVERIFY(!shown(item("notesTab")));
        {
            SteppedClock clock(m_animations);
            m_model->setTab(NotchModel::Tab::Notes);
            // Both are on screen for a moment, the new one growing from a hair smaller.
            clock.run(64);
            QVERIFY(shown(item("notesTab")));
            QVERIFY(shown(item("boardTab")));
            QVERIFY(item("notesTab")->scale() < 1);
        }
        QTRY_VERIFY(!shown(item("boardTab")));
        QTRY_COMPARE(item("notesTab")->scale(), 1.0);
    }

    void progressOnlyOnTheBoardTab_data()
    {
        QTest::addColumn<NotchModel::Tab>("tab");
        QTest::addColumn<bool>("ring");
        QTest::newRow("board") << NotchModel::Tab::Board << true;
        QTest::newRow("notes") << NotchModel::Tab::Notes << false;
        QTest::newRow("settings") << NotchModel::Tab::Settings << false;
    }
    void progressOnlyOnTheBoardTab()
    {
        QFETCH(NotchModel::Tab, tab);
        writeBoard(u"2025-03-07"_qs, 1, 0, 1);
        start();
        m_model->setTab(tab);
        open();
        QTEST(shown(item("progressRing")), "ring");
    }

    void greetingBanner()
    {
        start();
        m_store->setGreeting(Greeting(1, u"2025-03-06"_qs));
        open();
        QVERIFY(shown(item("greetingSlot")));
        QVERIFY(!shown(item("pastDaySlot")));
        QCOMPARE(item("greetingMessage")->property("text").toString(),
                 u"Carried over 1 unfinished task. Keep, move or drop them, then add today's."_qs);
        click(item("letsGo"));
        QVERIFY(!m_store->greeting());
        QTRY_VERIFY(!shown(item("greetingSlot")));
    }

    void unreadableBoardOffersAFreshOne()
    {
        const QString file = m_scratch->boards() + u"/2025-03-07.md"_qs;
        Scratch::write(file, "## To do\n- [ ] caf\xe9\n");
        start();
        open();
        QTRY_VERIFY(shown(item("messageSlot")));
        const QString text = item("messageText")->property("text").toString();
        QVERIFY2(text.startsWith(u"Couldn't read 2025-03-07.md: not valid UTF-8 text"_qs),
                 qPrintable(text));
        QVERIFY(shown(item("openUnreadable")));
        QVERIFY(!shown(item("dismissMessage")));
        click(item("openUnreadable"));
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(m_launcher.opened[0].contains("2025-03-07"));
        click(item("startFresh"));
        QTRY_VERIFY(!shown(item("messageSlot")));
        QCOMPARE(Scratch::read(m_scratch->boards() + u"/2025-03-07 (unreadable).md"_qs),
                 QByteArray("## To do\n- [ ] caf\xe9\n"));
        QCOMPARE(Scratch::read(file), m_store->board().markdown().toUtf8());
    }

    void keptCopyCanBeShown()
    {
        FakeDesktopServices services;
        Scratch::write(m_scratch->boards() + u"/2025-03-07.md"_qs,
                       "Notes before the board\n## To do\n- [ ] a\n");
        start();
        m_store->add(u"b"_qs, LaneKind::Todo);
        open();
        QTRY_VERIFY(shown(item("messageSlot")));
        QVERIFY(!m_store->lastCopy().isEmpty());
        QVERIFY(shown(item("showCopy")));
        click(item("showCopy"));
        QCOMPARE(services.revealed, QStringList{m_store->lastCopy()});
        click(item("dismissMessage"));
        QTRY_VERIFY(!shown(item("messageSlot")));
        QCOMPARE(m_store->lastError(), QString());
    }

    // A past day's banner takes the greeting's place while that day is shown.
    void greetingHiddenWhileViewingPast()
    {
        writeBoard(u"2025-03-04"_qs, 1, 0, 0);
        writeBoard(u"2025-03-07"_qs, 1, 0, 0);
        start();
        m_store->setGreeting(Greeting(0, std::nullopt));
        open();
        QVERIFY(shown(item("greetingSlot")));
        QCOMPARE(item("greetingMessage")->property("text").toString(),
                 u"Fresh board for today. What's the plan?"_qs);

        click(item("previousDay"));
        QCOMPARE(m_store->shownDay(), u"2025-03-04"_qs);
        settle();
        QVERIFY(m_store->greeting());
        QVERIFY(!shown(item("greetingSlot")));
        QVERIFY(shown(item("pastDaySlot")));
        QCOMPARE(item("dayLabel")->property("text").toString(), u"Tue, 4 Mar"_qs);

        click(item("backToToday"));
        QVERIFY(!m_store->isViewingPast());
        settle();
        QVERIFY(shown(item("greetingSlot")));
        QVERIFY(!shown(item("pastDaySlot")));
    }

    // At the earliest day with a board, the previous-day button is dimmed and does nothing.
    void previousDayStopsAtTheEarliestBoard()
    {
        writeBoard(u"2025-03-01"_qs, 1, 0, 0);
        writeBoard(u"2025-03-07"_qs, 1, 0, 0);
        start();
        open();
        QVERIFY(item("previousDay")->isEnabled());
        click(item("previousDay"));
        QCOMPARE(m_store->shownDay(), u"2025-03-01"_qs);
        QVERIFY(!item("previousDay")->isEnabled());
        QVERIFY(item("previousDay")->opacity() < 1);
        click(item("previousDay"));
        QCOMPARE(m_store->shownDay(), u"2025-03-01"_qs);
        QVERIFY(item("nextDay")->isEnabled());
        click(item("nextDay"));
        QCOMPARE(m_store->shownDay(), u"2025-03-07"_qs);
        QVERIFY(!m_store->isViewingPast());
    }

    void dayLabelTogglesTheCalendar()
    {
        start();
        open();
        click(item("dayLabel"));
        QVERIFY(m_model->showCalendar());
        QVERIFY(shown(item("calendarLayer")));
        // The day label is under the layer now: the click only puts the calendar away.
        click(item("dayLabel"));
        QVERIFY(!m_model->showCalendar());
    }

    // While the calendar is out, a click anywhere else only closes it.
    void clickOutsideTheCalendarOnlyClosesIt()
    {
        start();
        open();
        m_model->setShowCalendar(true);
        settle();
        click(item("pin"));
        QVERIFY(!m_model->showCalendar());
        QVERIFY(!m_model->isPinned());
        click(item("tabNotes"));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Notes);
    }

    void snapshots()
    {
        const QString dir = QString::fromLocal8Bit(qgetenv("TALLOWFERN_VIEW_SNAPSHOTS"));
        if (dir.isEmpty())
            QSKIP("TALLOWFERN_VIEW_SNAPSHOTS names no folder for the pictures");
        QDir().mkpath(dir);
        writeBoard(u"2025-03-04"_qs, 1, 2, 3);
        writeBoard(u"2025-03-07"_qs, 2, 1, 0);
        start();
        settle();
        QVERIFY(grab().save(dir + u"/closed-wings.png"_qs));

        m_store->setGreeting(Greeting(3, u"2025-03-04"_qs));
        open();
        QVERIFY(grab().save(dir + u"/open-board-greeting.png"_qs));

        m_store->view(u"2025-03-04"_qs);
        settle();
        QVERIFY(grab().save(dir + u"/open-past-day.png"_qs));

        m_store->view(QString());
        settle();
        QTest::mouseMove(m_view.get(), QPoint(430, 300));
        QTest::mouseMove(m_view.get(), item("pin")->mapToScene(QPointF(13, 13)).toPoint());
        // The tip comes after a pause of the pointer.
        const auto tipShown = [this] {
            const QList<QQuickItem *> bubbles =
                root()->findChildren<QQuickItem *>(u"toolTipBubble"_qs);
            return std::any_of(bubbles.begin(), bubbles.end(), QuickItems::shown);
        };
        QTRY_VERIFY(tipShown());
        settle();
        QVERIFY(grab().save(dir + u"/open-pin-tooltip.png"_qs));

        // Part way through the open spring, from the closed wings, on a clock of the test's own.
        m_model->setOpen(false);
        settle();
        SteppedClock clock(m_animations);
        m_model->setOpen(true);
        clock.run(144);
        QVERIFY(grab().save(dir + u"/opening.png"_qs));
    }
};

QTEST_MAIN(TestNotchRootView)
#include "tst_notchrootview.moc"
