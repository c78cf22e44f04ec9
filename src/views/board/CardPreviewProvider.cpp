#include "CardPreviewProvider.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QQmlEngine>

CardPreviewProvider::CardPreviewProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

void CardPreviewProvider::install(QQmlEngine *engine)
{
    engine->addImageProvider(providerId.toString(), new CardPreviewProvider);
}

QUrl CardPreviewProvider::source(const QString &text)
{
    return QUrl(u"image://"_qs + providerId.toString() + u'/' +
                QString::fromLatin1(text.toUtf8().toBase64(QByteArray::Base64UrlEncoding |
                                                           QByteArray::OmitTrailingEquals)));
}

QImage CardPreviewProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    Q_UNUSED(requestedSize);
    QFont font = QGuiApplication::font();
    font.setPixelSize(12);
    const QFontMetricsF metrics(font);
    const QString decoded = QString::fromUtf8(QByteArray::fromBase64(
        id.toLatin1(), QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
    const QString text = metrics.elidedText(decoded.simplified(), Qt::ElideRight, maximumTextWidth);
    const QSizeF textSize(metrics.horizontalAdvance(text), metrics.height());
    const QSize plate = QSizeF(textSize.width() + 20, textSize.height() + 14).toSize();

    QImage image(plate, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath shape;
    shape.addRoundedRect(QRectF(QPointF(0, 0), QSizeF(plate)), 10, 10);
    painter.fillPath(shape, QColor::fromRgbF(0.18f, 0.18f, 0.18f));
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRectF(10, 7, textSize.width(), textSize.height()),
                     Qt::AlignLeft | Qt::AlignVCenter, text);
    painter.end();
    if (size)
        *size = plate;
    return image;
}
