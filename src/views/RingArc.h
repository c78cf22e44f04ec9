#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqml.h>

// A circle stroked in `trackColor` and, over it, the part from the top clockwise to `fraction`
// of the way round stroked in `color` with round caps; the ring fills the item.
class RingArc : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(qreal fraction READ fraction WRITE setFraction NOTIFY fractionChanged)
    Q_PROPERTY(qreal lineWidth READ lineWidth WRITE setLineWidth NOTIFY lineWidthChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    Q_PROPERTY(QColor trackColor READ trackColor WRITE setTrackColor NOTIFY trackColorChanged)

public:
    explicit RingArc(QQuickItem *parent = nullptr);

    [[nodiscard]] qreal fraction() const { return m_fraction; }
    void setFraction(qreal fraction);
    [[nodiscard]] qreal lineWidth() const { return m_lineWidth; }
    void setLineWidth(qreal width);
    [[nodiscard]] QColor color() const { return m_color; }
    void setColor(const QColor &color);
    [[nodiscard]] QColor trackColor() const { return m_trackColor; }
    void setTrackColor(const QColor &color);

    void paint(QPainter *painter) override;

signals:
    void fractionChanged();
    void lineWidthChanged();
    void colorChanged();
    void trackColorChanged();

private:
    qreal m_fraction = 0;
    qreal m_lineWidth = 2.5;
    QColor m_color = Qt::white;
    QColor m_trackColor = Qt::gray;
};
