#pragma once

// What the xcb probes share: replies that free themselves, the monotonic clock, and windows
// looked up by title among the root's descendants. Plain xcb, no Qt.

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

inline double nowMs()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) * 1e3 + static_cast<double>(ts.tv_nsec) / 1e6;
}

template <typename T> using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T> Reply<T> own(T *reply)
{
    return Reply<T>(reply, &std::free);
}

class XcbWindows {
public:
    explicit XcbWindows(xcb_connection_t *connection)
        : m_c(connection), m_netWmName(atom("_NET_WM_NAME")), m_utf8(atom("UTF8_STRING"))
    {}

    [[nodiscard]] xcb_connection_t *connection() const { return m_c; }

    xcb_atom_t atom(const char *name)
    {
        auto reply = own(xcb_intern_atom_reply(
            m_c, xcb_intern_atom(m_c, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr));
        return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }

    bool isViewable(xcb_window_t window)
    {
        auto attributes = own(
            xcb_get_window_attributes_reply(m_c, xcb_get_window_attributes(m_c, window), nullptr));
        return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    }

    std::string property(xcb_window_t window, xcb_atom_t name, xcb_atom_t type)
    {
        auto reply = own(xcb_get_property_reply(
            m_c, xcb_get_property(m_c, 0, window, name, type, 0, 1024), nullptr));
        if (!reply || reply->type == XCB_ATOM_NONE)
            return {};
        return std::string(static_cast<const char *>(xcb_get_property_value(reply.get())),
                           static_cast<size_t>(xcb_get_property_value_length(reply.get())));
    }

    // _NET_WM_NAME or WM_NAME.
    bool hasTitle(xcb_window_t window, const std::string &title)
    {
        return property(window, m_netWmName, m_utf8) == title ||
               property(window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING) == title;
    }

    // The first viewable window for which `matches` holds: `window` itself unless `below`, or
    // one of its descendants down to the third generation (a window manager's frame may stand
    // between the root and a client); 0 when there is none (yet).
    template <typename Matches>
    xcb_window_t find(xcb_window_t window, const Matches &matches, bool below = false,
                      int depth = 0)
    {
        if (!(below && depth == 0) && isViewable(window) && matches(window))
            return window;
        if (depth >= 3)
            return 0;
        auto tree = own(xcb_query_tree_reply(m_c, xcb_query_tree(m_c, window), nullptr));
        if (!tree)
            return 0;
        const xcb_window_t *children = xcb_query_tree_children(tree.get());
        const int count = xcb_query_tree_children_length(tree.get());
        for (int i = 0; i < count; ++i) {
            if (const xcb_window_t found = find(children[i], matches, below, depth + 1))
                return found;
        }
        return 0;
    }

protected:
    xcb_connection_t *m_c;
    xcb_atom_t m_netWmName;
    xcb_atom_t m_utf8;
};
