#pragma once

#include <QColor>
#include <QImage>
#include <QQuickPaintedItem>
#include <QtQml/qqml.h>

// A filled circle with a soft glow of its own colour around it, centred in the item.
class GlowDot : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    Q_PROPERTY(qreal diameter READ diameter WRITE setDiameter NOTIFY diameterChanged)
    Q_PROPERTY(qreal glowRadius READ glowRadius WRITE setGlowRadius NOTIFY glowRadiusChanged)
    Q_PROPERTY(qreal glowOpacity READ glowOpacity WRITE setGlowOpacity NOTIFY glowOpacityChanged)

public:
    explicit GlowDot(QQuickItem *parent = nullptr);

    [[nodiscard]] QColor color() const { return m_color; }
    void setColor(const QColor &color);
    [[nodiscard]] qreal diameter() const { return m_diameter; }
    void setDiameter(qreal diameter);
    [[nodiscard]] qreal glowRadius() const { return m_glowRadius; }
    void setGlowRadius(qreal radius);
    [[nodiscard]] qreal glowOpacity() const { return m_glowOpacity; }
    void setGlowOpacity(qreal opacity);

    void paint(QPainter *painter) override;

signals:
    void colorChanged();
    void diameterChanged();
    void glowRadiusChanged();
    void glowOpacityChanged();

private:
    void updateImplicitSize();

    QColor m_color = Qt::white;
    qreal m_diameter = 7;
    qreal m_glowRadius = 0;
    qreal m_glowOpacity = 1;
    QImage m_glow;
    QColor m_glowColor;
    qreal m_glowScale = 0;
};
