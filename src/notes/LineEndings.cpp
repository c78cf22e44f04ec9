#include "LineEndings.h"

#include <QList>

#include <algorithm>
#include <array>

namespace {

struct Line {
    QStringView content;
    QStringView lineBreak; // empty for a last line without one
};

bool isBreak(QChar c)
{
    return c == u'\n' || c == u'\r' || c == QChar::ParagraphSeparator;
}

QList<Line> linesOf(QStringView text)
{
    QList<Line> lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!isBreak(text[i]))
            continue;
        const qsizetype length =
            text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n' ? 2 : 1;
        lines.append({text.sliced(start, i - start), text.sliced(i, length)});
        i += length - 1;
        start = i + 1;
    }
    if (start < text.size())
        lines.append({text.sliced(start), {}});
    return lines;
}

// The break used most; the first of those used equally often.
QStringView mostUsedBreak(const QList<Line> &lines)
{
    constexpr std::array<QStringView, 4> kinds{u"\n", u"\r\n", u"\r", u"\u2029"};
    std::array<int, kinds.size()> counts{};
    std::array<qsizetype, kinds.size()> first{};
    first.fill(lines.size());
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const auto kind = std::find(kinds.begin(), kinds.end(), lines[i].lineBreak);
        if (kind == kinds.end())
            continue;
        const auto k = size_t(kind - kinds.begin());
        ++counts[k];
        first[k] = std::min(first[k], i);
    }
    size_t best = 0;
    for (size_t k = 1; k < kinds.size(); ++k) {
        if (counts[k] > counts[best] || (counts[k] == counts[best] && first[k] < first[best]))
            best = k;
    }
    return kinds[best];
}

} // namespace

QString LineEndings::unified(const QString &text)
{
    if (!text.contains(u'\r') && !text.contains(QChar::ParagraphSeparator))
        return text;
    QString result;
    result.reserve(text.size());
    for (const Line &line : linesOf(text)) {
        result += line.content;
        if (!line.lineBreak.isEmpty())
            result += u'\n';
    }
    return result;
}

QString LineEndings::restore(const QString &text, const QString &original)
{
    if (!original.contains(u'\r') && !original.contains(QChar::ParagraphSeparator))
        return text;
    const QList<Line> before = linesOf(original);
    const QList<Line> after = linesOf(text);
    const QStringView usual = mostUsedBreak(before);

    QList<QStringView> breaks(after.size(), usual);
    qsizetype head = 0;
    while (head < after.size() && head < before.size() &&
           after[head].content == before[head].content) {
        ++head;
    }
    qsizetype tail = 0;
    while (tail < after.size() - head && tail < before.size() - head &&
           after[after.size() - 1 - tail].content == before[before.size() - 1 - tail].content) {
        ++tail;
    }
    const auto keep = [&](qsizetype at, qsizetype from) {
        if (!before[from].lineBreak.isEmpty())
            breaks[at] = before[from].lineBreak;
    };
    for (qsizetype i = 0; i < head; ++i)
        keep(i, i);
    for (qsizetype i = 0; i < tail; ++i)
        keep(after.size() - 1 - i, before.size() - 1 - i);

    QString result;
    result.reserve(text.size() + after.size());
    for (qsizetype i = 0; i < after.size(); ++i) {
        result += after[i].content;
        if (!after[i].lineBreak.isEmpty())
            result += breaks[i];
    }
    return result;
}
