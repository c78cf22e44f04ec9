#pragma once

#include <QPainterPath>
#include <QRectF>

// The panel's outline: the full width along the screen's top edge, flaring outward into it with
// the top radius, and a body inset by that radius whose lower corners round with the bottom
// radius, like the real notch meeting the bezel.
class NotchShape {
public:
    NotchShape() = delete;

    [[nodiscard]] static QPainterPath path(const QRectF &rect, qreal topRadius, qreal bottomRadius);

    static constexpr qreal openTopRadius = 14;
    static constexpr qreal openBottomRadius = 30;
    static constexpr qreal closedTopRadius = 6;
    static constexpr qreal closedBottomRadius = 12;
};
