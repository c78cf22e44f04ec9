#include "NotchBehavior.h"

#include "model/Shortcut.h"
#include "notch/NotchDesktop.h"
#include "platform/DesktopSession.h"
#include "platform/ShortcutKeys.h"
#include "store/BoardStore.h"

#include <QKeyEvent>

#include <cmath>

NotchBehavior::NotchBehavior(NotchModel *model, BoardStore *store, NotchDesktop *desktop,
                             QObject *parent)
    : QObject(parent), m_model(model), m_store(store), m_desktop(desktop)
{
    // The delays are what the pointer feels: not up to 5 % later, as a coarse timer may be.
    m_pendingOpen.setTimerType(Qt::PreciseTimer);
    m_pendingOpen.setSingleShot(true);
    m_pendingOpen.setInterval(hoverOpenDelayMs);
    connect(&m_pendingOpen, &QTimer::timeout, this, [this] { open(false); });

    m_pendingClose.setTimerType(Qt::PreciseTimer);
    m_pendingClose.setSingleShot(true);
    m_pendingClose.setInterval(closeDelayMs);
    connect(&m_pendingClose, &QTimer::timeout, this, [this] {
        // A drag in progress, a pointer that came back, a pinned panel or an edit keep it open.
        if (!m_desktop->anyMouseButtonDown() && !pointerInPanel() && !m_model->isPinned() &&
            !m_model->isEditing())
            close();
    });

    QPointer<NotchBehavior> self(this);
    m_model->setCloseRequested([self] {
        if (self)
            self->close();
    });
    m_model->setOpenRequested([self](bool pin) {
        if (self)
            self->open(pin);
    });
    if (m_store) {
        // A new day's greeting opens the panel pinned, so that it is seen.
        const auto greet = [this] {
            if (m_store && m_store->greeting())
                open(true);
        };
        connect(m_store, &BoardStore::greetingChanged, this, greet);
        // A greeting raised while the store was being built is delivered as well, once the
        // event loop runs and the windows are up.
        QMetaObject::invokeMethod(this, greet, Qt::QueuedConnection);
    }
    layout();
}

NotchBehavior::Geometry NotchBehavior::geometryFor(const QRectF &screen, const QRectF &available,
                                                   Position position)
{
    // No notch API on Linux: a virtual notch as tall as the desktop's top panel, at least 24.
    Geometry g;
    g.notchSize = QSizeF(190, std::max<qreal>(24, available.top() - screen.top()));
    const QSizeF open = NotchModel::openSize;
    // A quarter in from either edge: clear of a centred clock and of the corners, where desktops
    // keep their activities and system menus.
    qreal centre = screen.center().x();
    if (position == Position::Left)
        centre = screen.left() + screen.width() / 4;
    else if (position == Position::Right)
        centre = screen.right() - screen.width() / 4;
    // The open panel, which shares the notch's centre, stays on the screen.
    if (screen.width() >= open.width())
        centre =
            std::clamp(centre, screen.left() + open.width() / 2, screen.right() - open.width() / 2);
    g.panel = QRectF(centre - open.width() / 2 - shadowPad, screen.top(),
                     open.width() + 2 * shadowPad, open.height() + shadowPad);
    g.openArea = QRectF(centre - open.width() / 2, screen.top(), open.width(), open.height())
                     .adjusted(-pointerSlack, -pointerSlack, pointerSlack, pointerSlack)
                     .intersected(screen);
    const qreal sensorWidth = g.notchSize.width() + 2 * sensorMargin;
    g.sensor = QRectF(centre - sensorWidth / 2, screen.top(), sensorWidth, g.notchSize.height());
    return g;
}

void NotchBehavior::layout()
{
    m_geometry =
        geometryFor(m_desktop->screenGeometry(), m_desktop->availableGeometry(), position());
    m_model->setNotchSize(m_geometry.notchSize);
}

NotchBehavior::Position NotchBehavior::position() const
{
    switch (m_store ? m_store->notchPosition() : BoardStore::NotchPosition::Automatic) {
    case BoardStore::NotchPosition::Left:
        return Position::Left;
    case BoardStore::NotchPosition::Centre:
        return Position::Centre;
    case BoardStore::NotchPosition::Right:
        return Position::Right;
    case BoardStore::NotchPosition::Automatic:
        break;
    }
    return DesktopSession::keepsTopCentre() ? Position::Left : Position::Centre;
}

bool NotchBehavior::pointerInPanel() const
{
    const std::optional<QPointF> pointer = m_desktop->pointerPosition();
    return pointer && m_geometry.openArea.contains(*pointer);
}

bool NotchBehavior::pointerInSensorColumn() const
{
    const std::optional<QPointF> pointer = m_desktop->pointerPosition();
    const QRectF &sensor = m_geometry.sensor;
    return pointer && pointer->x() >= sensor.left() && pointer->x() <= sensor.right() &&
           pointer->y() <= sensor.bottom();
}

void NotchBehavior::setExitWatch(bool on)
{
    if (m_exitWatch == on)
        return;
    m_exitWatch = on;
    m_desktop->setExitWatch(on);
}

void NotchBehavior::open(bool pin)
{
    m_waitForExit = false;
    setExitWatch(false);
    m_pendingOpen.stop();
    m_pendingClose.stop();
    m_desktop->setPanelInteractive(true, pin);
    if (pin)
        m_model->setPinned(true);
    if (m_model->isOpen())
        return;
    m_model->setOpen(true);
    // Opened by a hover that has already left: close again unless the pointer comes in.
    if (!m_model->isPinned() && !pointerInPanel())
        scheduleClose();
}

void NotchBehavior::close()
{
    m_pendingClose.stop();
    if (!m_model->isOpen())
        return;
    if (pointerInSensorColumn()) {
        m_waitForExit = true;
        setExitWatch(true);
    } else {
        m_waitForExit = false;
        setExitWatch(false);
    }
    m_model->setPinned(false);
    m_model->setEditing(false);
    m_model->setShowCalendar(false);
    m_model->setMenuOpen(false);
    if (m_store) {
        m_store->flushQuickNote();
        m_store->view(std::nullopt); // every reopen starts on today
    }
    m_model->setOpen(false);
    m_desktop->setPanelInteractive(false, false);
}

void NotchBehavior::toggleFromHotKey()
{
    if (m_model->isOpen() && m_model->isPinned()) {
        close();
        return;
    }
    open(true);
    m_model->requestAddFocus();
}

void NotchBehavior::switchTab(std::optional<bool> forward)
{
    using Tab = NotchModel::Tab;
    const Tab target = forward ? (*forward ? Tab::Notes : Tab::Board)
                               : (m_model->tab() == Tab::Board ? Tab::Notes : Tab::Board);
    m_model->setTab(target);
}

void NotchBehavior::sensorEntered()
{
    if (m_model->isOpen() || m_waitForExit)
        return;
    m_pendingOpen.start();
}

void NotchBehavior::sensorExited()
{
    m_waitForExit = false;
    setExitWatch(false);
    m_pendingOpen.stop();
    // Opened by hovering, the panel may never see the pointer: it can leave the notch for
    // elsewhere without crossing the panel (a jump, a touch screen, a remote desktop).
    if (!pointerInPanel())
        scheduleClose();
}

void NotchBehavior::panelEntered()
{
    m_pendingClose.stop();
}

void NotchBehavior::panelExited()
{
    scheduleClose();
}

void NotchBehavior::scheduleClose()
{
    if (m_model->isOpen())
        m_pendingClose.start();
}

void NotchBehavior::buttonPressed()
{
    if (m_model->isOpen() && !pointerInPanel())
        close();
}

void NotchBehavior::buttonReleased()
{
    // A drag released outside closes after the usual delay.
    if (m_model->isOpen() && !pointerInPanel())
        scheduleClose();
}

void NotchBehavior::pointerMoved()
{
    if (!m_exitWatch)
        return;
    if (!pointerInSensorColumn()) {
        m_waitForExit = false;
        setExitWatch(false);
    }
}

void NotchBehavior::keyboardTakenAway()
{
    if (m_model->isOpen())
        close();
}

void NotchBehavior::scrolled(const SwipeRecognizer::Sample &sample)
{
    if (!m_model->isOpen() || !m_store || !m_store->swipeToSwitch()) {
        m_swipe.reset();
        return;
    }
    if (const auto swipe = m_swipe.feed(sample))
        switchTab(*swipe > 0);
}

bool NotchBehavior::keyPressed(const QKeyEvent &event)
{
    const std::optional<Shortcut> pressed = ShortcutKeys::fromKeyEvent(event);
    const bool escape =
        event.key() == Qt::Key_Escape || (pressed && pressed->keyCode() == Shortcut::keyEscape);
    if (const auto target = m_model->recording()) {
        switch (event.key()) {
        case Qt::Key_Shift:
        case Qt::Key_Control:
        case Qt::Key_Alt:
        case Qt::Key_AltGr:
        case Qt::Key_Meta:
        case Qt::Key_Super_L:
        case Qt::Key_Super_R:
        case Qt::Key_CapsLock:
        case Qt::Key_NumLock:
            return true; // a modifier on its way to the real key
        default:
            break;
        }
        if (escape) {
            m_model->setRecording(std::nullopt);
            return true;
        }
        // A plain key or Shift+key ends recording without saving: it would steal typing.
        if (pressed && pressed->isUsable() && m_store) {
            if (*target == NotchModel::ShortcutTarget::Open)
                m_store->setOpenShortcut(*pressed);
            else
                m_store->setSwitchTabShortcut(*pressed);
        }
        m_model->setRecording(std::nullopt);
        return true;
    }
    if (m_model->isOpen() && m_store &&
        ShortcutKeys::matches(m_store->switchTabShortcut(), event)) {
        switchTab(std::nullopt);
        return true;
    }
    if (escape && m_model->menuOpen()) {
        // A context menu is modal: Escape takes it away and leaves the panel.
        m_model->setMenuOpen(false);
        return true;
    }
    if (escape && m_model->isOpen()) {
        QMetaObject::invokeMethod(this, &NotchBehavior::close, Qt::QueuedConnection);
        return true;
    }
    return false;
}
