#include "NotchController.h"

#include "notch/NotchBehavior.h"
#include "notch/NotchModel.h"
#include "notch/SensorWindow.h"
#include "platform/HotKey.h"
#include "platform/PointerMonitor.h"
#include "platform/StackKeeper.h"
#include "platform/X11Overlay.h"
#include "store/BoardStore.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QQmlEngine>
#include <QQmlProperty>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QWheelEvent>

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
    m_pointer = new PointerMonitor(this);
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

    connect(m_pointer, &PointerMonitor::buttonPressed, this, [this] {
        m_closingByClick = true;
        m_behavior->buttonPressed();
        m_closingByClick = false;
    });
    connect(m_pointer, &PointerMonitor::buttonReleased, m_behavior, &NotchBehavior::buttonReleased);
    connect(m_pointer, &PointerMonitor::moved, m_behavior, &NotchBehavior::pointerMoved);

    connect(m_model, &NotchModel::isOpenChanged, this, [this] {
        updatePointerWatch();
        // A compositing manager may have come or gone since; the shape's frames reuse this.
        m_compositing = X11Overlay::isCompositing();
        updateMask();
        // Whatever came up meanwhile, the opening panel shows above it.
        if (m_model->isOpen() && m_stack)
            m_stack->raise();
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
    X11Overlay::prepare(m_sensor);
    m_panel->create();
    X11Overlay::prepare(m_panel);
    updateInputArea();
    m_compositing = X11Overlay::isCompositing();
    updateMask();
    m_sensor->show();
    m_panel->show();
    // No window manager keeps unmanaged windows on top: we do, the sensor under the panel.
    m_stack = new StackKeeper(this);
    m_stack->keepAbove({m_sensor, m_panel});

    // The hot key follows the stored shortcut and is off while a shortcut is being recorded, so
    // that the keys reach the recorder.
    QPointer<NotchController> self(this);
    m_hotKey = new HotKey(
        [self] {
            if (self)
                QMetaObject::invokeMethod(self->m_behavior, &NotchBehavior::toggleFromHotKey,
                                          Qt::QueuedConnection);
        },
        this);
    if (m_store)
        connect(m_store, &BoardStore::openShortcutChanged, this,
                &NotchController::followOpenShortcut);
    connect(m_model, &NotchModel::recordingChanged, this, &NotchController::followOpenShortcut);
    followOpenShortcut();
}

NotchController::~NotchController()
{
    delete m_panel;
    delete m_sensor;
}

QUrl NotchController::defaultRootView()
{
    return QUrl(u"qrc:/qt/qml/Tallowfern/views/notch/NotchRootView.qml"_qs);
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

QPointF NotchController::pointerPosition() const
{
    return QCursor::pos();
}

bool NotchController::anyMouseButtonDown() const
{
    return m_pointer->anyButtonDown();
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
    m_panel->setGeometry(geometry.panel.toAlignedRect());
    m_sensor->setGeometry(geometry.sensor.toAlignedRect());
    updateInputArea();
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
    m_pointer->watch(m_model->isOpen(), m_exitWatch);
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
    X11Overlay::setInputArea(m_panel, area);
}

void NotchController::updateMask()
{
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
    m_previousFocus = X11Overlay::focusedWindow();
    if (m_previousFocus == quint32(m_panel->winId()))
        m_previousFocus = 0;
    m_panel->setFlag(Qt::WindowDoesNotAcceptFocus, false);
    m_panel->requestActivate();
}

void NotchController::releaseKeyboard()
{
    m_panel->setFlag(Qt::WindowDoesNotAcceptFocus, true);
    if (!m_hasKeyboard)
        return;
    m_hasKeyboard = false;
    // The window manager focuses whatever the click went to; without one, or after Escape or
    // the hot key, the keyboard goes back to where it was.
    if (!(m_closingByClick && X11Overlay::hasWindowManager()))
        X11Overlay::focusWindow(m_previousFocus);
    m_previousFocus = 0;
}

void NotchController::followOpenShortcut()
{
    if (m_model->recording() || !m_store)
        m_hotKey->unregister();
    else
        m_hotKey->registerShortcut(m_store->openShortcut());
}

bool NotchController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_panel)
        return QObject::eventFilter(watched, event);
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
        m_behavior->scrolled(wheel->pixelDelta(), wheel->phase(), wheel->inverted());
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
