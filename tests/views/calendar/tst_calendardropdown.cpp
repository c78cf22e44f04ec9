#include "IconProvider.h"
#include "notch/NotchModel.h"
#include "notch/Theme.h"
#include "store/BoardStore.h"
#include "support/BoardText.h"
#include "support/PanelView.h"
#include "support/QuickItems.h"
#include "support/StoreFixture.h"
#include "support/ViewFixture.h"

#include <QLocale>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <memory>

Q_IMPORT_QML_PLUGIN(TallowfernPlugin)

using QuickItems::centre;
using QuickItems::findItem;
using QuickItems::shown;

namespace {

// Longer than the tooltips' delay.
constexpr int toolTipMs = 900;

} // namespace

class TestCalendarDropdown : public QObject, protected ViewFixture {
    Q_OBJECT

    void writeBoard(const QString &day)
    {
        Scratch::write(m_scratch->boards() + u'/' + day + u".md"_qs, boardText(1, 1, 1));
    }

    void load(const QString &file, const QSize &size = {})
    {
        // Alone, the dropdown takes its own size.
        showView(file, size, Theme::panel);
    }

    // The dropdown alone, as the panel shows it.
    void start()
    {
        makeStore();
        m_model->setOpen(true);
        m_model->setShowCalendar(true);
        load(u"calendar/CalendarDropdown.qml"_qs);
    }

    [[nodiscard]] QQuickItem *root() const { return m_view->rootObject(); }
    [[nodiscard]] QQuickItem *item(const QString &name) const { return findItem(root(), name); }
    [[nodiscard]] QQuickItem *day(const QString &key) const { return item(u"day-"_qs + key); }

    void click(QQuickItem *target)
    {
        QVERIFY(target);
        QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, centre(target));
    }
    void hover(QQuickItem *target)
    {
        QVERIFY(target);
        QTest::mouseMove(m_view.get(), centre(target) + QPoint(1, 1));
        QTest::mouseMove(m_view.get(), centre(target));
    }
    [[nodiscard]] QString title() const
    {
        return item(u"monthTitle"_qs)->property("text").toString();
    }

private slots:
    void initTestCase()
    {
        useTimeZone("Europe/Berlin");
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
    }

    void init() { freshVault(); }

    void cleanup() { closeView(); }

    void layout()
    {
        start();
        QCOMPARE(title(), u"March 2025"_qs);
        QVERIFY(root()->width() >= 236);
        QQuickItem *grid = item(u"dayGrid"_qs);
        QVERIFY(grid);
        QCOMPARE(grid->width(), 7 * 28.0 + 6 * 2);

        // The week starts on Monday here and the 1st is a Saturday: five blanks before it.
        const auto at = [&](const QString &key) {
            QQuickItem *cell = day(key);
            return cell ? cell->mapToItem(grid, QPointF(0, 0)) : QPointF(-1, -1);
        };
        QCOMPARE(at(u"2025-03-01"_qs), QPointF(5 * 30, 0));
        QCOMPARE(at(u"2025-03-02"_qs), QPointF(6 * 30, 0));
        QCOMPARE(at(u"2025-03-03"_qs), QPointF(0, 30));
        QCOMPARE(at(u"2025-03-31"_qs), QPointF(0, 5 * 30));
        QCOMPARE(day(u"2025-03-07"_qs)->size(), QSizeF(28, 28));
        QVERIFY(!day(u"2025-04-01"_qs));
    }

    // This month cannot go forward; the month before it can.
    void forwardArrowStopsAtThisMonth()
    {
        start();
        QQuickItem *next = item(u"nextMonth"_qs);
        QQuickItem *previous = item(u"previousMonth"_qs);
        QVERIFY(next && previous);
        QVERIFY(!next->isEnabled());
        QVERIFY(next->opacity() < 1);
        click(next);
        QCOMPARE(title(), u"March 2025"_qs);

        click(previous);
        QCOMPARE(title(), u"February 2025"_qs);
        QVERIFY(next->isEnabled());
        QCOMPARE(next->opacity(), 1.0);
        QVERIFY(day(u"2025-02-28"_qs));
        QVERIFY(!day(u"2025-03-01"_qs));

        click(next);
        QCOMPARE(title(), u"March 2025"_qs);
        QVERIFY(!next->isEnabled());
    }

    void pickingADayShowsItsBoardAndCloses()
    {
        writeBoard(u"2025-02-20"_qs);
        writeBoard(u"2025-03-04"_qs);
        start();
        click(day(u"2025-03-04"_qs));
        QVERIFY(!m_model->showCalendar());
        QVERIFY(m_store->isViewingPast());
        QCOMPARE(m_store->shownDay(), u"2025-03-04"_qs);

        // Opened again: from the shown day, and a day of another month.
        m_model->setShowCalendar(true);
        QVERIFY(day(u"2025-03-04"_qs)->property("isShown").toBool());
        click(item(u"previousMonth"_qs));
        settle();
        click(day(u"2025-02-20"_qs));
        QVERIFY(!m_model->showCalendar());
        QCOMPARE(m_store->shownDay(), u"2025-02-20"_qs);
        QVERIFY(m_store->isViewingPast());
    }

    void todayButtonShowsTodayAndCloses()
    {
        writeBoard(u"2025-03-04"_qs);
        start();
        m_store->view(u"2025-03-04"_qs);
        click(item(u"previousMonth"_qs));
        click(item(u"todayButton"_qs));
        QVERIFY(!m_model->showCalendar());
        QVERIFY(!m_store->isViewingPast());
        QCOMPARE(m_store->shownDay(), u"2025-03-07"_qs);
    }

    void aPastDayWithoutABoardIsDisabledWithATip()
    {
        start();
        QQuickItem *cell = day(u"2025-03-05"_qs);
        QVERIFY(cell);
        QVERIFY(!cell->isEnabled());
        QCOMPARE(cell->property("toolTip").toString(), u"No board this day"_qs);
        click(cell);
        QVERIFY(m_model->showCalendar());
        QVERIFY(!m_store->isViewingPast());

        QQuickItem *tip = findItem(cell, u"toolTip"_qs);
        QVERIFY(tip);
        hover(cell);
        QTRY_VERIFY_WITH_TIMEOUT(tip->property("showing").toBool(), 3000);
        QCOMPARE(tip->property("text").toString(), u"No board this day"_qs);
        QCOMPARE(cell->property("accessibleName").toString(),
                 u"Wednesday, 5 March 2025, no board"_qs);
    }

    void aFutureDayIsDisabledWithoutATip()
    {
        writeBoard(u"2025-03-10"_qs);
        start();
        for (const QString &key : {u"2025-03-08"_qs, u"2025-03-10"_qs}) {
            QQuickItem *cell = day(key);
            QVERIFY(cell);
            QVERIFY2(!cell->isEnabled(), qPrintable(key));
            QCOMPARE(cell->property("toolTip").toString(), QString());
            hover(cell);
            QTest::qWait(toolTipMs);
            QVERIFY(!findItem(cell, u"toolTip"_qs)->property("showing").toBool());
            click(cell);
            QVERIFY(m_model->showCalendar());
            QVERIFY(!m_store->isViewingPast());
        }
        QVERIFY(findItem(day(u"2025-03-10"_qs), u"boardDot"_qs)->isVisible());
        QVERIFY(!findItem(day(u"2025-03-08"_qs), u"boardDot"_qs)->isVisible());
    }

    void todayIsAlwaysEnabled()
    {
        start();
        QQuickItem *cell = day(u"2025-03-07"_qs);
        QVERIFY(cell);
        QVERIFY(cell->isEnabled());
        m_store->view(u"2025-03-04"_qs);
        QVERIFY(cell->isEnabled());
        click(cell);
        QVERIFY(!m_model->showCalendar());
        QVERIFY(!m_store->isViewingPast());
    }

    // The shown day is filled with the accent, today has a ring, and the numbers follow.
    void shownDayAndTodayStandOut()
    {
        writeBoard(u"2025-03-03"_qs);
        writeBoard(u"2025-03-04"_qs);
        makeStore();
        m_store->view(u"2025-03-04"_qs);
        m_model->setShowCalendar(true);
        load(u"calendar/CalendarDropdown.qml"_qs);

        const auto part = [&](const QString &key, const char *name) {
            return findItem(day(key), QString::fromLatin1(name));
        };
        QQuickItem *shownBackground = part(u"2025-03-04"_qs, "background");
        QVERIFY(shownBackground && shownBackground->isVisible());
        QCOMPARE(shownBackground->property("color").value<QColor>().rgba(), Theme::accent.rgba());
        QCOMPARE(part(u"2025-03-04"_qs, "number")->property("color").value<QColor>(),
                 QColor(Qt::black));
        QVERIFY(part(u"2025-03-04"_qs, "boardDot")->isVisible());
        QVERIFY(!part(u"2025-03-04"_qs, "todayRing")->isVisible());

        QVERIFY(part(u"2025-03-07"_qs, "todayRing")->isVisible());
        QVERIFY(!part(u"2025-03-07"_qs, "background")->isVisible());
        QCOMPARE(part(u"2025-03-07"_qs, "number")->property("color").value<QColor>().rgba(),
                 Theme::text.rgba());

        QVERIFY(!part(u"2025-03-05"_qs, "todayRing")->isVisible());
        QVERIFY(part(u"2025-03-05"_qs, "number")->opacity() < 0.5);

        // An enabled day lights up under the pointer; a disabled one and today do not.
        QQuickItem *enabledBackground = part(u"2025-03-03"_qs, "background");
        QVERIFY(!enabledBackground->isVisible());
        hover(day(u"2025-03-03"_qs));
        QTRY_VERIFY(enabledBackground->isVisible());
        QCOMPARE(enabledBackground->property("color").value<QColor>().rgba(),
                 Theme::surfaceHover.rgba());
        hover(day(u"2025-03-05"_qs));
        QTRY_VERIFY(!enabledBackground->isVisible());
        QVERIFY(!part(u"2025-03-05"_qs, "background")->isVisible());
        hover(day(u"2025-03-07"_qs));
        QVERIFY(!part(u"2025-03-07"_qs, "background")->isVisible());
        QVERIFY(part(u"2025-03-07"_qs, "todayRing")->isVisible());
    }

    void keysMoveAndPick()
    {
        writeBoard(u"2025-03-04"_qs);
        start();
        QTRY_VERIFY(root()->hasActiveFocus());
        QQuickItem *ring = findItem(day(u"2025-03-07"_qs), u"focusRing"_qs);
        QVERIFY(!ring->isVisible());
        QTest::keyClick(m_view.get(), Qt::Key_Left);
        QVERIFY(findItem(day(u"2025-03-06"_qs), u"focusRing"_qs)->isVisible());
        QTest::keyClick(m_view.get(), Qt::Key_Up);
        QCOMPARE(title(), u"February 2025"_qs);
        QTest::keyClick(m_view.get(), Qt::Key_Down);
        QCOMPARE(title(), u"March 2025"_qs);
        QTest::keyClick(m_view.get(), Qt::Key_Left);
        QTest::keyClick(m_view.get(), Qt::Key_Left);
        QVERIFY(findItem(day(u"2025-03-04"_qs), u"focusRing"_qs)->isVisible());
        QTest::keyClick(m_view.get(), Qt::Key_Return);
        QVERIFY(!m_model->showCalendar());
        QCOMPARE(m_store->shownDay(), u"2025-03-04"_qs);
    }

    // In the open panel: the day label drops it down, a picked day puts it away.
    void inThePanel()
    {
        writeBoard(u"2025-03-04"_qs);
        makeStore();
        load(u"notch/NotchRootView.qml"_qs, QSize(860, 420));
        m_model->setOpen(true);
        settle();

        click(item(u"dayLabel"_qs));
        QVERIFY(m_model->showCalendar());
        QTRY_VERIFY(item(u"calendarDropdown"_qs));
        QQuickItem *dropdown = item(u"calendarDropdown"_qs);
        settle();
        QVERIFY(shown(dropdown));
        // Under the day label, inside the panel.
        const QRectF area =
            dropdown->mapRectToScene(QRectF(0, 0, dropdown->width(), dropdown->height()));
        const QRectF label = item(u"dayLabel"_qs)->mapRectToScene(QRectF(0, 0, 1, 1));
        QVERIFY(area.top() > label.top());
        QVERIFY(area.bottom() < 380);

        click(day(u"2025-03-04"_qs));
        QVERIFY(!m_model->showCalendar());
        QCOMPARE(m_store->shownDay(), u"2025-03-04"_qs);
        QVERIFY(m_store->isViewingPast());
        QTRY_VERIFY(!item(u"calendarDropdown"_qs));

        // Opened again, it starts from the shown day; "Today" goes back.
        click(item(u"dayLabel"_qs));
        QTRY_VERIFY(item(u"calendarDropdown"_qs));
        QVERIFY(day(u"2025-03-04"_qs)->property("isShown").toBool());
        settle();
        click(item(u"todayButton"_qs));
        QVERIFY(!m_model->showCalendar());
        QVERIFY(!m_store->isViewingPast());
    }
};

QTEST_MAIN(TestCalendarDropdown)
#include "tst_calendardropdown.moc"
