#include "notch/NotchBehavior.h"
#include "notch/NotchController.h"
#include "notch/NotchModel.h"
#include "notch/SensorWindow.h"
#include "platform/GlobalShortcut.h"
#include "platform/X11Overlay.h"
#include "platform/XcbReply.h"
#include "store/BoardStore.h"
#include "support/StoreFixture.h"

#include <QGuiApplication>
#include <QProcess>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QRasterWindow>
#include <QScreen>
#include <QTest>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace {

xcb_connection_t *connection()
{
    return qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
}

xcb_atom_t atom(const char *name)
{
    XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection(), xcb_intern_atom(connection(), 0, quint16(strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

QList<quint32> windowProperty(QWindow *window, const char *name, xcb_atom_t type)
{
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection(),
        xcb_get_property(connection(), 0, xcb_window_t(window->winId()), atom(name), type, 0, 64),
        nullptr));
    QList<quint32> values;
    if (!reply)
        return values;
    const auto *data = static_cast<const quint32 *>(xcb_get_property_value(reply.get()));
    for (int i = 0; i < xcb_get_property_value_length(reply.get()) / 4; ++i)
        values.append(data[i]);
    return values;
}

// The window's input shape in its own coordinates.
QList<QRect> inputShape(QWindow *window)
{
    XcbReply<xcb_shape_get_rectangles_reply_t> reply(xcb_shape_get_rectangles_reply(
        connection(),
        xcb_shape_get_rectangles(connection(), xcb_window_t(window->winId()), XCB_SHAPE_SK_INPUT),
        nullptr));
    QList<QRect> rects;
    if (!reply)
        return rects;
    const xcb_rectangle_t *r = xcb_shape_get_rectangles_rectangles(reply.get());
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(reply.get()); ++i)
        rects.append(QRect(r[i].x, r[i].y, r[i].width, r[i].height));
    return rects;
}

bool xdotool(const QStringList &arguments)
{
    return QProcess::execute(u"xdotool"_qs, arguments) == 0;
}

class OtherWindow : public QRasterWindow {
protected:
    void paintEvent(QPaintEvent *) override {}
};

} // namespace

// The real windows on a private X server with no window manager; the decisions themselves are
// tested with a fake desktop elsewhere.
class TestNotchController : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void windowsSitAtTheTopCentre();
    void windowsAreMarkedAsPartOfTheDesktop();
    void closedPanelLetsClicksThrough();
    void openPanelTakesClicksOverItsOpenAreaOnly();
    void hoverOpensAndLeavingCloses();
    void briefBrushOpensNothing();
    void clickOutsideCloses();
    void pinnedPanelTakesTheKeyboardAndGivesItBack();
    void hoverOpenedPanelLeavesTheKeyboardAlone();
    void clickIntoTextFieldTakesTheKeyboard();
    void recordingTakesTheKeyboard();
    void escapeClosesPinnedPanel();
    void hotKeyFollowsRecording();
    void switchTabShortcutWhileOpen();
    void mouseWheelNeverSwitchesTabs();
    void withoutCompositorWindowIsClippedToTheShape();
    void pointerWatchOnlyWhileNeeded();
    void staysAboveWindowsThatComeUpLater();
    void fullScreenWindowKeepsTheScreen();

private:
    void parkPointer() { QVERIFY(xdotool({u"mousemove"_qs, u"960"_qs, u"900"_qs})); }

    std::unique_ptr<Scratch> m_scratch;
    std::unique_ptr<BoardStore> m_store;
    std::unique_ptr<QQmlEngine> m_engine;
    std::unique_ptr<NotchController> m_controller;
};

void TestNotchController::init()
{
    QCOMPARE(QGuiApplication::platformName(), u"xcb"_qs);
    parkPointer();
    m_scratch = std::make_unique<Scratch>();
    m_store = std::make_unique<BoardStore>();
    m_store->setGreeting(std::nullopt);
    m_engine = std::make_unique<QQmlEngine>();
    m_controller = std::make_unique<NotchController>(
        m_store.get(), m_engine.get(),
        QUrl::fromLocalFile(QStringLiteral(TESTS_DIR "/controller/ProbeRoot.qml")));
    QVERIFY(m_controller->panel()->rootObject());
    QVERIFY(QTest::qWaitForWindowExposed(m_controller->panel()));
    QVERIFY(QTest::qWaitForWindowExposed(m_controller->sensor()));
}

void TestNotchController::cleanup()
{
    m_controller.reset();
    m_engine.reset();
    m_store.reset();
    m_scratch.reset();
}

void TestNotchController::windowsSitAtTheTopCentre()
{
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    QCOMPARE(screen.size(), QSize(1920, 1080));
    // No desktop panel on the test server: the virtual notch is 190 × 24.
    QCOMPARE(m_controller->model()->notchSize(), QSizeF(190, 24));
    QCOMPARE(m_controller->panel()->geometry(), QRect(530, 0, 860, 420));
    QCOMPARE(m_controller->sensor()->geometry(), QRect(853, 0, 214, 24));
    QCOMPARE(m_controller->panel()->title(), u"Tallowfern"_qs);
    QCOMPARE(m_controller->sensor()->title(), u"Tallowfern Sensor"_qs);
}

void TestNotchController::windowsAreMarkedAsPartOfTheDesktop()
{
    for (QWindow *window : {static_cast<QWindow *>(m_controller->panel()),
                            static_cast<QWindow *>(m_controller->sensor())}) {
        const QList<quint32> states = windowProperty(window, "_NET_WM_STATE", XCB_ATOM_ATOM);
        for (const char *state : {"_NET_WM_STATE_STICKY", "_NET_WM_STATE_SKIP_TASKBAR",
                                  "_NET_WM_STATE_SKIP_PAGER", "_NET_WM_STATE_ABOVE"})
            QVERIFY2(states.contains(atom(state)), state);
        QCOMPARE(windowProperty(window, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL),
                 QList<quint32>{0xFFFFFFFF});
        QVERIFY(window->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
    }
}

void TestNotchController::closedPanelLetsClicksThrough()
{
    QVERIFY(inputShape(m_controller->panel()).isEmpty());
}

void TestNotchController::openPanelTakesClicksOverItsOpenAreaOnly()
{
    m_controller->behavior()->open(true);
    // The open area, 780 × 380 centred in the 860-wide window, grown by 12 and cut at the top.
    QCOMPARE(inputShape(m_controller->panel()), QList<QRect>{QRect(28, 0, 804, 392)});
    m_controller->behavior()->close();
    QVERIFY(inputShape(m_controller->panel()).isEmpty());
}

void TestNotchController::hoverOpensAndLeavingCloses()
{
    NotchModel *model = m_controller->model();
    QVERIFY(xdotool({u"mousemove"_qs, u"960"_qs, u"5"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(model->isOpen(), 2000);
    QVERIFY(!model->isPinned());
    // Inside the open panel it stays open.
    QVERIFY(xdotool({u"mousemove"_qs, u"700"_qs, u"300"_qs}));
    QTest::qWait(600);
    QVERIFY(model->isOpen());
    parkPointer();
    QTRY_VERIFY_WITH_TIMEOUT(!model->isOpen(), 2000);
}

void TestNotchController::briefBrushOpensNothing()
{
    QVERIFY(xdotool({u"mousemove"_qs, u"960"_qs, u"5"_qs, u"sleep"_qs, u"0.03"_qs, u"mousemove"_qs,
                     u"960"_qs, u"900"_qs}));
    QTest::qWait(400);
    QVERIFY(!m_controller->model()->isOpen());
}

void TestNotchController::clickOutsideCloses()
{
    m_controller->behavior()->open(true);
    QVERIFY(m_controller->model()->isOpen());
    QVERIFY(xdotool({u"mousemove"_qs, u"100"_qs, u"900"_qs, u"click"_qs, u"1"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(!m_controller->model()->isOpen(), 2000);
}

void TestNotchController::pinnedPanelTakesTheKeyboardAndGivesItBack()
{
    OtherWindow other;
    other.setGeometry(100, 600, 200, 200);
    other.show();
    other.requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&other));

    m_controller->behavior()->open(true);
    QTRY_COMPARE(QGuiApplication::focusWindow(), m_controller->panel());
    QVERIFY(!m_controller->panel()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));

    m_controller->behavior()->close();
    QTRY_COMPARE(QGuiApplication::focusWindow(), &other);
    QVERIFY(m_controller->panel()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
}

void TestNotchController::hoverOpenedPanelLeavesTheKeyboardAlone()
{
    OtherWindow other;
    other.setGeometry(100, 600, 200, 200);
    other.show();
    other.requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&other));

    QVERIFY(xdotool({u"mousemove"_qs, u"960"_qs, u"5"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->model()->isOpen(), 2000);
    QTest::qWait(200);
    QCOMPARE(QGuiApplication::focusWindow(), &other);
}

void TestNotchController::clickIntoTextFieldTakesTheKeyboard()
{
    QVERIFY(xdotool({u"mousemove"_qs, u"960"_qs, u"5"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->model()->isOpen(), 2000);
    QVERIFY(QGuiApplication::focusWindow() != m_controller->panel());
    // The probe's field sits at (100, 100) in the window, which starts at x 530.
    QVERIFY(xdotool({u"mousemove"_qs, u"650"_qs, u"110"_qs, u"click"_qs, u"1"_qs}));
    QTRY_COMPARE(QGuiApplication::focusWindow(), m_controller->panel());
    QVERIFY(xdotool({u"type"_qs, u"hi"_qs}));
    auto *field = m_controller->panel()->rootObject()->findChild<QQuickItem *>(u"field"_qs);
    QVERIFY(field);
    QTRY_COMPARE(field->property("text").toString(), u"hi"_qs);
}

// A panel opened by hovering can record a shortcut: starting to record takes the keyboard.
void TestNotchController::recordingTakesTheKeyboard()
{
    OtherWindow other;
    other.setGeometry(100, 600, 200, 200);
    other.show();
    other.requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&other));

    QVERIFY(xdotool({u"mousemove"_qs, u"960"_qs, u"5"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->model()->isOpen(), 2000);
    QTest::qWait(200);
    QCOMPARE(QGuiApplication::focusWindow(), &other);
    m_controller->model()->setRecording(NotchModel::ShortcutTarget::Open);
    QTRY_COMPARE(QGuiApplication::focusWindow(), m_controller->panel());
    m_controller->model()->setRecording(std::nullopt);
}

void TestNotchController::escapeClosesPinnedPanel()
{
    m_controller->behavior()->open(true);
    QTRY_COMPARE(QGuiApplication::focusWindow(), m_controller->panel());
    QVERIFY(xdotool({u"key"_qs, u"Escape"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(!m_controller->model()->isOpen(), 2000);
}

void TestNotchController::hotKeyFollowsRecording()
{
    GlobalShortcut *shortcut = m_controller->globalShortcut();
    // KDE's shortcut service is asked first, over the bus; without it the grab takes the key.
    QTRY_VERIFY(shortcut->current());
    QCOMPARE(shortcut->current()->name(), u"X11 key grab"_qs);
    QVERIFY(shortcut->reachesEveryWindow());
    m_controller->model()->setRecording(NotchModel::ShortcutTarget::Open);
    QVERIFY(!shortcut->current());
    m_controller->model()->setRecording(std::nullopt);
    QTRY_VERIFY(shortcut->current());

    QVERIFY(xdotool({u"key"_qs, u"alt+n"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->model()->isOpen(), 2000);
    QVERIFY(m_controller->model()->isPinned());
    QVERIFY(xdotool({u"key"_qs, u"alt+n"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(!m_controller->model()->isOpen(), 2000);
}

void TestNotchController::switchTabShortcutWhileOpen()
{
    NotchModel *model = m_controller->model();
    m_controller->behavior()->open(true);
    QTRY_COMPARE(QGuiApplication::focusWindow(), m_controller->panel());
    // Control+Tab by default.
    QVERIFY(xdotool({u"key"_qs, u"ctrl+Tab"_qs}));
    QTRY_COMPARE(model->tab(), NotchModel::Tab::Notes);
    QVERIFY(xdotool({u"key"_qs, u"ctrl+Tab"_qs}));
    QTRY_COMPARE(model->tab(), NotchModel::Tab::Board);
}

void TestNotchController::mouseWheelNeverSwitchesTabs()
{
    NotchModel *model = m_controller->model();
    m_controller->behavior()->open(true);
    QVERIFY(xdotool({u"mousemove"_qs, u"960"_qs, u"200"_qs}));
    int wheels = 0;
    struct Counter : QObject {
        int *count;
        explicit Counter(int *c) : count(c) {}
        bool eventFilter(QObject *, QEvent *event) override
        {
            if (event->type() == QEvent::Wheel)
                ++*count;
            return false;
        }
    } counter(&wheels);
    m_controller->panel()->installEventFilter(&counter);
    // Buttons 6 and 7 are a horizontal wheel: steps without pixel deltas.
    QVERIFY(xdotool({u"click"_qs, u"--repeat"_qs, u"8"_qs, u"6"_qs}));
    QTRY_VERIFY(wheels >= 8);
    QVERIFY(model->isOpen());
    QCOMPARE(model->tab(), NotchModel::Tab::Board);
}

void TestNotchController::withoutCompositorWindowIsClippedToTheShape()
{
    QVERIFY(!X11Overlay::isCompositing());
    QQuickView *panel = m_controller->panel();
    // Closed: the notch, 190 × 24, centred in the 860-wide window.
    QTRY_COMPARE(panel->mask(), QRegion(335, 0, 190, 24));
    m_controller->behavior()->open(true);
    QTRY_COMPARE(panel->mask(), QRegion(40, 0, 780, 380));

    QProcess compositor;
    compositor.start(u"xcompmgr"_qs, {});
    QVERIFY(compositor.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(X11Overlay::isCompositing(), 5000);
    m_controller->behavior()->close();
    QTRY_VERIFY(panel->mask().isEmpty());
    compositor.kill();
    compositor.waitForFinished();
}

void TestNotchController::pointerWatchOnlyWhileNeeded()
{
    NotchBehavior *behavior = m_controller->behavior();
    QVERIFY(!behavior->isWaitingForExit());
    // Closed while the pointer rests on the notch: the panel waits for it to leave.
    QVERIFY(xdotool({u"mousemove"_qs, u"960"_qs, u"5"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->model()->isOpen(), 2000);
    behavior->close();
    QVERIFY(behavior->isWaitingForExit());
    QTest::qWait(300);
    QVERIFY(!m_controller->model()->isOpen());
    // Raw motion away from the notch ends the wait.
    QVERIFY(xdotool({u"mousemove_relative"_qs, u"--"_qs, u"0"_qs, u"300"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(!behavior->isWaitingForExit(), 2000);
}

namespace {

// Our windows' places in the root's stacking order, bottom first, and the highest other one.
struct Stacking {
    qsizetype sensor = -1;
    qsizetype panel = -1;
    qsizetype other = -1;
};

Stacking stacking(const NotchController &controller, const QWindow &other)
{
    XcbReply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(
        connection(),
        xcb_query_tree(connection(),
                       xcb_setup_roots_iterator(xcb_get_setup(connection())).data->root),
        nullptr));
    Stacking result;
    const xcb_window_t *children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        if (children[i] == controller.sensor()->winId())
            result.sensor = i;
        else if (children[i] == controller.panel()->winId())
            result.panel = i;
        else if (children[i] == other.winId())
            result.other = i;
    }
    return result;
}

} // namespace

void TestNotchController::staysAboveWindowsThatComeUpLater()
{
    OtherWindow other;
    other.setGeometry(300, 0, 1300, 700);
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    other.raise();
    QTRY_VERIFY_WITH_TIMEOUT(
        stacking(*m_controller, other).sensor > stacking(*m_controller, other).other, 2000);
    const Stacking order = stacking(*m_controller, other);
    QVERIFY(order.panel > order.sensor);
    // And hovering still reaches the sensor.
    QVERIFY(xdotool({u"mousemove"_qs, u"960"_qs, u"5"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(m_controller->model()->isOpen(), 2000);
}

void TestNotchController::fullScreenWindowKeepsTheScreen()
{
    OtherWindow film;
    film.setGeometry(0, 0, 1920, 1080);
    film.show();
    QVERIFY(QTest::qWaitForWindowExposed(&film));
    film.raise();
    QTest::qWait(300);
    const Stacking order = stacking(*m_controller, film);
    QVERIFY(order.other > order.panel);
    QVERIFY(order.other > order.sensor);
}

QTEST_MAIN(TestNotchController)
#include "tst_notchcontroller.moc"
