#include "LayerSurface.h"

#include "platform/PlatformLog.h"
#include "platform/WaylandGlobals.h"

#include <QGuiApplication>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>

#include <wayland-client.h>
// The protocol has a request argument named "namespace".
#define namespace namespace_
#include "wlr-layer-shell-unstable-v1-client-protocol.h"
#undef namespace

namespace {

// The compositor's globals under the names used here.
struct Globals {
    wl_display *display;
    wl_compositor *compositor;
    zwlr_layer_shell_v1 *shell;
    uint32_t shellVersion;
};

Globals globals()
{
    const WaylandGlobals &g = WaylandGlobals::get();
    return {g.display, g.compositor, g.layerShell, g.layerShellVersion};
}

} // namespace

const zwlr_layer_surface_v1_listener LayerSurface::s_listener{&LayerSurface::configure,
                                                              &LayerSurface::closedByCompositor};

bool LayerSurface::isAvailable()
{
    return globals().shell != nullptr && globals().compositor != nullptr;
}

bool LayerSurface::supportsOnDemand()
{
    return globals().shellVersion >= 4;
}

LayerSurface::LayerSurface(QWindow *window, const char *scope, QObject *parent)
    : QObject(parent), m_window(window)
{
    const Globals g = globals();
    QPlatformNativeInterface *native = QGuiApplication::platformNativeInterface();
    if (!g.shell || !g.compositor || !native || !window || !window->handle())
        return;
    m_surface = static_cast<wl_surface *>(native->nativeResourceForWindow("surface", window));
    if (!m_surface) {
        qCWarning(lcPlatform, "window %s has no Wayland surface", qPrintable(window->title()));
        return;
    }
    m_layer = zwlr_layer_shell_v1_get_layer_surface(g.shell, m_surface, nullptr,
                                                    ZWLR_LAYER_SHELL_V1_LAYER_TOP, scope);
    zwlr_layer_surface_v1_add_listener(m_layer, &s_listener, this);
    m_size = window->size();
    zwlr_layer_surface_v1_set_size(m_layer, uint32_t(m_size.width()), uint32_t(m_size.height()));
    zwlr_layer_surface_v1_set_anchor(m_layer, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP);
    // Up to the very edge, over any bar that reserves the top of the screen, and reserving
    // nothing itself.
    zwlr_layer_surface_v1_set_exclusive_zone(m_layer, -1);
    zwlr_layer_surface_v1_set_keyboard_interactivity(
        m_layer, ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE);
    // The first commit carries no buffer; the compositor answers with the configure that must be
    // acknowledged before Qt attaches one.
    wl_surface_commit(m_surface);
    wl_display_roundtrip(g.display);
}

LayerSurface::~LayerSurface()
{
    if (m_layer)
        zwlr_layer_surface_v1_destroy(m_layer);
}

void LayerSurface::configure(void *data, zwlr_layer_surface_v1 *layer, uint32_t serial,
                             uint32_t width, uint32_t height)
{
    zwlr_layer_surface_v1_ack_configure(layer, serial);
    auto *self = static_cast<LayerSurface *>(data);
    // We ask for a size and are given it; a compositor that chooses (0) or shrinks it gets what
    // it asked for, so that the next buffer fits.
    const QSize given{int(width), int(height)};
    if (!given.isEmpty() && given != self->m_size && self->m_window)
        qCDebug(lcPlatform, "compositor gave %dx%d instead of %dx%d", given.width(), given.height(),
                self->m_size.width(), self->m_size.height());
}

void LayerSurface::closedByCompositor(void *data, zwlr_layer_surface_v1 *)
{
    auto *self = static_cast<LayerSurface *>(data);
    self->m_closed = true;
    qCWarning(lcPlatform, "the compositor closed the layer surface of %s",
              self->m_window ? qPrintable(self->m_window->title()) : "a window");
    emit self->closed();
}

void LayerSurface::commit()
{
    if (m_surface)
        wl_surface_commit(m_surface);
    if (wl_display *display = globals().display)
        wl_display_flush(display);
}

void LayerSurface::setSize(QSize size)
{
    if (!m_layer || size == m_size)
        return;
    m_size = size;
    zwlr_layer_surface_v1_set_size(m_layer, uint32_t(size.width()), uint32_t(size.height()));
    commit();
}

void LayerSurface::setInputRegion(const QRect &area)
{
    if (!m_surface)
        return;
    wl_region *region = wl_compositor_create_region(globals().compositor);
    if (!area.isEmpty())
        wl_region_add(region, area.x(), area.y(), area.width(), area.height());
    wl_surface_set_input_region(m_surface, region);
    wl_region_destroy(region);
    commit();
}

void LayerSurface::setKeyboard(Keyboard keyboard)
{
    if (!m_layer || keyboard == m_keyboard)
        return;
    m_keyboard = keyboard;
    uint32_t mode = ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE;
    if (keyboard == Keyboard::Exclusive)
        mode = ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_EXCLUSIVE;
    else if (keyboard == Keyboard::OnDemand)
        mode = supportsOnDemand() ? ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_ON_DEMAND
                                  : ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_EXCLUSIVE;
    zwlr_layer_surface_v1_set_keyboard_interactivity(m_layer, mode);
    commit();
}
