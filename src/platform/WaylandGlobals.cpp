#include "WaylandGlobals.h"

#include "platform/PlatformLog.h"
#include "platform/WaylandProtocols.h"

#include <QGuiApplication>
#include <qpa/qplatformnativeinterface.h>

#include <algorithm>
#include <cstring>

#include <wayland-client.h>

namespace {

template <typename T>
T *bind(wl_registry *registry, uint32_t name, const wl_interface *interface, uint32_t version)
{
    return static_cast<T *>(wl_registry_bind(registry, name, interface, version));
}

void seatCapabilities(void *data, wl_seat *, uint32_t capabilities)
{
    static_cast<WaylandGlobals *>(data)->seatCapabilities = capabilities;
}

void seatName(void *, wl_seat *, const char *) {}

const wl_seat_listener seatListener{seatCapabilities, seatName};

void addGlobal(void *data, wl_registry *registry, uint32_t name, const char *interface,
               uint32_t version)
{
    auto *g = static_cast<WaylandGlobals *>(data);
    if (std::strcmp(interface, wl_compositor_interface.name) == 0 && !g->compositor) {
        g->compositor =
            bind<wl_compositor>(registry, name, &wl_compositor_interface, std::min(version, 4u));
    } else if (std::strcmp(interface, wl_shm_interface.name) == 0 && !g->shm) {
        g->shm = bind<wl_shm>(registry, name, &wl_shm_interface, 1);
    } else if (std::strcmp(interface, wl_seat_interface.name) == 0 && !g->seat) {
        g->seat = bind<wl_seat>(registry, name, &wl_seat_interface, std::min(version, 5u));
        wl_seat_add_listener(g->seat, &seatListener, g);
    } else if (std::strcmp(interface, wp_viewporter_interface.name) == 0 && !g->viewporter) {
        g->viewporter = bind<wp_viewporter>(registry, name, &wp_viewporter_interface, 1);
    } else if (std::strcmp(interface, zwlr_layer_shell_v1_interface.name) == 0 && !g->layerShell) {
        g->layerShellVersion = std::min(version, 4u);
        g->layerShell = bind<zwlr_layer_shell_v1>(registry, name, &zwlr_layer_shell_v1_interface,
                                                  g->layerShellVersion);
    }
}

void removeGlobal(void *, wl_registry *, uint32_t) {}

const wl_registry_listener registryListener{addGlobal, removeGlobal};

struct AnotherGlobal {
    const wl_interface *interface;
    uint32_t name = 0;
    uint32_t version = 0;
};

void addAnother(void *data, wl_registry *, uint32_t name, const char *interface, uint32_t version)
{
    auto *wanted = static_cast<AnotherGlobal *>(data);
    if (wanted->version == 0 && std::strcmp(interface, wanted->interface->name) == 0) {
        wanted->name = name;
        wanted->version = version;
    }
}

const wl_registry_listener anotherListener{addAnother, removeGlobal};

// Lists the compositor's globals through a queue of its own, so that the round trip dispatches
// nothing of Qt's.
void listGlobals(wl_display *display, const wl_registry_listener *listener, void *data)
{
    wl_event_queue *queue = wl_display_create_queue(display);
    auto *wrapper = static_cast<wl_display *>(wl_proxy_create_wrapper(display));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy *>(wrapper), queue);
    wl_registry *registry = wl_display_get_registry(wrapper);
    wl_registry_add_listener(registry, listener, data);
    wl_display_roundtrip_queue(display, queue);
    wl_registry_destroy(registry);
    wl_proxy_wrapper_destroy(wrapper);
    wl_event_queue_destroy(queue);
}

void toDefaultQueue(void *proxy)
{
    if (proxy)
        wl_proxy_set_queue(static_cast<wl_proxy *>(proxy), nullptr);
}

} // namespace

WaylandGlobals &WaylandGlobals::get()
{
    // What the registry binds moves to the default queue, which Qt dispatches on the main thread.
    static WaylandGlobals bound;
    static const bool done = [] {
        WaylandGlobals &g = bound;
        QPlatformNativeInterface *native = QGuiApplication::platformNativeInterface();
        if (!native || QGuiApplication::platformName() != u"wayland")
            return false;
        g.display = static_cast<wl_display *>(native->nativeResourceForIntegration("wl_display"));
        if (!g.display)
            return false;
        listGlobals(g.display, &registryListener, &g);
        for (void *proxy : {static_cast<void *>(g.compositor), static_cast<void *>(g.shm),
                            static_cast<void *>(g.seat), static_cast<void *>(g.viewporter),
                            static_cast<void *>(g.layerShell)})
            toDefaultQueue(proxy);
        if (!g.layerShell)
            qCWarning(lcPlatform, "the Wayland compositor offers no layer-shell");
        return true;
    }();
    Q_UNUSED(done)
    return bound;
}

void *WaylandGlobals::bindAnother(const wl_interface *interface, uint32_t maxVersion,
                                  uint32_t *boundVersion)
{
    wl_display *display = get().display;
    if (!display)
        return nullptr;
    AnotherGlobal wanted{interface};
    listGlobals(display, &anotherListener, &wanted);
    if (wanted.version == 0)
        return nullptr;
    // Bound straight onto the default queue, so that no event of the new object can land on a
    // queue that is gone; nothing dispatches it before the caller, on this thread, listens.
    const uint32_t version = std::min(wanted.version, maxVersion);
    wl_registry *registry = wl_display_get_registry(display);
    void *proxy = wl_registry_bind(registry, wanted.name, interface, version);
    wl_registry_destroy(registry);
    if (boundVersion)
        *boundVersion = version;
    return proxy;
}
