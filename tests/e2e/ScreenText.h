#pragma once

#include <QImage>
#include <QList>
#include <QRect>
#include <QString>

#include <optional>

class XServer;

// One word tesseract read on the screen.
struct Word {
    QString text;
    QRect box; // in root coordinates, or the picture's
    int line = 0;
};

// Reading the panel's light text on a private X server with tesseract, and waiting for the screen
// to hold still first.
class ScreenText {
public:
    ScreenText() = delete;

    // Letters and digits only, in lower case: what is left to compare of a word tesseract read.
    [[nodiscard]] static QString normalised(const QString &text);
    // A run of words on one line that reads `phrase`; its box, or nothing.
    [[nodiscard]] static std::optional<QRect> findPhrase(const QList<Word> &words,
                                                         const QString &phrase);
    // The words as read, line by line, for a failure message.
    [[nodiscard]] static QString describe(const QList<Word> &words);

    // What tesseract reads in an area of light text on a dark panel: each word with its box.
    [[nodiscard]] static QList<Word> read(const XServer &x, const QRect &area);
    // The same in a picture, with boxes in its coordinates; `scratch` is a folder to work in.
    [[nodiscard]] static QList<Word> read(const QImage &picture, const QString &scratch);
    // Waits until an area stops changing, save for a blinking text cursor.
    static bool settle(const XServer &x, const QRect &area, int timeoutMs = 3000);
};
