#include "NotchShape.h"

QPainterPath NotchShape::path(const QRectF &r, qreal t, qreal b)
{
    QPainterPath path;
    path.moveTo(r.left(), r.top());
    path.quadTo(r.left() + t, r.top(), r.left() + t, r.top() + t);
    path.lineTo(r.left() + t, r.bottom() - b);
    path.quadTo(r.left() + t, r.bottom(), r.left() + t + b, r.bottom());
    path.lineTo(r.right() - t - b, r.bottom());
    path.quadTo(r.right() - t, r.bottom(), r.right() - t, r.bottom() - b);
    path.lineTo(r.right() - t, r.top() + t);
    path.quadTo(r.right() - t, r.top(), r.right(), r.top());
    path.closeSubpath();
    return path;
}
