#include "NotchController.h"

#include "notch/NotchBehavior.h"
#include "notch/NotchModel.h"
#include "notch/SensorWindow.h"
#include "notch/ShortcutSetup.h"
#include "platform/DesktopOverlay.h"
#include "platform/GlobalShortcut.h"
#include "platform/PanelShell.h"
#include "store/BoardStore.h"

#include <QCursor>
#include <QEnterEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPointingDevice>
#include <QQmlEngine>
#include <QQmlProperty>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QWheelEvent>

#include <cmath>

namespace {

// Kept away from the window manager: a managed window gets a frame, and frames ignore the input
// shape, so the closed panel would swallow every click and hover beneath its transparent area.
constexpr Qt::WindowFlags panelFlags = Qt::Window | Qt::FramelessWindowHint |
                                       Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                                       Qt::X11BypassWindowManagerHint;

bool isTextInput(const QQuickItem *item)
{
    return item && (item->inherits("QQuickTextInput") || item->inherits("QQuickTextEdit"));
}

} // namespace

NotchController::NotchController(BoardStore *store, QQmlEngine *engine, const QUrl &rootView,
                                 QObject *parent)
    : QObject(parent), m_store(store)
{
    m_model = new NotchModel(this);
    m_overlay = DesktopOverlay::create(PanelShell::current(), this);
    m_behavior = new NotchBehavior(m_model, store, this, this);

    m_panel = new QQuickView(engine, nullptr);
    m_panel->setTitle(u"Tallowfern"_qs);
    m_panel->setFlags(panelFlags);
    m_panel->setColor(Qt::transparent);
    QSurfaceFormat format = m_panel->format();
    format.setAlphaBufferSize(8);
    m_panel->setFormat(format);
    m_panel->setResizeMode(QQuickView::SizeRootObjectToView);
    m_panel->setInitialProperties(
        {{u"model"_qs, QVariant::fromValue(m_model)}, {u"store"_qs, QVariant::fromValue(store)}});
    m_panel->setSource(rootView);
    m_panel->installEventFilter(this);

    m_sensor = new SensorWindow();
    m_sensor->installEventFilter(this);
    connect(m_sensor, &SensorWindow::entered, m_behavior, &NotchBehavior::sensorEntered);
    connect(m_sensor, &SensorWindow::exited, m_behavior, &NotchBehavior::sensorExited);

    connect(m_overlay, &DesktopOverlay::buttonPressed, this, [this] {
        m_closingByClick = true;
        m_behavior->buttonPressed();
        m_closingByClick = false;
    });
    connect(m_overlay, &DesktopOverlay::buttonReleased, m_behavior, &NotchBehavior::buttonReleased);
    connect(m_overlay, &DesktopOverlay::moved, m_behavior, &NotchBehavior::pointerMoved);
    connect(m_panel, &QWindow::activeChanged, this, &NotchController::panelActiveChanged);

    connect(m_model, &NotchModel::isOpenChanged, this, [this] {
        updatePointerWatch();
        // A compositing manager may have come or gone since; the shape's frames reuse this.
        m_compositing = m_overlay->isCompositing();
        updateMask();
        // Whatever came up meanwhile, the opening panel shows above it.
        if (m_model->isOpen())
            m_overlay->raise();
    });
    // Typing into a field needs the keyboard, which a panel opened by hovering does not have.
    connect(m_model, &NotchModel::isEditingChanged, this, [this] {
        if (m_model->isEditing() && m_model->isOpen())
            takeKeyboard();
    });
    // So does recording a shortcut: the keys come to the panel.
    connect(m_model, &NotchModel::recordingChanged, this, [this] {
        if (m_model->recording() && m_model->isOpen())
            takeKeyboard();
    });
    if (QQuickItem *root = m_panel->rootObject()) {
        const QQmlProperty shapeRect(root, u"shapeRect"_qs);
        if (shapeRect.isValid() && shapeRect.hasNotifySignal())
            shapeRect.connectNotifySignal(this, SLOT(updateMask()));
    }

    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, &NotchController::relayout);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this](QScreen *added) {
        watchScreen(added);
        relayout();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &NotchController::relayout,
            Qt::QueuedConnection);
    for (QScreen *each : QGuiApplication::screens())
        watchScreen(each);

    // The sensor first, so that the open panel covers it.
    m_sensor->setProperty("_q_showWithoutActivating", true);
    m_panel->setProperty("_q_showWithoutActivating", true);
    relayout();
    m_sensor->create();
    m_overlay->prepare(m_sensor, DesktopOverlay::Role::Sensor);
    m_panel->create();
    m_overlay->prepare(m_panel, DesktopOverlay::Role::Panel);
    relayout();
    m_compositing = m_overlay->isCompositing();
    updateMask();

    // The hot key follows the stored shortcut and is off while a shortcut is being recorded, so
    // that the keys reach the recorder. Bound before the windows show: once the notch is on the
    // screen the hot key must work, and a busy machine could otherwise answer a press in between
    // with nothing.
    m_globalShortcut = GlobalShortcut::forSession(this);
    m_model->setShortcutSetup(new ShortcutSetup(m_globalShortcut, m_store, this));
    connect(m_globalShortcut, &GlobalShortcut::activated, m_behavior,
            &NotchBehavior::toggleFromHotKey, Qt::QueuedConnection);
    if (m_store) {
        connect(m_store, &BoardStore::notchPositionChanged, this, &NotchController::relayout);
        connect(m_store, &BoardStore::openShortcutChanged, this,
                &NotchController::followOpenShortcut);
        // Changed in the desktop's own shortcut settings: ours follow.
        connect(m_globalShortcut, &GlobalShortcut::shortcutChangedElsewhere, m_store,
                [this](const Shortcut &shortcut) {
                    if (shortcut.isUsable())
                        m_store->setOpenShortcut(shortcut);
                });
    }
    connect(m_model, &NotchModel::recordingChanged, this, &NotchController::followOpenShortcut);
    followOpenShortcut();

    m_sensor->show();
    m_panel->show();
    // The sensor under the panel.
    m_overlay->keepAbove({m_sensor, m_panel});
}

NotchController::~NotchController()
{
    delete m_panel;
    delete m_sensor;
}

QUrl NotchController::defaultRootView()
{
    return QUrl(u"qrc:/qt/qml/Tallowfern/notch/NotchRootView.qml"_qs);
}

QScreen *NotchController::screen() const
{
    // No notch to look for on Linux: the panel lives on the primary screen.
    QScreen *primary = QGuiApplication::primaryScreen();
    if (primary)
        return primary;
    const QList<QScreen *> screens = QGuiApplication::screens();
    return screens.isEmpty() ? nullptr : screens.first();
}

std::optional<QPointF> NotchController::pointerPosition() const
{
    if (m_overlay->seesWholeDesktop())
        return QPointF(QCursor::pos());
    // Elsewhere the last position the desktop reported may be long gone: only our own windows'
    // enter and leave events say where the pointer is.
    if (!m_pointerOver)
        return std::nullopt;
    return m_lastPointer;
}

bool NotchController::anyMouseButtonDown() const
{
    if (m_overlay->seesWholeDesktop())
        return m_overlay->anyButtonDown();
    // A drag that started in the panel keeps the pointer on it until the button goes up.
    return m_pointerOver && QGuiApplication::mouseButtons() != Qt::NoButton;
}

QRectF NotchController::screenGeometry() const
{
    const QScreen *notchScreen = screen();
    return notchScreen ? QRectF(notchScreen->geometry()) : QRectF(0, 0, 1280, 800);
}

QRectF NotchController::availableGeometry() const
{
    const QScreen *notchScreen = screen();
    return notchScreen ? QRectF(notchScreen->availableGeometry()) : screenGeometry();
}

void NotchController::watchScreen(QScreen *watched)
{
    connect(watched, &QScreen::geometryChanged, this, &NotchController::relayout);
    connect(watched, &QScreen::availableGeometryChanged, this, &NotchController::relayout);
}

void NotchController::relayout()
{
    m_behavior->layout();
    const NotchBehavior::Geometry &geometry = m_behavior->geometry();
    if (QScreen *notchScreen = screen()) {
        m_panel->setScreen(notchScreen);
        m_sensor->setScreen(notchScreen);
    }
    m_overlay->place(m_sensor, geometry.sensor.toAlignedRect());
    updatePanelGeometry();
    updateInputArea();
}

void NotchController::updatePanelGeometry()
{
    const NotchBehavior::Geometry &geometry = m_behavior->geometry();
    QRect rect = geometry.panel.toAlignedRect();
    // Where the compositor sends the window every click over its rectangle, the closed panel
    // shrinks to the shape it shows once the closing spring has settled, and grows back before
    // it opens. The views are centred, so the shape stays in place on the screen.
    if (m_overlay->shrinksWhenClosed() && !m_model->isOpen() && m_panel->rootObject()) {
        const QRectF shape = m_panel->rootObject()->property("shapeRect").toRectF();
        const qreal closedHeight = m_model->notchSize().height();
        if (!shape.isEmpty() && shape.height() <= closedHeight + 0.5) {
            const qreal centre = geometry.panel.center().x();
            const int width = int(std::ceil(shape.width() / 2)) * 2;
            rect = QRect(int(std::floor(centre)) - width / 2, int(geometry.panel.top()), width,
                         int(std::ceil(closedHeight)));
        }
    }
    if (m_panel->geometry() != rect)
        m_overlay->place(m_panel, rect);
}

void NotchController::setPanelInteractive(bool interactive, bool focus)
{
    m_interactive = interactive;
    updateInputArea();
    updatePointerWatch();
    if (interactive && focus)
        takeKeyboard();
    if (!interactive)
        releaseKeyboard();
}

void NotchController::setExitWatch(bool on)
{
    m_exitWatch = on;
    updatePointerWatch();
}

void NotchController::updatePointerWatch()
{
    // Clicks matter only while the panel is open; motion only while waiting for the pointer to
    // leave the notch. Otherwise the pointer wakes nothing.
    m_overlay->watchPointer(m_model->isOpen(), m_exitWatch);
}

void NotchController::updateInputArea()
{
    if (!m_panel->handle())
        return;
    // Open, the panel takes the pointer over the open area only, so that clicks on its shadow
    // reach the windows beneath; closed, it takes nothing and the sensor does the noticing.
    const NotchBehavior::Geometry &geometry = m_behavior->geometry();
    const QRect area = m_interactive
                           ? geometry.openArea.translated(-geometry.panel.topLeft()).toAlignedRect()
                           : QRect();
    m_overlay->setInputArea(m_panel, area);
}

void NotchController::updateMask()
{
    if (m_overlay->shrinksWhenClosed())
        updatePanelGeometry();
    // Without a compositing manager the transparent part of the window would show as black:
    // clip the window to the shape instead.
    if (m_compositing) {
        if (!m_panel->mask().isEmpty())
            m_panel->setMask(QRegion());
        return;
    }
    QRect shape;
    if (QQuickItem *root = m_panel->rootObject())
        shape = root->property("shapeRect").toRectF().toAlignedRect();
    if (shape.isEmpty())
        shape = QRect(0, 0, 1, 1); // an empty mask would mean no mask at all
    m_panel->setMask(QRegion(shape));
}

void NotchController::takeKeyboard()
{
    if (m_hasKeyboard)
        return;
    m_hasKeyboard = true;
    m_overlay->takeKeyboard(m_panel);
}

void NotchController::releaseKeyboard()
{
    const bool had = m_hasKeyboard;
    // Cleared first: the panel losing the keyboard now is our doing, not a click elsewhere.
    m_hasKeyboard = false;
    if (had)
        m_overlay->releaseKeyboard(m_panel, m_closingByClick);
    else
        m_panel->setFlag(Qt::WindowDoesNotAcceptFocus, true);
}

void NotchController::panelActiveChanged()
{
    // Where clicks outside are not reported, another window taking the keyboard from the panel is
    // the sign of one.
    if (m_panel->isActive() || !m_hasKeyboard || m_overlay->seesWholeDesktop())
        return;
    m_closingByClick = true;
    m_behavior->keyboardTakenAway();
    m_closingByClick = false;
}

void NotchController::trackPointer(QWindow *window, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Enter:
        m_pointerOver = window;
        m_lastPointer =
            m_overlay->mapToGlobal(window, static_cast<QEnterEvent *>(event)->position());
        break;
    case QEvent::MouseMove:
        m_pointerOver = window;
        m_lastPointer =
            m_overlay->mapToGlobal(window, static_cast<QMouseEvent *>(event)->position());
        break;
    case QEvent::Leave:
        // Between our two windows the enter of one may come before the leave of the other.
        if (m_pointerOver == window)
            m_pointerOver = nullptr;
        break;
    default:
        return;
    }
    if (!m_overlay->seesWholeDesktop())
        m_behavior->pointerMoved();
}

void NotchController::followOpenShortcut()
{
    if (m_model->recording() || !m_store)
        m_globalShortcut->unbind();
    else
        m_globalShortcut->bind(m_store->openShortcut());
}

bool NotchController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_sensor) {
        trackPointer(m_sensor, event);
        return QObject::eventFilter(watched, event);
    }
    if (watched != m_panel)
        return QObject::eventFilter(watched, event);
    trackPointer(m_panel, event);
    switch (event->type()) {
    case QEvent::Enter:
        m_behavior->panelEntered();
        break;
    case QEvent::Leave:
        m_behavior->panelExited();
        break;
    case QEvent::KeyPress:
        if (m_behavior->keyPressed(*static_cast<QKeyEvent *>(event)))
            return true;
        break;
    case QEvent::Wheel: {
        const auto *wheel = static_cast<QWheelEvent *>(event);
        SwipeRecognizer::Sample sample;
        sample.time = qint64(wheel->timestamp());
        const QPointingDevice *device = wheel->pointingDevice();
        const auto type = device ? device->type() : QInputDevice::DeviceType::Unknown;
        const auto reported =
            type == QInputDevice::DeviceType::TouchPad ? SwipeRecognizer::Device::TouchPad
            : type == QInputDevice::DeviceType::Mouse  ? SwipeRecognizer::Device::Mouse
                                                       : SwipeRecognizer::Device::Other;
        sample.device =
            SwipeRecognizer::deviceOf(reported, QGuiApplication::platformName() == u"wayland",
                                      wheel->phase(), wheel->pixelDelta());
        sample.angleDelta = wheel->angleDelta();
        sample.pixelDelta = wheel->pixelDelta();
        sample.phase = wheel->phase();
        sample.inverted = wheel->inverted();
        m_behavior->scrolled(sample);
        break;
    }
    case QEvent::MouseButtonPress:
        // After the views have handled the press: a click into a text field wants the keyboard.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (m_model->isOpen() && isTextInput(m_panel->activeFocusItem()))
                    takeKeyboard();
            },
            Qt::QueuedConnection);
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}
