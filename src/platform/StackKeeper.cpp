#include "StackKeeper.h"

#include <QAbstractEventDispatcher>
#include <QGuiApplication>
#include <QSocketNotifier>
#include <QWindow>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace {

struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

} // namespace

StackKeeper::StackKeeper(QObject *parent) : QObject(parent)
{
    if (QGuiApplication::platformName() != u"xcb")
        return;
    m_connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(m_connection)) {
        xcb_disconnect(m_connection);
        m_connection = nullptr;
        return;
    }
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    m_root = screen->root;
    const quint32 mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(m_connection);
    m_notifier =
        new QSocketNotifier(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] { drain(true); });
    if (auto *dispatcher = QAbstractEventDispatcher::instance())
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this,
                [this] { drain(false); });
}

StackKeeper::~StackKeeper()
{
    if (m_connection)
        xcb_disconnect(m_connection);
}

void StackKeeper::keepAbove(const QList<QWindow *> &windows)
{
    m_windows = windows;
    raise();
}

void StackKeeper::raise()
{
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

void StackKeeper::drain(bool readSocket)
{
    if (!m_connection)
        return;
    bool changed = false;
    while (xcb_generic_event_t *event = readSocket ? xcb_poll_for_event(m_connection)
                                                   : xcb_poll_for_queued_event(m_connection)) {
        std::unique_ptr<xcb_generic_event_t, FreeDeleter> owned(event);
        switch (event->response_type & 0x7f) {
        case XCB_MAP_NOTIFY:
            changed |= !ours(reinterpret_cast<const xcb_map_notify_event_t *>(event)->window);
            break;
        case XCB_CONFIGURE_NOTIFY:
            changed |= !ours(reinterpret_cast<const xcb_configure_notify_event_t *>(event)->window);
            break;
        default:
            break;
        }
    }
    // A burst of changes is looked at once, after it.
    if (changed && !m_checkQueued) {
        m_checkQueued = true;
        QMetaObject::invokeMethod(this, &StackKeeper::check, Qt::QueuedConnection);
    }
}

void StackKeeper::check()
{
    m_checkQueued = false;
    Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, m_root), nullptr));
    if (!tree)
        return;
    const xcb_window_t *children = xcb_query_tree_children(tree.get());
    const int count = xcb_query_tree_children_length(tree.get());
    // Bottom to top: is anything viewable stacked above the lowest of ours?
    int lowestOurs = -1;
    for (int i = 0; i < count && lowestOurs < 0; ++i) {
        if (ours(children[i]))
            lowestOurs = i;
    }
    if (lowestOurs < 0)
        return;
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    bool covered = false;
    for (int i = lowestOurs + 1; i < count; ++i) {
        if (ours(children[i]))
            continue;
        Reply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
            m_connection, xcb_get_window_attributes(m_connection, children[i]), nullptr));
        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
            attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
            continue;
        Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(
            m_connection, xcb_get_geometry(m_connection, children[i]), nullptr));
        if (!geometry)
            continue;
        // Menus and tooltips of other programs come and go above us; a full-screen window
        // (a film, a game, a presentation) keeps the screen.
        if (attributes->override_redirect)
            continue;
        if (geometry->x <= 0 && geometry->y <= 0 &&
            geometry->x + geometry->width >= screen->width_in_pixels &&
            geometry->y + geometry->height >= screen->height_in_pixels)
            return;
        covered = true;
    }
    if (covered)
        raise();
}
