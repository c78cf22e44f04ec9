#pragma once

#include <cstdint>

struct wl_compositor;
struct wl_display;
struct wl_interface;
struct wl_seat;
struct wl_shm;
struct wp_viewporter;
struct zwlr_layer_shell_v1;

// The compositor's globals that our layer surfaces need, bound once on Qt's own connection and
// dispatched with Qt's events on the main thread. All null away from Wayland.
struct WaylandGlobals {
    wl_display *display = nullptr;
    wl_compositor *compositor = nullptr;
    wl_shm *shm = nullptr;
    wl_seat *seat = nullptr;
    wp_viewporter *viewporter = nullptr;
    zwlr_layer_shell_v1 *layerShell = nullptr;
    uint32_t layerShellVersion = 0;
    // What the seat has now (pointer, keyboard, touch); asking for a pointer it never had is a
    // protocol error that ends the connection.
    uint32_t seatCapabilities = 0;

    [[nodiscard]] static WaylandGlobals &get();

    // Another instance of the compositor's first global of this interface, at most maxVersion,
    // dispatched on the main thread like the others; null when there is none. The caller owns it.
    [[nodiscard]] static void *bindAnother(const wl_interface *interface, uint32_t maxVersion,
                                           uint32_t *boundVersion = nullptr);
};
