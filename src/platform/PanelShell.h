#pragma once

#include <QString>

#include <optional>

// How the panel's windows reach the screen, chosen once before the application object exists,
// from what the session offers rather than from what it calls itself:
// - LayerShell: a Wayland compositor with wlr layer-shell (KWin, sway and other wlroots
//   compositors); the windows are native layer surfaces.
// - XWayland: a Wayland compositor without it (GNOME's mutter); the X11 windows run through
//   XWayland, which sees neither the pointer nor clicks over native windows.
// - X11: an X server, or any other platform the user asked Qt for.
// TALLOWFERN_SHELL=layer-shell|xwayland|x11 overrides the choice.
class PanelShell {
public:
    enum class Kind { X11, XWayland, LayerShell };

    PanelShell() = delete;

    // Looks at the session, sets the Qt platform (and what it needs) in the environment and
    // remembers the choice. Call before QGuiApplication is built.
    static Kind choose();
    // What choose() decided; X11 when it was never called (tests, tools).
    [[nodiscard]] static Kind current();
    // For tests: pretend choose() decided this.
    static void setCurrent(Kind kind);

    [[nodiscard]] static QString name(Kind kind);
    [[nodiscard]] static std::optional<Kind> fromName(const QString &name);

    // What a Wayland display offers; nullopt when none answers.
    struct WaylandProbe {
        bool layerShell = false;
    };
    [[nodiscard]] static std::optional<WaylandProbe> probeWayland();
    // The decision itself, on plain facts, so that it can be tested without a compositor.
    struct Session {
        QString forced;      // TALLOWFERN_SHELL
        QString qpaPlatform; // QT_QPA_PLATFORM as the user set it
        std::optional<WaylandProbe> wayland;
    };
    [[nodiscard]] static Kind decide(const Session &session);
};
