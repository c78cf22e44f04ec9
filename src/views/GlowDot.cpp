#include "GlowDot.h"

#include "SoftShadow.h"

#include <QPainter>
#include <QPainterPath>

GlowDot::GlowDot(QQuickItem *parent) : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    setFillColor(Qt::transparent);
    updateImplicitSize();
}

void GlowDot::setColor(const QColor &color)
{
    if (m_color == color)
        return;
    m_color = color;
    m_glow = {};
    update();
    emit colorChanged();
}

void GlowDot::setDiameter(qreal diameter)
{
    if (m_diameter == diameter)
        return;
    m_diameter = diameter;
    m_glow = {};
    updateImplicitSize();
    update();
    emit diameterChanged();
}

void GlowDot::setGlowRadius(qreal radius)
{
    if (m_glowRadius == radius)
        return;
    m_glowRadius = radius;
    m_glow = {};
    updateImplicitSize();
    update();
    emit glowRadiusChanged();
}

void GlowDot::setGlowOpacity(qreal opacity)
{
    if (m_glowOpacity == opacity)
        return;
    m_glowOpacity = opacity;
    update();
    emit glowOpacityChanged();
}

void GlowDot::updateImplicitSize()
{
    // Room for the glow on every side.
    const qreal side = m_diameter + 2 * SoftShadow::reach(m_glowRadius);
    setImplicitSize(side, side);
}

void GlowDot::paint(QPainter *painter)
{
    const QPointF centre(width() / 2, height() / 2);
    const QRectF dot(centre.x() - m_diameter / 2, centre.y() - m_diameter / 2, m_diameter,
                     m_diameter);
    const qreal scale = painter->device()->devicePixelRatioF();
    if (m_glowRadius > 0 && m_glowOpacity > 0) {
        if (m_glow.isNull() || m_glowScale != scale || m_glowColor != m_color) {
            QPainterPath circle;
            circle.addEllipse(QRectF(0, 0, m_diameter * scale, m_diameter * scale));
            m_glow = SoftShadow::render(circle, m_color, m_glowRadius * scale);
            m_glowScale = scale;
            m_glowColor = m_color;
        }
        const qreal reach = SoftShadow::reach(m_glowRadius * scale) / scale;
        painter->save();
        painter->setOpacity(painter->opacity() * m_glowOpacity);
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        painter->drawImage(dot.adjusted(-reach, -reach, reach, reach), m_glow);
        painter->restore();
    }
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(m_color);
    painter->drawEllipse(dot);
}
