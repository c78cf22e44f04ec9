#include "LayerSurface.h"

#include "platform/PlatformLog.h"
#include "platform/WaylandGlobals.h"
#include "platform/WaylandProtocols.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>

#include <wayland-client.h>

namespace {

// The compositor's globals under the names used here.
struct Globals {
    wl_display *display;
    wl_compositor *compositor;
    zwlr_layer_shell_v1 *shell;
};

Globals globals()
{
    const WaylandGlobals &g = WaylandGlobals::get();
    return {g.display, g.compositor, g.layerShell};
}

} // namespace

const zwlr_layer_surface_v1_listener LayerSurface::s_listener{&LayerSurface::configure,
                                                              &LayerSurface::closedByCompositor};

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
    zwlr_layer_surface_v1_set_anchor(m_layer, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP |
                                                  ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT);
    if (const QScreen *screen = window->screen())
        m_left = window->geometry().left() - screen->geometry().left();
    zwlr_layer_surface_v1_set_margin(m_layer, 0, 0, 0, m_left);
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

void LayerSurface::configure(void *, zwlr_layer_surface_v1 *layer, uint32_t serial, uint32_t,
                             uint32_t)
{
    // The size is ours to choose, and the compositor gives it.
    zwlr_layer_surface_v1_ack_configure(layer, serial);
}

void LayerSurface::closedByCompositor(void *data, zwlr_layer_surface_v1 *)
{
    // Its output went away; the window shows nothing until it is made again.
    const auto *self = static_cast<LayerSurface *>(data);
    qCWarning(lcPlatform, "the compositor closed the layer surface of %s",
              self->m_window ? qPrintable(self->m_window->title()) : "a window");
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

void LayerSurface::setLeft(int left)
{
    if (!m_layer || left == m_left)
        return;
    m_left = left;
    zwlr_layer_surface_v1_set_margin(m_layer, 0, 0, 0, left);
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
    zwlr_layer_surface_v1_set_keyboard_interactivity(
        m_layer, keyboard == Keyboard::Exclusive
                     ? ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_EXCLUSIVE
                     : ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE);
    commit();
}
