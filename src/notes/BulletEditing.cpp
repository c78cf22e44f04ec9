#include "BulletEditing.h"

#include <algorithm>

namespace {

bool isBlank(QChar c)
{
    return c == u' ' || c == u'\t';
}

// Where the line holding `position` begins.
int lineStart(const QString &text, int position)
{
    const int previousBreak = position > 0 ? int(text.lastIndexOf(u'\n', position - 1)) : -1;
    return previousBreak + 1;
}

// Just past the line feed that ends the line holding `position`, or the end of the text.
int lineEnd(const QString &text, int position)
{
    const int nextBreak = int(text.indexOf(u'\n', position));
    return nextBreak < 0 ? int(text.size()) : nextBreak + 1;
}

} // namespace

std::optional<BulletEditing::Edit> BulletEditing::typedBullet(const QString &text,
                                                              int selectionStart, int selectionEnd)
{
    if (selectionStart != selectionEnd || selectionEnd < 2 || selectionEnd > text.size())
        return std::nullopt;
    const int caret = selectionEnd;
    const int start = lineStart(text, caret);
    // The whole of the line before the caret: indentation, a marker, one space.
    if (text[caret - 1] != u' ' || (text[caret - 2] != u'-' && text[caret - 2] != u'*'))
        return std::nullopt;
    for (int i = start; i < caret - 2; ++i) {
        if (!isBlank(text[i]))
            return std::nullopt;
    }
    return Edit{caret - 2, 1, QString(bullet)};
}

std::optional<BulletEditing::BulletLine>
BulletEditing::bulletLine(const QString &text, int selectionStart, int selectionEnd)
{
    const int from = std::clamp(std::min(selectionStart, selectionEnd), 0, int(text.size()));
    const int to = std::clamp(std::max(selectionStart, selectionEnd), 0, int(text.size()));
    // The lines of the characters selected; for a caret, the caret's line.
    const int start = lineStart(text, from);
    const int end = lineEnd(text, to > from ? to - 1 : to);
    QString line = text.mid(start, end - start);
    if (line.endsWith(u'\n'))
        line.chop(1);

    int i = 0;
    while (i < line.size() && isBlank(line[i]))
        ++i;
    if (i + 1 >= line.size() || line[i] != bullet || line[i + 1] != u' ')
        return std::nullopt;
    return BulletLine{start, end - start, line.left(i), line.mid(i + 2)};
}

BulletEditing::Outcome BulletEditing::handle(const QString &text, int selectionStart,
                                             int selectionEnd, Command command)
{
    const std::optional<BulletLine> line = bulletLine(text, selectionStart, selectionEnd);
    if (!line)
        return {};
    const int from = std::min(selectionStart, selectionEnd);
    const int to = std::max(selectionStart, selectionEnd);
    const bool caret = from == to;
    const int indent = int(line->indent.size());
    const int rest = int(line->rest.size());

    switch (command) {
    case Command::Newline:
        if (caret && std::all_of(line->rest.cbegin(), line->rest.cend(), isBlank))
            return {true, Edit{line->start, indent + 2 + rest, QString()}};
        return {true, Edit{from, to - from, u'\n' + line->indent + bullet + u' '}};
    case Command::Tab:
        return {true, Edit{line->start, 0, u"  "_qs}};
    case Command::Backtab:
        if (indent == 0)
            return {true, std::nullopt};
        return {true, Edit{line->start, std::min(indent, 2), QString()}};
    case Command::DeleteBackward:
        if (caret && from == line->start + indent + 2)
            return {true, Edit{line->start + indent, 2, QString()}};
        return {};
    }
    return {};
}

QString BulletEditing::apply(const QString &text, const Edit &edit)
{
    QString result = text;
    result.replace(edit.start, edit.length, edit.text);
    return result;
}
