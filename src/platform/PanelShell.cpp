#include "PanelShell.h"

#include "platform/PlatformLog.h"

#include <QtGlobal>

#include <cstring>

#include <wayland-client.h>

namespace {

PanelShell::Kind chosen = PanelShell::Kind::X11;

void noteGlobal(void *data, wl_registry *, uint32_t, const char *interface, uint32_t)
{
    if (std::strcmp(interface, "zwlr_layer_shell_v1") == 0)
        static_cast<PanelShell::WaylandProbe *>(data)->layerShell = true;
}

void forgetGlobal(void *, wl_registry *, uint32_t) {}

const wl_registry_listener probeListener{noteGlobal, forgetGlobal};

} // namespace

std::optional<PanelShell::WaylandProbe> PanelShell::probeWayland()
{
    // Qt reads WAYLAND_DISPLAY the same way; an unset one means "wayland-0", which only counts
    // when something answers there.
    wl_display *display = wl_display_connect(nullptr);
    if (!display)
        return std::nullopt;
    WaylandProbe probe;
    wl_registry *registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &probeListener, &probe);
    const bool answered = wl_display_roundtrip(display) >= 0;
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    if (!answered)
        return std::nullopt;
    return probe;
}

PanelShell::Kind PanelShell::decide(const Session &session)
{
    if (const auto forced = fromName(session.forced))
        return *forced;
    if (!session.qpaPlatform.isEmpty()) {
        // The user asked Qt for a platform: follow it, and only pick the Wayland flavour.
        const QString platform = session.qpaPlatform.section(u':', 0, 0);
        if (platform == u"wayland")
            return session.wayland && session.wayland->layerShell ? Kind::LayerShell
                                                                  : Kind::XWayland;
        if (platform == u"xcb")
            return session.wayland ? Kind::XWayland : Kind::X11;
        return Kind::X11;
    }
    if (session.wayland) {
        if (session.wayland->layerShell)
            return Kind::LayerShell;
        return Kind::XWayland;
    }
    return Kind::X11;
}

PanelShell::Kind PanelShell::choose()
{
    Session session;
    session.forced = qEnvironmentVariable("TALLOWFERN_SHELL");
    session.qpaPlatform = qEnvironmentVariable("QT_QPA_PLATFORM");
    const bool hasX11Display = !qEnvironmentVariableIsEmpty("DISPLAY");
    if (!session.forced.isEmpty() && !fromName(session.forced))
        qCWarning(lcPlatform, "TALLOWFERN_SHELL=%s is none of layer-shell, xwayland, x11; ignored",
                  qPrintable(session.forced));
    // Only a display that answers counts: a stale WAYLAND_DISPLAY in an X session is common.
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") || session.forced == u"layer-shell")
        session.wayland = probeWayland();
    Kind kind = decide(session);

    if (kind == Kind::LayerShell && !(session.wayland && session.wayland->layerShell)) {
        qCWarning(lcPlatform, "no Wayland compositor with layer-shell answers; using X11");
        kind = session.wayland ? Kind::XWayland : Kind::X11;
    }
    if (kind == Kind::XWayland && !hasX11Display)
        qCWarning(lcPlatform, "a Wayland session without layer-shell and without XWayland "
                              "(no DISPLAY): the panel cannot be shown");

    const bool qpaChosenByUser = !session.qpaPlatform.isEmpty();
    switch (kind) {
    case Kind::LayerShell:
        if (!qpaChosenByUser || session.forced == u"layer-shell")
            qputenv("QT_QPA_PLATFORM", "wayland");
        // Qt then gives windows that bypass the window manager no shell role of its own, so
        // that they can take the layer-surface role.
        qputenv("QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT", "1");
        break;
    case Kind::XWayland:
    case Kind::X11:
        if (!qpaChosenByUser || !session.forced.isEmpty())
            if (hasX11Display || kind == Kind::XWayland)
                qputenv("QT_QPA_PLATFORM", "xcb");
        break;
    }
    chosen = kind;
    qCInfo(lcPlatform, "panel: %s", qPrintable(name(kind)));
    return kind;
}

PanelShell::Kind PanelShell::current()
{
    return chosen;
}

void PanelShell::setCurrent(Kind kind)
{
    chosen = kind;
}

QString PanelShell::name(Kind kind)
{
    switch (kind) {
    case Kind::LayerShell:
        return u"layer-shell"_qs;
    case Kind::XWayland:
        return u"xwayland"_qs;
    case Kind::X11:
        break;
    }
    return u"x11"_qs;
}

std::optional<PanelShell::Kind> PanelShell::fromName(const QString &name)
{
    for (Kind kind : {Kind::X11, Kind::XWayland, Kind::LayerShell}) {
        if (PanelShell::name(kind) == name)
            return kind;
    }
    return std::nullopt;
}
