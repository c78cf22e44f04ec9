#include "WaylandGlobals.h"

#include "platform/PlatformLog.h"
#include "platform/WaylandProtocols.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QHash>
#include <qpa/qplatformnativeinterface.h>

#include <algorithm>
#include <utility>

#include <wayland-client.h>

namespace {

void seatCapabilities(void *data, wl_seat *, uint32_t capabilities)
{
    static_cast<WaylandGlobals *>(data)->seatCapabilities = capabilities;
}

void seatName(void *, wl_seat *, const char *) {}

const wl_seat_listener seatListener{seatCapabilities, seatName};

// The name and version of the first global of each interface the compositor offers.
using Listed = QHash<QByteArray, std::pair<uint32_t, uint32_t>>;

void addListed(void *data, wl_registry *, uint32_t name, const char *interface, uint32_t version)
{
    auto *listed = static_cast<Listed *>(data);
    const QByteArray key(interface);
    if (!listed->contains(key))
        listed->insert(key, {name, version});
}

void removeListed(void *, wl_registry *, uint32_t) {}

const wl_registry_listener listedListener{addListed, removeListed};

// Lists the compositor's globals through a queue of its own, so that the round trip dispatches
// nothing of Qt's. Nothing is bound on that queue: an object's events could land there after it
// is gone.
Listed listGlobals(wl_display *display)
{
    Listed listed;
    wl_event_queue *queue = wl_display_create_queue(display);
    auto *wrapper = static_cast<wl_display *>(wl_proxy_create_wrapper(display));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy *>(wrapper), queue);
    wl_registry *registry = wl_display_get_registry(wrapper);
    wl_registry_add_listener(registry, &listedListener, &listed);
    wl_display_roundtrip_queue(display, queue);
    wl_registry_destroy(registry);
    wl_proxy_wrapper_destroy(wrapper);
    wl_event_queue_destroy(queue);
    return listed;
}

// Binds a listed global through `registry`, made on the default queue, which Qt dispatches on
// the main thread: nothing dispatches the new object's events before the caller, on this thread,
// listens to them.
void *bindListed(wl_registry *registry, const Listed &listed, const wl_interface *interface,
                 uint32_t maxVersion, uint32_t *boundVersion = nullptr)
{
    const auto found = listed.constFind(QByteArray(interface->name));
    if (found == listed.cend())
        return nullptr;
    const uint32_t version = std::min(found->second, maxVersion);
    if (boundVersion)
        *boundVersion = version;
    return wl_registry_bind(registry, found->first, interface, version);
}

} // namespace

WaylandGlobals &WaylandGlobals::get()
{
    static WaylandGlobals bound;
    static const bool done = [] {
        WaylandGlobals &g = bound;
        QPlatformNativeInterface *native = QGuiApplication::platformNativeInterface();
        if (!native || QGuiApplication::platformName() != u"wayland")
            return false;
        g.display = static_cast<wl_display *>(native->nativeResourceForIntegration("wl_display"));
        if (!g.display)
            return false;
        const Listed listed = listGlobals(g.display);
        wl_registry *registry = wl_display_get_registry(g.display);
        g.compositor =
            static_cast<wl_compositor *>(bindListed(registry, listed, &wl_compositor_interface, 4));
        g.shm = static_cast<wl_shm *>(bindListed(registry, listed, &wl_shm_interface, 1));
        g.seat = static_cast<wl_seat *>(bindListed(registry, listed, &wl_seat_interface, 5));
        if (g.seat)
            wl_seat_add_listener(g.seat, &seatListener, &g);
        g.viewporter =
            static_cast<wp_viewporter *>(bindListed(registry, listed, &wp_viewporter_interface, 1));
        g.layerShell = static_cast<zwlr_layer_shell_v1 *>(
            bindListed(registry, listed, &zwlr_layer_shell_v1_interface, 4, &g.layerShellVersion));
        wl_registry_destroy(registry);
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
    const Listed listed = listGlobals(display);
    wl_registry *registry = wl_display_get_registry(display);
    void *proxy = bindListed(registry, listed, interface, maxVersion, boundVersion);
    wl_registry_destroy(registry);
    return proxy;
}
