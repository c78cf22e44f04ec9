#pragma once

#include "notch/NotchDesktop.h"

// The desktop as Qt sees it: the primary screen and the pointer. It has no panel windows of its
// own, so window requests change nothing here.
class ScreenDesktop final : public NotchDesktop {
public:
    [[nodiscard]] QPointF pointerPosition() const override;
    [[nodiscard]] bool anyMouseButtonDown() const override;
    [[nodiscard]] QRectF screenGeometry() const override;
    [[nodiscard]] QRectF availableGeometry() const override;
    void setPanelInteractive(bool interactive, bool focus) override;
    void setExitWatch(bool on) override;
};
