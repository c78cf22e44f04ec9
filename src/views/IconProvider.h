#pragma once

#include <QQuickImageProvider>

class QQmlEngine;

// Serves the panel's icons as image://icon/<name>?color=<colour>: the named SVG of the icon set
// compiled into the resources, rendered at the requested size and recoloured. Names ending in
// "-fill" are filled variants, "-bold" heavy ones, the rest regular ones.
class IconProvider : public QQuickImageProvider {
public:
    static constexpr QStringView providerId = u"icon";

    IconProvider();

    // Registers a provider with `engine`, which takes ownership of it.
    static void install(QQmlEngine *engine);

    // The resource path of the icon `name`, or an empty string when the set has no such icon.
    [[nodiscard]] static QString resourcePath(QStringView name);

    // `id` is "<name>" or "<name>?color=<colour>"; without a colour the icon is black. An unknown
    // name gives a null image.
    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;

    // Icons are square; without a requested size they come out at this many pixels.
    static constexpr int defaultSize = 16;
};
