#include "ScreenText.h"

#include "XServer.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QStringList>
#include <QTest>

#include <cstring>

QString ScreenText::normalised(const QString &text)
{
    QString out;
    for (QChar c : text) {
        if (c.isLetterOrNumber())
            out += c.toLower();
    }
    return out;
}

std::optional<QRect> ScreenText::findPhrase(const QList<Word> &words, const QString &phrase)
{
    QStringList wanted;
    for (const QString &part : phrase.split(u' ', Qt::SkipEmptyParts))
        wanted.append(normalised(part));
    for (qsizetype first = 0; first + wanted.size() <= words.size(); ++first) {
        QRect box;
        bool matches = true;
        for (qsizetype i = 0; i < wanted.size() && matches; ++i) {
            const Word &word = words.at(first + i);
            matches = normalised(word.text) == wanted.at(i) && word.line == words.at(first).line;
            box |= word.box;
        }
        if (matches)
            return box;
    }
    return std::nullopt;
}

QString ScreenText::describe(const QList<Word> &words)
{
    QStringList lines;
    int line = -1;
    for (const Word &word : words) {
        if (word.line != line)
            lines.append(QString());
        line = word.line;
        lines.last() += (lines.last().isEmpty() ? QString() : u" "_qs) + word.text;
    }
    return u"\""_qs + lines.join(u" | "_qs) + u"\""_qs;
}

QList<Word> ScreenText::read(const XServer &x, const QRect &area)
{
    QList<Word> words = read(x.grab(area), x.scratch());
    for (Word &word : words)
        word.box.translate(area.topLeft());
    return words;
}

QList<Word> ScreenText::read(const QImage &picture, const QString &scratch)
{
    // Tesseract reads dark text on white best, larger than the panel draws it, with a margin.
    constexpr int Scale = 3;
    constexpr int Margin = 20;
    QImage image = picture.convertToFormat(QImage::Format_Grayscale8);
    image.invertPixels();
    image = image.scaled(image.size() * Scale, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QImage page(image.size() + QSize(2 * Margin, 2 * Margin), QImage::Format_Grayscale8);
    page.fill(Qt::white);
    for (int y = 0; y < image.height(); ++y) {
        std::memcpy(page.scanLine(y + Margin) + Margin, image.constScanLine(y),
                    size_t(image.width()));
    }
    const QString path = QDir(scratch).filePath(u"words.png"_qs);
    page.save(path);
    QProcess tesseract;
    tesseract.start(u"tesseract"_qs,
                    {path, u"-"_qs, u"--psm"_qs, u"11"_qs, u"-l"_qs, u"eng"_qs, u"tsv"_qs});
    QList<Word> words;
    if (!tesseract.waitForFinished(20000))
        return words;
    // level page block paragraph line word left top width height confidence text
    const QList<QByteArray> rows = tesseract.readAllStandardOutput().split('\n');
    for (const QByteArray &row : rows) {
        const QList<QByteArray> fields = row.split('\t');
        if (fields.size() < 12 || fields.at(0) != "5")
            continue;
        const QString text = QString::fromUtf8(fields.at(11)).trimmed();
        if (text.isEmpty())
            continue;
        const QRect box(
            (fields.at(6).toInt() - Margin) / Scale, (fields.at(7).toInt() - Margin) / Scale,
            qMax(1, fields.at(8).toInt() / Scale), qMax(1, fields.at(9).toInt() / Scale));
        // Block, paragraph and line together name a line of text.
        const int line =
            fields.at(2).toInt() * 10000 + fields.at(3).toInt() * 100 + fields.at(4).toInt();
        words.append(Word{text, box, line});
    }
    return words;
}

bool ScreenText::settle(const XServer &x, const QRect &area, int timeoutMs)
{
    QImage previous = x.grab(area);
    int quiet = 0;
    return waitFor(
        [&] {
            QTest::qWait(60);
            const QImage current = x.grab(area);
            int changed = 0;
            for (int y = 0; y < current.height() && changed <= 40; ++y) {
                const auto *a = reinterpret_cast<const QRgb *>(current.constScanLine(y));
                const auto *b = reinterpret_cast<const QRgb *>(previous.constScanLine(y));
                for (int column = 0; column < current.width(); ++column)
                    changed += a[column] != b[column] ? 1 : 0;
            }
            previous = current;
            quiet = changed <= 40 ? quiet + 1 : 0;
            return quiet >= 3;
        },
        timeoutMs);
}
