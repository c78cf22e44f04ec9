#pragma once

#include <QQuickImageProvider>
#include <QUrl>

class QQmlEngine;

// Serves the picture that follows the pointer while a card is dragged: the card's text on a
// small rounded grey plate. The text travels in the URL as base64url of its UTF-8, so that no
// character of it can upset the URL.
class CardPreviewProvider : public QQuickImageProvider {
public:
    static constexpr QStringView providerId = u"cardpreview";
    // Longer texts are cut short with an ellipsis.
    static constexpr int maximumTextWidth = 220;

    CardPreviewProvider();

    [[nodiscard]] static QUrl source(const QString &text);

    // Registers a provider with `engine`, which takes ownership of it.
    static void install(QQmlEngine *engine);

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;
};
