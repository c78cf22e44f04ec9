#pragma once

#include <QPointF>
#include <QRectF>

#include <optional>

// What the panel's behaviour needs from the desktop: where the pointer is, the notch screen, and
// the few things it asks of the windows. The controller implements it; tests fake it.
class NotchDesktop {
public:
    virtual ~NotchDesktop() = default;

    // Where the pointer is; nullopt when the desktop only says that it is not over our windows
    // (Wayland tells a program nothing about the pointer elsewhere).
    [[nodiscard]] virtual std::optional<QPointF> pointerPosition() const = 0;
    [[nodiscard]] virtual bool anyMouseButtonDown() const = 0;
    // The notch screen's whole area and the part left by the desktop's panels.
    [[nodiscard]] virtual QRectF screenGeometry() const = 0;
    [[nodiscard]] virtual QRectF availableGeometry() const = 0;

    // Open: the content window takes clicks (and the keyboard when `focus`). Closed: clicks pass
    // through everything but the sensor, and the keyboard goes back.
    virtual void setPanelInteractive(bool interactive, bool focus) = 0;
    // Global pointer motion is only needed while waiting for the pointer to leave the notch.
    virtual void setExitWatch(bool on) = 0;
};
