#include "StackKeeper.h"

#include "platform/XcbEventSource.h"
#include "platform/XcbReply.h"

#include <QWindow>

#include <xcb/xcb.h>

StackKeeper::StackKeeper(QObject *parent) : QObject(parent)
{
    m_source = new XcbEventSource(
        [this](const xcb_generic_event_t &event) {
            xcb_window_t window = XCB_WINDOW_NONE;
            switch (event.response_type & 0x7f) {
            case XCB_MAP_NOTIFY:
                window = reinterpret_cast<const xcb_map_notify_event_t &>(event).window;
                break;
            case XCB_CONFIGURE_NOTIFY:
                window = reinterpret_cast<const xcb_configure_notify_event_t &>(event).window;
                break;
            default:
                return;
            }
            // A burst of changes is looked at once, after it.
            if (!ours(window) && !m_checkQueued) {
                m_checkQueued = true;
                QMetaObject::invokeMethod(this, &StackKeeper::check, Qt::QueuedConnection);
            }
        },
        this);
    if (xcb_connection_t *c = m_source->connection()) {
        const quint32 mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(c, m_source->root(), XCB_CW_EVENT_MASK, &mask);
        xcb_flush(c);
    }
}

void StackKeeper::keepAbove(const QList<QWindow *> &windows)
{
    m_windows = windows;
    raise();
}

void StackKeeper::raise()
{
    // A screen locker is an unmanaged window over the whole screen: nothing of ours goes over
    // it, not even the panel opened by the hot key or the morning greeting.
    if (stackAbove().locker)
        return;
    for (QWindow *window : std::as_const(m_windows)) {
        if (window && window->isVisible())
            window->raise();
    }
}

bool StackKeeper::ours(quint32 window) const
{
    for (QWindow *mine : m_windows) {
        if (mine && mine->handle() && quint32(mine->winId()) == window)
            return true;
    }
    return false;
}

StackKeeper::Above StackKeeper::stackAbove() const
{
    Above above;
    xcb_connection_t *c = m_source->connection();
    if (!c)
        return above;
    XcbReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(c, xcb_query_tree(c, m_source->root()), nullptr));
    if (!tree)
        return above;
    const xcb_window_t *children = xcb_query_tree_children(tree.get());
    const int count = xcb_query_tree_children_length(tree.get());
    // Bottom to top: is anything viewable stacked above the lowest of ours?
    int lowestOurs = -1;
    for (int i = 0; i < count && lowestOurs < 0; ++i) {
        if (ours(children[i]))
            lowestOurs = i;
    }
    if (lowestOurs < 0)
        return above;
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    for (int i = lowestOurs + 1; i < count; ++i) {
        if (ours(children[i]))
            continue;
        XcbReply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, children[i]), nullptr));
        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
            attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
            continue;
        XcbReply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(c, xcb_get_geometry(c, children[i]), nullptr));
        if (!geometry)
            continue;
        // A full-screen window (a film, a game, a presentation) keeps the screen.
        if (geometry->x <= 0 && geometry->y <= 0 &&
            geometry->x + geometry->width >= screen->width_in_pixels &&
            geometry->y + geometry->height >= screen->height_in_pixels) {
            above.fullScreen = true;
            above.locker = attributes->override_redirect;
            return above;
        }
        // Menus and tooltips of other programs come and go above us.
        if (!attributes->override_redirect)
            above.covered = true;
    }
    return above;
}

void StackKeeper::check()
{
    m_checkQueued = false;
    const Above above = stackAbove();
    if (above.covered && !above.fullScreen)
        raise();
}
