#include "IconProvider.h"

#include <QFile>
#include <QPainter>
#include <QQmlEngine>
#include <QSvgRenderer>
#include <QUrlQuery>

IconProvider::IconProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

void IconProvider::install(QQmlEngine *engine)
{
    engine->addImageProvider(providerId.toString(), new IconProvider);
}

QString IconProvider::resourcePath(QStringView name)
{
    const QString variant = name.endsWith(u"-fill")   ? u"fill"_qs
                            : name.endsWith(u"-bold") ? u"bold"_qs
                                                      : u"regular"_qs;
    const QString path = u":/icons/"_qs + variant + u'/' + name.toString() + u".svg"_qs;
    return QFile::exists(path) ? path : QString();
}

QImage IconProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    const qsizetype query = id.indexOf(u'?');
    const QString name = id.left(query);
    QColor color(Qt::black);
    if (query >= 0) {
        const QString value =
            QUrlQuery(id.mid(query + 1)).queryItemValue(u"color"_qs, QUrl::FullyDecoded);
        if (QColor::isValidColorName(value))
            color = QColor::fromString(value);
    }

    const QString path = resourcePath(name);
    if (path.isEmpty())
        return {};
    // A renderer per request: the engine may ask from its image loading thread.
    QSvgRenderer renderer(path);
    if (!renderer.isValid())
        return {};

    QSize target = requestedSize;
    if (target.width() <= 0 && target.height() <= 0)
        target = QSize(defaultSize, defaultSize);
    else if (target.width() <= 0)
        target.setWidth(target.height());
    else if (target.height() <= 0)
        target.setHeight(target.width());

    QImage image(target, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(target)));
        // The icons are one colour: keep their coverage, take the colour asked for.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), color);
    }
    if (size)
        *size = target;
    return image;
}
