#include "NotchShapeItem.h"

#include "SoftShadow.h"
#include "notch/NotchShape.h"

#include <QPainter>

#include <cmath>

NotchShapeItem::NotchShapeItem(QQuickItem *parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    setFillColor(Qt::transparent);
}

namespace {

template <typename T, typename Signal>
void assign(NotchShapeItem *item, T &member, const T &value, Signal changed)
{
    if (member == value)
        return;
    member = value;
    item->update();
    emit(item->*changed)();
}

} // namespace

void NotchShapeItem::setShapeRect(const QRectF &rect)
{
    assign(this, m_shapeRect, rect, &NotchShapeItem::shapeRectChanged);
}

void NotchShapeItem::setTopRadius(qreal radius)
{
    assign(this, m_topRadius, radius, &NotchShapeItem::topRadiusChanged);
}

void NotchShapeItem::setBottomRadius(qreal radius)
{
    assign(this, m_bottomRadius, radius, &NotchShapeItem::bottomRadiusChanged);
}

void NotchShapeItem::setColor(const QColor &color)
{
    assign(this, m_color, color, &NotchShapeItem::colorChanged);
}

void NotchShapeItem::setShadowColor(const QColor &color)
{
    assign(this, m_shadowColor, color, &NotchShapeItem::shadowColorChanged);
}

void NotchShapeItem::setShadowOpacity(qreal opacity)
{
    assign(this, m_shadowOpacity, opacity, &NotchShapeItem::shadowOpacityChanged);
}

void NotchShapeItem::setShadowRadius(qreal radius)
{
    assign(this, m_shadowRadius, radius, &NotchShapeItem::shadowRadiusChanged);
}

void NotchShapeItem::setShadowOffset(const QPointF &offset)
{
    assign(this, m_shadowOffset, offset, &NotchShapeItem::shadowOffsetChanged);
}

void NotchShapeItem::paint(QPainter *painter)
{
    if (m_shapeRect.isEmpty())
        return;
    // Radii larger than the shape would fold the outline over itself.
    const qreal top = std::clamp(m_topRadius, 0.0, m_shapeRect.width() / 2);
    const qreal bottom = std::clamp(m_bottomRadius, 0.0,
                                    std::min(m_shapeRect.width() / 2 - top, m_shapeRect.height()));
    const qreal scale = painter->device()->devicePixelRatioF();
    if (m_shadowOpacity > 0 && m_shadowColor.alpha() > 0)
        paintShadow(painter, m_shapeRect.translated(m_shadowOffset), scale);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillPath(NotchShape::path(m_shapeRect, top, bottom), m_color);
}

void NotchShapeItem::paintShadow(QPainter *painter, const QRectF &shape, qreal scale)
{
    // Everything below is in device pixels; the painter draws in logical ones.
    const qreal sigmaRadius = m_shadowRadius * scale;
    const int pad = SoftShadow::reach(sigmaRadius);
    const qreal top = std::clamp(m_topRadius, 0.0, shape.width() / 2);
    const qreal bottom =
        std::clamp(m_bottomRadius, 0.0, std::min(shape.width() / 2 - top, shape.height()));
    const int t = int(std::ceil(top * scale));
    const int b = int(std::ceil(bottom * scale));
    // Slices: what the corners and the blur touch stays, one row and column in between stretch.
    const int side = 2 * pad + t + b;
    const int head = 2 * pad + t;
    const int foot = 2 * pad + b;
    const QSizeF device = shape.size() * scale;

    painter->save();
    painter->setOpacity(painter->opacity() * m_shadowOpacity);
    // On whole device pixels, so that the slices meet without seams while the size animates.
    const auto snap = [scale](qreal v) { return std::round(v * scale) / scale; };
    const QRectF outer = shape.adjusted(-pad / scale, -pad / scale, pad / scale, pad / scale);
    const QRectF target(QPointF(snap(outer.left()), snap(outer.top())),
                        QPointF(snap(outer.right()), snap(outer.bottom())));

    if (device.width() + 2 * pad < 2 * side + 1 || device.height() + 2 * pad < head + foot + 1) {
        if (m_whole.image.isNull() || m_whole.top != top || m_whole.bottom != bottom ||
            m_whole.radius != m_shadowRadius || m_whole.scale != scale ||
            m_whole.color != m_shadowColor || m_whole.size != shape.size()) {
            const QRectF rect(QPointF(0, 0), device);
            m_whole = {SoftShadow::render(NotchShape::path(rect, top * scale, bottom * scale),
                                          m_shadowColor, sigmaRadius),
                       top,
                       bottom,
                       m_shadowRadius,
                       scale,
                       m_shadowColor,
                       shape.size()};
        }
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        painter->drawImage(target, m_whole.image);
        painter->restore();
        return;
    }

    if (m_template.image.isNull() || m_template.top != top || m_template.bottom != bottom ||
        m_template.radius != m_shadowRadius || m_template.scale != scale ||
        m_template.color != m_shadowColor) {
        const QRectF rect(0, 0, 2 * side + 1 - 2 * pad, head + foot + 1 - 2 * pad);
        m_template = {SoftShadow::render(NotchShape::path(rect, top * scale, bottom * scale),
                                         m_shadowColor, sigmaRadius),
                      top,
                      bottom,
                      m_shadowRadius,
                      scale,
                      m_shadowColor,
                      {}};
    }
    const QImage &image = m_template.image;
    const qreal xs[] = {0, qreal(side), qreal(side + 1), qreal(image.width())};
    const qreal ys[] = {0, qreal(head), qreal(head + 1), qreal(image.height())};
    const qreal txs[] = {target.left(), target.left() + side / scale, target.right() - side / scale,
                         target.right()};
    const qreal tys[] = {target.top(), target.top() + head / scale, target.bottom() - foot / scale,
                         target.bottom()};
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            const QRectF source(QPointF(xs[column], ys[row]), QPointF(xs[column + 1], ys[row + 1]));
            const QRectF to(QPointF(txs[column], tys[row]), QPointF(txs[column + 1], tys[row + 1]));
            if (!to.isEmpty())
                painter->drawImage(to, image, source);
        }
    }
    painter->restore();
}
