#include "ClickCatcher.h"

#include "platform/PlatformLog.h"
#include "platform/WaylandGlobals.h"
#include "platform/WaylandProtocols.h"

#include <sys/mman.h>
#include <unistd.h>

#include <wayland-client.h>

namespace {

constexpr uint32_t buttonPressed = 1; // WL_POINTER_BUTTON_STATE_PRESSED

// One fully transparent pixel.
wl_buffer *transparentPixel(wl_shm *shm)
{
    const int fd = memfd_create("tallowfern-pixel", MFD_CLOEXEC);
    if (fd < 0)
        return nullptr;
    if (ftruncate(fd, 4) != 0) {
        close(fd);
        return nullptr;
    }
    wl_shm_pool *pool = wl_shm_create_pool(shm, fd, 4);
    wl_buffer *buffer = wl_shm_pool_create_buffer(pool, 0, 1, 1, 4, WL_SHM_FORMAT_ARGB8888);
    wl_shm_pool_destroy(pool);
    close(fd);
    return buffer;
}

} // namespace

struct ClickCatcherListeners {
    static void configure(void *data, zwlr_layer_surface_v1 *surface, uint32_t serial, uint32_t w,
                          uint32_t h)
    {
        zwlr_layer_surface_v1_ack_configure(surface, serial);
        auto *self = static_cast<ClickCatcher *>(data);
        const QSize size{int(w), int(h)};
        if (size.isEmpty() || size == self->m_size)
            return;
        self->m_size = size;
        wp_viewport_set_destination(self->m_viewport, size.width(), size.height());
        wl_surface_attach(self->m_surface, self->m_buffer, 0, 0);
        wl_surface_damage(self->m_surface, 0, 0, size.width(), size.height());
        wl_surface_commit(self->m_surface);
    }
    static void closed(void *data, zwlr_layer_surface_v1 *)
    {
        static_cast<ClickCatcher *>(data)->m_catching = false;
    }

    static ClickCatcher *ours(void *data, wl_surface *surface)
    {
        auto *self = static_cast<ClickCatcher *>(data);
        return surface == self->m_surface ? self : nullptr;
    }
    static void enter(void *data, wl_pointer *, uint32_t, wl_surface *surface, wl_fixed_t x,
                      wl_fixed_t y)
    {
        auto *self = static_cast<ClickCatcher *>(data);
        self->m_pointerInside = ours(data, surface) != nullptr;
        self->m_position = QPointF(wl_fixed_to_double(x), wl_fixed_to_double(y));
    }
    static void leave(void *data, wl_pointer *, uint32_t, wl_surface *surface)
    {
        if (auto *self = ours(data, surface))
            self->m_pointerInside = false;
    }
    static void motion(void *data, wl_pointer *, uint32_t, wl_fixed_t x, wl_fixed_t y)
    {
        auto *self = static_cast<ClickCatcher *>(data);
        if (self->m_pointerInside)
            self->m_position = QPointF(wl_fixed_to_double(x), wl_fixed_to_double(y));
    }
    static void button(void *data, wl_pointer *, uint32_t, uint32_t, uint32_t, uint32_t state)
    {
        auto *self = static_cast<ClickCatcher *>(data);
        if (self->m_pointerInside && self->m_catching && state == buttonPressed)
            emit self->pressed(self->m_position);
    }
    static void axis(void *, wl_pointer *, uint32_t, uint32_t, wl_fixed_t) {}
    static void frame(void *, wl_pointer *) {}
    static void axisSource(void *, wl_pointer *, uint32_t) {}
    static void axisStop(void *, wl_pointer *, uint32_t, uint32_t) {}
    static void axisDiscrete(void *, wl_pointer *, uint32_t, int32_t) {}

    static constexpr zwlr_layer_surface_v1_listener layer{.configure = configure, .closed = closed};
    // Newer protocol versions add events; the ones not set here are never sent at version 5.
    static inline const wl_pointer_listener pointer = [] {
        wl_pointer_listener listener{};
        listener.enter = enter;
        listener.leave = leave;
        listener.motion = motion;
        listener.button = button;
        listener.axis = axis;
        listener.frame = frame;
        listener.axis_source = axisSource;
        listener.axis_stop = axisStop;
        listener.axis_discrete = axisDiscrete;
        return listener;
    }();
};

ClickCatcher::ClickCatcher(QObject *parent) : QObject(parent)
{
    const WaylandGlobals &g = WaylandGlobals::get();
    if (!g.layerShell || !g.compositor || !g.shm || !g.viewporter || !g.seat) {
        qCWarning(lcPlatform, "no way to notice clicks beside the panel on this compositor");
        return;
    }
    m_buffer = transparentPixel(g.shm);
    if (!m_buffer)
        return;
    m_surface = wl_compositor_create_surface(g.compositor);
    m_viewport = wp_viewporter_get_viewport(g.viewporter, m_surface);
    m_layer = zwlr_layer_shell_v1_get_layer_surface(
        g.layerShell, m_surface, nullptr, ZWLR_LAYER_SHELL_V1_LAYER_TOP, "tallowfern-clicks");
    zwlr_layer_surface_v1_add_listener(m_layer, &ClickCatcherListeners::layer, this);
    zwlr_layer_surface_v1_set_anchor(
        m_layer, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM |
                     ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT);
    zwlr_layer_surface_v1_set_size(m_layer, 0, 0);
    zwlr_layer_surface_v1_set_exclusive_zone(m_layer, -1);
    zwlr_layer_surface_v1_set_keyboard_interactivity(
        m_layer, ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE);
    setInputRegion(QRect(), false);
    wl_display_roundtrip(g.display);
    ensurePointer();
}

void ClickCatcher::ensurePointer()
{
    // Our own pointer object: Qt's ignores surfaces it did not make. A seat gains a pointer
    // when a mouse is plugged in, so this is asked again whenever catching starts.
    const WaylandGlobals &g = WaylandGlobals::get();
    if (m_pointer || !g.seat || !(g.seatCapabilities & WL_SEAT_CAPABILITY_POINTER))
        return;
    m_pointer = wl_seat_get_pointer(g.seat);
    wl_pointer_add_listener(m_pointer, &ClickCatcherListeners::pointer, this);
}

ClickCatcher::~ClickCatcher()
{
    if (m_pointer)
        wl_pointer_destroy(m_pointer);
    if (m_layer)
        zwlr_layer_surface_v1_destroy(m_layer);
    if (m_viewport)
        wp_viewport_destroy(m_viewport);
    if (m_surface)
        wl_surface_destroy(m_surface);
    if (m_buffer)
        wl_buffer_destroy(m_buffer);
}

void ClickCatcher::setInputRegion(const QRect &hole, bool catching)
{
    const WaylandGlobals &g = WaylandGlobals::get();
    wl_region *region = wl_compositor_create_region(g.compositor);
    if (catching) {
        wl_region_add(region, 0, 0, INT32_MAX, INT32_MAX);
        if (!hole.isEmpty())
            wl_region_subtract(region, hole.x(), hole.y(), hole.width(), hole.height());
    }
    wl_surface_set_input_region(m_surface, region);
    wl_region_destroy(region);
    wl_surface_commit(m_surface);
    wl_display_flush(g.display);
}

void ClickCatcher::catchAround(const QRect &hole)
{
    if (!m_surface)
        return;
    ensurePointer();
    m_catching = true;
    setInputRegion(hole, true);
}

void ClickCatcher::stop()
{
    if (!m_surface || !m_catching)
        return;
    m_catching = false;
    m_pointerInside = false;
    setInputRegion(QRect(), false);
}
