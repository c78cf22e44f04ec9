#include "RingArc.h"

#include <QPainter>

#include <cmath>

RingArc::RingArc(QQuickItem *parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    setFillColor(Qt::transparent);
}

void RingArc::setFraction(qreal fraction)
{
    if (m_fraction == fraction)
        return;
    m_fraction = fraction;
    update();
    emit fractionChanged();
}

void RingArc::setLineWidth(qreal width)
{
    if (m_lineWidth == width)
        return;
    m_lineWidth = width;
    update();
    emit lineWidthChanged();
}

void RingArc::setColor(const QColor &color)
{
    if (m_color == color)
        return;
    m_color = color;
    update();
    emit colorChanged();
}

void RingArc::setTrackColor(const QColor &color)
{
    if (m_trackColor == color)
        return;
    m_trackColor = color;
    update();
    emit trackColorChanged();
}

void RingArc::paint(QPainter *painter)
{
    const qreal side = std::min(width(), height());
    const QRectF circle(width() / 2 - side / 2 + m_lineWidth / 2,
                        height() / 2 - side / 2 + m_lineWidth / 2, side - m_lineWidth,
                        side - m_lineWidth);
    if (circle.isEmpty())
        return;
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(m_trackColor, m_lineWidth));
    painter->drawEllipse(circle);
    // A spring may carry the fraction a little past either end.
    const qreal fraction = std::clamp(m_fraction, 0.0, 1.0);
    if (fraction <= 0)
        return;
    painter->setPen(QPen(m_color, m_lineWidth, Qt::SolidLine, Qt::RoundCap));
    // Angles in sixteenths of a degree, counter-clockwise from three o'clock.
    const int span = -int(std::lround(fraction * 360 * 16));
    painter->drawArc(circle, 90 * 16, span);
}
