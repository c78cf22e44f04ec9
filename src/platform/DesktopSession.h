#pragma once

#include <QString>
#include <QStringList>

// Which desktop the user runs, from the session's own variables, for the few choices that
// differ between them (where the notch fits, how to tell the desktop about a shortcut).
class DesktopSession {
public:
    DesktopSession() = delete;

    enum class Compositor { Other, Sway, River, Hyprland };

    // XDG_CURRENT_DESKTOP, split at its colons: "ubuntu:GNOME" gives both names.
    [[nodiscard]] static QStringList desktops();
    [[nodiscard]] static bool isGnome();
    [[nodiscard]] static bool isKde();
    // The desktop's own bar shows something at the top centre (GNOME's and Pantheon's clock).
    [[nodiscard]] static bool keepsTopCentre();
    // A Wayland compositor configured by a text file of its own.
    [[nodiscard]] static Compositor compositor();
};
