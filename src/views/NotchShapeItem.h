#pragma once

#include <QColor>
#include <QImage>
#include <QPointF>
#include <QQuickPaintedItem>
#include <QRectF>
#include <QtQml/qqml.h>

// The panel's black shape with its drop shadow, painted so that it looks the same in the OpenGL
// and the software scene graph. The item spans the area the shadow may reach; the shape itself
// is `shapeRect` inside it.
class NotchShapeItem : public QQuickPaintedItem {
    Q_OBJECT
    QML_NAMED_ELEMENT(NotchShape)
    Q_PROPERTY(QRectF shapeRect READ shapeRect WRITE setShapeRect NOTIFY shapeRectChanged)
    Q_PROPERTY(qreal topRadius READ topRadius WRITE setTopRadius NOTIFY topRadiusChanged)
    Q_PROPERTY(
        qreal bottomRadius READ bottomRadius WRITE setBottomRadius NOTIFY bottomRadiusChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    Q_PROPERTY(QColor shadowColor READ shadowColor WRITE setShadowColor NOTIFY shadowColorChanged)
    Q_PROPERTY(
        qreal shadowOpacity READ shadowOpacity WRITE setShadowOpacity NOTIFY shadowOpacityChanged)
    Q_PROPERTY(
        qreal shadowRadius READ shadowRadius WRITE setShadowRadius NOTIFY shadowRadiusChanged)
    Q_PROPERTY(
        QPointF shadowOffset READ shadowOffset WRITE setShadowOffset NOTIFY shadowOffsetChanged)

public:
    explicit NotchShapeItem(QQuickItem *parent = nullptr);

    [[nodiscard]] QRectF shapeRect() const { return m_shapeRect; }
    void setShapeRect(const QRectF &rect);
    [[nodiscard]] qreal topRadius() const { return m_topRadius; }
    void setTopRadius(qreal radius);
    [[nodiscard]] qreal bottomRadius() const { return m_bottomRadius; }
    void setBottomRadius(qreal radius);
    [[nodiscard]] QColor color() const { return m_color; }
    void setColor(const QColor &color);
    [[nodiscard]] QColor shadowColor() const { return m_shadowColor; }
    void setShadowColor(const QColor &color);
    [[nodiscard]] qreal shadowOpacity() const { return m_shadowOpacity; }
    void setShadowOpacity(qreal opacity);
    [[nodiscard]] qreal shadowRadius() const { return m_shadowRadius; }
    void setShadowRadius(qreal radius);
    [[nodiscard]] QPointF shadowOffset() const { return m_shadowOffset; }
    void setShadowOffset(const QPointF &offset);

    void paint(QPainter *painter) override;

signals:
    void shapeRectChanged();
    void topRadiusChanged();
    void bottomRadiusChanged();
    void colorChanged();
    void shadowColorChanged();
    void shadowOpacityChanged();
    void shadowRadiusChanged();
    void shadowOffsetChanged();

private:
    void paintShadow(QPainter *painter, const QRectF &shape, qreal scale);

    QRectF m_shapeRect;
    qreal m_topRadius = 0;
    qreal m_bottomRadius = 0;
    QColor m_color = Qt::black;
    QColor m_shadowColor = Qt::black;
    qreal m_shadowOpacity = 0;
    qreal m_shadowRadius = 0;
    QPointF m_shadowOffset;

    // The shadow changes size on every frame of the open and close springs, but its corners
    // only with the radii: it is drawn from one blurred template in nine slices, the middle ones
    // stretched. Shapes too small for the slices get a blur of their own.
    struct Cached {
        QImage image;
        qreal top = -1;
        qreal bottom = -1;
        qreal radius = -1;
        qreal scale = 0;
        QColor color;
        QSizeF size; // only for a blur of the whole shape
    };
    Cached m_template;
    Cached m_whole;
};
