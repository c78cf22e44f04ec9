#pragma once

#include "notch/NotchDesktop.h"

#include <functional>

// The desktop as Qt sees it: the primary screen and the pointer. Window changes are handed to
// whoever owns the panel's windows.
class ScreenDesktop final : public NotchDesktop {
public:
    std::function<void(bool interactive, bool focus)> onPanelInteractive;
    std::function<void(bool on)> onExitWatch;

    [[nodiscard]] QPointF pointerPosition() const override;
    [[nodiscard]] bool anyMouseButtonDown() const override;
    [[nodiscard]] QRectF screenGeometry() const override;
    [[nodiscard]] QRectF availableGeometry() const override;
    void setPanelInteractive(bool interactive, bool focus) override;
    void setExitWatch(bool on) override;
};
