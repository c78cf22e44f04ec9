#include "X11Overlay.h"

#include "platform/X11Application.h"
#include "platform/XcbReply.h"

#include <QGuiApplication>
#include <QWindow>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <cmath>
#include <cstring>
#include <iterator>
#include <optional>

namespace {

xcb_connection_t *connection()
{
    auto *x11 = x11Application();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t *c, const char *name)
{
    XcbReply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, quint16(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

xcb_window_t rootWindow(xcb_connection_t *c)
{
    return xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
}

// The window manager's own idea of the active window: with a reparenting manager the focus
// itself may sit on a frame.
std::optional<xcb_window_t> activeWindow(xcb_connection_t *c)
{
    const xcb_atom_t active = atom(c, "_NET_ACTIVE_WINDOW");
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c, xcb_get_property(c, 0, rootWindow(c), active, XCB_ATOM_WINDOW, 0, 1), nullptr));
    if (!reply || reply->type != XCB_ATOM_WINDOW || xcb_get_property_value_length(reply.get()) < 4)
        return std::nullopt;
    return *static_cast<const xcb_window_t *>(xcb_get_property_value(reply.get()));
}

} // namespace

void X11Overlay::prepare(QWindow *window)
{
    xcb_connection_t *c = connection();
    if (!c || !window)
        return;
    const auto id = xcb_window_t(window->winId());
    // Qt keeps states it does not know of when it maps the window, so these survive show().
    const xcb_atom_t states[] = {
        atom(c, "_NET_WM_STATE_STICKY"), atom(c, "_NET_WM_STATE_SKIP_TASKBAR"),
        atom(c, "_NET_WM_STATE_SKIP_PAGER"), atom(c, "_NET_WM_STATE_ABOVE")};
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, id, atom(c, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32,
                        std::size(states), states);
    const quint32 allDesktops = 0xFFFFFFFF;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, id, atom(c, "_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL,
                        32, 1, &allDesktops);
    xcb_flush(c);
}

void X11Overlay::setInputArea(QWindow *window, const QRect &area)
{
    xcb_connection_t *c = connection();
    if (!c || !window)
        return;
    // The window system counts device pixels.
    const qreal ratio = window->devicePixelRatio();
    xcb_rectangle_t rect{qint16(std::floor(area.x() * ratio)), qint16(std::floor(area.y() * ratio)),
                         quint16(std::ceil(area.width() * ratio)),
                         quint16(std::ceil(area.height() * ratio))};
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                         xcb_window_t(window->winId()), 0, 0, area.isEmpty() ? 0 : 1, &rect);
    xcb_flush(c);
}

bool X11Overlay::isCompositing()
{
    xcb_connection_t *c = connection();
    if (!c)
        return true; // other platforms compose their windows themselves
    int screen = 0;
    for (auto it = xcb_setup_roots_iterator(xcb_get_setup(c)); it.rem; xcb_screen_next(&it)) {
        if (it.data->root == rootWindow(c))
            break;
        ++screen;
    }
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(screen);
    XcbReply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        c, xcb_get_selection_owner(c, atom(c, name.constData())), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

quint32 X11Overlay::focusedWindow()
{
    xcb_connection_t *c = connection();
    if (!c)
        return 0;
    XcbReply<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    if (focus && focus->focus != XCB_WINDOW_NONE && focus->focus != XCB_INPUT_FOCUS_POINTER_ROOT &&
        focus->focus != rootWindow(c))
        return focus->focus;
    const auto active = activeWindow(c);
    return active ? *active : 0;
}

bool X11Overlay::hasWindowManager()
{
    xcb_connection_t *c = connection();
    if (!c)
        return false;
    const xcb_atom_t check = atom(c, "_NET_SUPPORTING_WM_CHECK");
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        c, xcb_get_property(c, 0, rootWindow(c), check, XCB_ATOM_WINDOW, 0, 1), nullptr));
    return reply && reply->type == XCB_ATOM_WINDOW &&
           xcb_get_property_value_length(reply.get()) >= 4;
}

namespace {

// `window` if it still exists and is viewable, else 0.
xcb_window_t viewableOrNone(xcb_connection_t *c, xcb_window_t window)
{
    if (window == 0)
        return 0;
    XcbReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE ? window : 0;
}

void setFocus(xcb_connection_t *c, xcb_window_t window)
{
    xcb_set_input_focus(c, XCB_INPUT_FOCUS_POINTER_ROOT,
                        window != 0 ? window : xcb_window_t(XCB_INPUT_FOCUS_POINTER_ROOT),
                        XCB_CURRENT_TIME);
    xcb_flush(c);
}

} // namespace

void X11Overlay::focusWindow(quint32 window)
{
    xcb_connection_t *c = connection();
    if (!c)
        return;
    window = viewableOrNone(c, window);
    if (window != 0 && hasWindowManager()) {
        // Tell the window manager too, as a pager would, so that its own idea of the active
        // window follows.
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = window;
        event.type = atom(c, "_NET_ACTIVE_WINDOW");
        event.data.data32[0] = 2; // source: pager
        event.data.data32[1] = XCB_CURRENT_TIME;
        xcb_send_event(c, 0, rootWindow(c),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char *>(&event));
    }
    setFocus(c, window);
}

void X11Overlay::setInputFocus(quint32 window)
{
    if (xcb_connection_t *c = connection())
        setFocus(c, viewableOrNone(c, window));
}

void X11Overlay::takeFocus(QWindow *window)
{
    xcb_connection_t *c = connection();
    if (!c || !window || !window->handle())
        return;
    xcb_set_input_focus(c, XCB_INPUT_FOCUS_PARENT, xcb_window_t(window->winId()), XCB_CURRENT_TIME);
    xcb_flush(c);
}
