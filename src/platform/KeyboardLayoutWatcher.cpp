#include "KeyboardLayoutWatcher.h"

#include "KeyboardLayout.h"
#include "WaylandKeymap.h"
#include "XcbXkb.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QTimer>
#include <QtGui/qguiapplication_platform.h>

namespace {

// Every XKB event starts with these fields; the kind of event is in the second byte.
struct XkbAnyEvent {
    uint8_t response_type;
    uint8_t xkbType;
    uint16_t sequence;
    xcb_timestamp_t time;
    uint8_t deviceID;
};

} // namespace

KeyboardLayoutWatcher::KeyboardLayoutWatcher(QObject *parent) : QObject(parent)
{
    if (qGuiApp && QGuiApplication::platformName() == u"wayland") {
        connect(WaylandKeymap::instance(), &WaylandKeymap::changed, this,
                &KeyboardLayoutWatcher::changeSoon);
        return;
    }
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection())
        return;
    const xcb_query_extension_reply_t *xkb = xcb_get_extension_data(x11->connection(), &xcb_xkb_id);
    if (!xkb || !xkb->present)
        return;
    m_xkbFirstEvent = xkb->first_event;
    QCoreApplication::instance()->installNativeEventFilter(this);
}

KeyboardLayoutWatcher::~KeyboardLayoutWatcher()
{
    if (m_xkbFirstEvent >= 0 && QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
}

KeyboardLayoutWatcher *KeyboardLayoutWatcher::instance()
{
    static KeyboardLayoutWatcher *watcher = new KeyboardLayoutWatcher(QCoreApplication::instance());
    return watcher;
}

bool KeyboardLayoutWatcher::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (m_xkbFirstEvent < 0 || eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    if ((event->response_type & 0x7f) != m_xkbFirstEvent)
        return false;
    const auto *xkb = reinterpret_cast<const XkbAnyEvent *>(event);
    bool changed = false;
    switch (xkb->xkbType) {
    case XCB_XKB_NEW_KEYBOARD_NOTIFY:
    case XCB_XKB_MAP_NOTIFY:
        changed = true;
        break;
    case XCB_XKB_STATE_NOTIFY: {
        const auto *state = reinterpret_cast<const xcb_xkb_state_notify_event_t *>(event);
        changed = state->changed & XCB_XKB_STATE_PART_GROUP_STATE;
        break;
    }
    default:
        break;
    }
    // Qt sees the event too; a new keymap comes as several events.
    if (changed)
        changeSoon();
    return false;
}

void KeyboardLayoutWatcher::changeSoon()
{
    if (m_changePending)
        return;
    m_changePending = true;
    QTimer::singleShot(0, this, [this] {
        m_changePending = false;
        KeyboardLayout::invalidateCurrent();
        emit layoutChanged();
    });
}
