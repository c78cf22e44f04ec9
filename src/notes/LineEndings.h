#pragma once

#include <QString>

// Line breaks as a note has them. The editor knows only "\n"; a note written elsewhere may break
// its lines with "\r\n", "\r" or U+2029, and keeps them when it is saved again.
class LineEndings {
public:
    LineEndings() = delete;

    // Every line break of `text` as "\n".
    [[nodiscard]] static QString unified(const QString &text);
    // `text`, whose lines break with "\n", with the breaks of `original` given back: a line that
    // is the same in both keeps the break it had (lines are matched from the start and from the
    // end), any other line gets the break `original` uses most. `text` comes back as it is when
    // `original` breaks its lines with "\n" only.
    [[nodiscard]] static QString restore(const QString &text, const QString &original);
};
