#pragma once

#include <QColor>
#include <QImage>
#include <QPainterPath>

// Blurred silhouettes for shadows and glows. Qt Quick 6.4 has no blur that also works in the
// software scene graph, so items paint these images themselves.
class SoftShadow {
public:
    SoftShadow() = delete;

    // How far a blur of `radius` reaches beyond the shape, in the same units: three standard
    // deviations of the Gaussian, whose deviation is half the radius.
    [[nodiscard]] static int reach(qreal radius);

    // `path` filled in `color` and blurred by `radius`, in an image `reach(radius)` larger on
    // every side than the path's bounds, whose top-left corner lies at
    // path.boundingRect().topLeft() − (reach, reach). Both are in the image's pixels.
    [[nodiscard]] static QImage render(const QPainterPath &path, const QColor &color, qreal radius);

    // A Gaussian blur of the alpha channel with standard deviation `sigma`, as three box blurs.
    static void blurAlpha(QImage &alpha8, qreal sigma);
};
