#include "CardMarkup.h"

#include "notch/Theme.h"

#include <QColor>

#include <algorithm>
#include <limits>

namespace {

constexpr int maxDepth = 4;

QString colour(const QColor &c)
{
    return c.name(QColor::HexRgb);
}

bool isWordChar(QChar c)
{
    return c.isLetterOrNumber() || c == u'_';
}

// Where a link, tag or date may begin: at the start, after a space or an opening bracket.
bool atWordStart(QStringView s, qsizetype i)
{
    if (i == 0)
        return true;
    const QChar before = s[i - 1];
    return before.isSpace() || QStringView(u"([{<\"'").contains(before);
}

bool startsWithAt(QStringView s, qsizetype i, QStringView what)
{
    return s.mid(i).startsWith(what, Qt::CaseInsensitive);
}

bool isDigits(QStringView s)
{
    return !s.isEmpty() && std::all_of(s.begin(), s.end(), [](QChar c) { return c.isDigit(); });
}

// YYYY-MM-DD at `i`, not inside a longer run of digits or letters.
bool isIsoDateAt(QStringView s, qsizetype i)
{
    if (i + 10 > s.size() || !atWordStart(s, i))
        return false;
    const QStringView d = s.mid(i, 10);
    if (!isDigits(d.mid(0, 4)) || d[4] != u'-' || !isDigits(d.mid(5, 2)) || d[7] != u'-' ||
        !isDigits(d.mid(8, 2)))
        return false;
    return i + 10 == s.size() || !isWordChar(s[i + 10]);
}

QString link(const QString &href, const QString &shown)
{
    return u"<a href=\""_qs + href.toHtmlEscaped() + u"\" style=\"color:"_qs +
           colour(Theme::accent) + u"\">"_qs + shown + u"</a>"_qs;
}

QString noteHref(QStringView note)
{
    return CardMarkup::noteScheme.toString() + u':' +
           QString::fromLatin1(QUrl::toPercentEncoding(note.toString(), "/"));
}

QString styled(const QColor &c, const QString &inner)
{
    return u"<span style=\"color:"_qs + colour(c) + u"\">"_qs + inner + u"</span>"_qs;
}

// A relative link to a file of the vault that Obsidian shows itself; never a program.
bool climbsOut(QStringView path)
{
    const auto parts = path.split(u'/');
    return std::any_of(parts.begin(), parts.end(), [](QStringView p) { return p == u".."; });
}

bool isVaultFile(QStringView path)
{
    if (path.isEmpty() || path.startsWith(u'/') || path.startsWith(u'\\') ||
        path.startsWith(u'~') || climbsOut(path) || path.contains(u':'))
        return false;
    const qsizetype slash = path.lastIndexOf(u'/');
    const QStringView name = path.mid(slash + 1);
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot <= 0)
        return true;
    static const QStringList shown{u"md"_qs,   u"canvas"_qs, u"pdf"_qs,  u"png"_qs, u"jpg"_qs,
                                   u"jpeg"_qs, u"gif"_qs,    u"webp"_qs, u"svg"_qs};
    return shown.contains(name.mid(dot + 1).toString().toLower());
}

class InlineParser {
public:
    // Rich text for `s`; `marked` tells whether anything was more than plain text.
    QString parse(QStringView s, int depth = 0)
    {
        QString out;
        qsizetype i = 0;
        const qsizetype n = s.size();
        while (i < n) {
            const QChar c = s[i];
            if (const qsizetype used = special(s, i, depth, out); used > 0) {
                marked = true;
                i += used;
                continue;
            }
            out += QStringView(&c, 1).toString().toHtmlEscaped();
            ++i;
        }
        return out;
    }

    bool marked = false;

private:
    // Appends the markup that starts at `i` and says how many characters it took; 0 for none.
    qsizetype special(QStringView s, qsizetype i, int depth, QString &out)
    {
        const QChar c = s[i];
        const QStringView rest = s.mid(i);
        if (c == u'`') {
            const qsizetype end = s.indexOf(u'`', i + 1);
            if (end > i + 1) {
                out += u"<code style=\"color:"_qs + colour(Theme::lane(LaneKind::Todo)) +
                       u"\">"_qs + s.mid(i + 1, end - i - 1).toString().toHtmlEscaped() +
                       u"</code>"_qs;
                return end + 1 - i;
            }
            return 0;
        }
        if (rest.startsWith(u"<br>", Qt::CaseInsensitive) ||
            rest.startsWith(u"<br/>", Qt::CaseInsensitive)) {
            out += u"<br>"_qs;
            return rest.startsWith(u"<br>", Qt::CaseInsensitive) ? 4 : 5;
        }
        if (rest.startsWith(u"[[") || rest.startsWith(u"![[")) {
            const qsizetype open = i + (c == u'!' ? 3 : 2);
            const qsizetype end = s.indexOf(u"]]", open);
            if (end > open)
                return wikiLink(s.mid(open, end - open), out) ? end + 2 - i : 0;
            return 0;
        }
        if (c == u'[')
            return markdownLink(s, i, out);
        if ((c == u'h' || c == u'H') && atWordStart(s, i) &&
            (startsWithAt(s, i, u"https://") || startsWithAt(s, i, u"http://")))
            return bareUrl(s, i, out);
        if (c == u'#' && atWordStart(s, i))
            return tag(s, i, out);
        if (c == u'@' && rest.startsWith(u"@{")) {
            const qsizetype end = s.indexOf(u'}', i + 2);
            if (end > i + 2 && isIsoDateAt(s.mid(i + 2, end - i - 2), 0) && end == i + 12) {
                out += styled(Theme::lane(LaneKind::Doing), s.mid(i + 2, 10).toString());
                return end + 1 - i;
            }
            return 0;
        }
        if (c.isDigit() && isIsoDateAt(s, i)) {
            out += styled(Theme::lane(LaneKind::Doing), s.mid(i, 10).toString());
            return 10;
        }
        if (depth >= maxDepth)
            return 0;
        if (rest.startsWith(u"**") || rest.startsWith(u"__"))
            return emphasis(s, i, rest.first(2), u"b", depth, out);
        if (rest.startsWith(u"~~"))
            return emphasis(s, i, rest.first(2), u"s", depth, out);
        if (c == u'*' || c == u'_')
            return emphasis(s, i, rest.first(1), u"i", depth, out);
        return 0;
    }

    // `mark`inner`mark`: the inner text begins and ends with something other than a space; an
    // underscore counts only outside words, as in snake_case.
    qsizetype emphasis(QStringView s, qsizetype i, QStringView mark, QStringView element, int depth,
                       QString &out)
    {
        const qsizetype open = i + mark.size();
        if (open >= s.size() || s[open].isSpace() || s[open] == mark[0])
            return 0;
        const bool underscore = mark[0] == u'_';
        if (underscore && i > 0 && isWordChar(s[i - 1]))
            return 0;
        for (qsizetype end = s.indexOf(mark, open + 1); end > open;
             end = s.indexOf(mark, end + 1)) {
            if (s[end - 1].isSpace())
                continue;
            const qsizetype after = end + mark.size();
            // A single mark next to another belongs to a double one.
            if (mark.size() == 1 &&
                ((after < s.size() && s[after] == mark[0]) || s[end - 1] == mark[0]))
                continue;
            if (underscore && after < s.size() && isWordChar(s[after]))
                continue;
            const QString inner = parse(s.mid(open, end - open), depth + 1);
            out += u'<' + element.toString() + u'>' + inner + u"</"_qs + element.toString() + u'>';
            return after - i;
        }
        return 0;
    }

    // [[target#heading|shown]]: the note's name opens through Obsidian.
    static bool wikiLink(QStringView inner, QString &out)
    {
        const qsizetype bar = inner.indexOf(u'|');
        const QStringView target = bar >= 0 ? inner.first(bar) : inner;
        const QStringView shown = bar >= 0 ? inner.mid(bar + 1) : inner;
        qsizetype cut = target.size();
        for (QChar stop : {QChar(u'#'), QChar(u'^')}) {
            if (const qsizetype at = target.indexOf(stop); at >= 0)
                cut = std::min(cut, at);
        }
        const QStringView note = target.first(cut).trimmed();
        if (note.isEmpty() || shown.trimmed().isEmpty())
            return false;
        out += link(noteHref(note), shown.toString().toHtmlEscaped());
        return true;
    }

    // [shown](address): a link when the address is safe, text as written otherwise.
    static qsizetype markdownLink(QStringView s, qsizetype i, QString &out)
    {
        const qsizetype close = s.indexOf(u"](", i + 1);
        if (close <= i + 1)
            return 0;
        qsizetype end = -1;
        int nesting = 0;
        for (qsizetype k = close + 2; k < s.size(); ++k) {
            if (s[k] == u'(') {
                ++nesting;
            } else if (s[k] == u')') {
                if (nesting == 0) {
                    end = k;
                    break;
                }
                --nesting;
            }
        }
        if (end < 0)
            return 0;
        QStringView address = s.mid(close + 2, end - close - 2).trimmed();
        if (address.startsWith(u'<') && address.endsWith(u'>'))
            address = address.mid(1, address.size() - 2);
        const QStringView shownText = s.mid(i + 1, close - i - 1);
        QString href;
        const QUrl url(address.toString(), QUrl::StrictMode);
        if (url.isValid() && !url.scheme().isEmpty()) {
            if (CardMarkup::isSafeUrl(url))
                href = url.toString(QUrl::FullyEncoded);
        } else {
            const QString path = QUrl::fromPercentEncoding(address.toUtf8());
            if (isVaultFile(path))
                href = noteHref(path);
        }
        if (href.isEmpty()) {
            // Shown as written, so that the reader sees where it would have gone.
            out += s.mid(i, end + 1 - i).toString().toHtmlEscaped();
            return end + 1 - i;
        }
        InlineParser inner;
        out += link(href, inner.parse(shownText, maxDepth));
        return end + 1 - i;
    }

    static qsizetype bareUrl(QStringView s, qsizetype i, QString &out)
    {
        qsizetype end = i;
        while (end < s.size() && !s[end].isSpace() && s[end] != u'<')
            ++end;
        // Sentence punctuation after an address is not part of it; nor is a closing bracket
        // that was opened before it.
        while (end > i && QStringView(u".,;:!?'\"").contains(s[end - 1]))
            --end;
        while (end > i && s[end - 1] == u')' &&
               s.mid(i, end - i).count(u'(') < s.mid(i, end - i).count(u')'))
            --end;
        const QStringView address = s.mid(i, end - i);
        const QUrl url(address.toString(), QUrl::TolerantMode);
        if (!CardMarkup::isSafeUrl(url))
            return 0;
        out += link(url.toString(QUrl::FullyEncoded), address.toString().toHtmlEscaped());
        return end - i;
    }

    // #tag, #nested/tag: letters, digits, _, - and /, not only digits.
    static qsizetype tag(QStringView s, qsizetype i, QString &out)
    {
        qsizetype end = i + 1;
        while (end < s.size() && (isWordChar(s[end]) || s[end] == u'-' || s[end] == u'/'))
            ++end;
        const QStringView name = s.mid(i + 1, end - i - 1);
        if (name.isEmpty() || isDigits(name))
            return 0;
        out += styled(Theme::accent, s.mid(i, end - i).toString().toHtmlEscaped());
        return end - i;
    }
};

QString block(const QString &inner)
{
    // Spaces are kept as typed, as in the file.
    return u"<span style=\"white-space:pre-wrap\">"_qs + inner + u"</span>"_qs;
}

int indentOf(QStringView line)
{
    int width = 0;
    for (QChar c : line) {
        if (c == u' ')
            ++width;
        else if (c == u'\t')
            width += 4;
        else
            break;
    }
    return width;
}

} // namespace

std::optional<QString> CardMarkup::line(QStringView text)
{
    InlineParser parser;
    const QString html = parser.parse(text);
    if (!parser.marked)
        return std::nullopt;
    return block(html);
}

qsizetype CardMarkup::detailLineCount(const QStringList &lines)
{
    return std::count_if(lines.begin(), lines.end(),
                         [](const QString &l) { return !l.trimmed().isEmpty(); });
}

QString CardMarkup::detail(const QStringList &lines)
{
    int common = std::numeric_limits<int>::max();
    for (const QString &l : lines) {
        if (!l.trimmed().isEmpty())
            common = std::min(common, indentOf(l));
    }
    QStringList shown;
    for (const QString &l : lines) {
        const QStringView trimmed = QStringView(l).trimmed();
        if (trimmed.isEmpty())
            continue;
        const int level = std::min((indentOf(l) - common) / 2, 6);
        QString marker;
        QStringView content = trimmed;
        if (content.startsWith(u"- [ ] ") || content.startsWith(u"* [ ] ")) {
            marker = u"☐ "_qs;
            content = content.mid(6);
        } else if (content.size() >= 6 && (content[0] == u'-' || content[0] == u'*') &&
                   content.mid(1, 2) == u" [" && content[4] == u']' && content[5] == u' ') {
            marker = u"☑ "_qs;
            content = content.mid(6);
        } else if (content.startsWith(u"- ") || content.startsWith(u"* ") ||
                   content.startsWith(u"+ ")) {
            marker = u"• "_qs;
            content = content.mid(2);
        }
        InlineParser parser;
        shown.append(QString(level * 3, QChar::Nbsp) + marker + parser.parse(content));
    }
    if (shown.isEmpty())
        return {};
    return block(shown.join(u"<br>"_qs));
}

bool CardMarkup::isSafeUrl(const QUrl &url)
{
    if (!url.isValid())
        return false;
    const QString scheme = url.scheme().toLower();
    if (scheme == u"http" || scheme == u"https")
        return !url.host().isEmpty();
    if (scheme == u"mailto")
        return !url.path().isEmpty();
    if (scheme == u"obsidian")
        return true;
    return false;
}

std::optional<CardMarkup::Target> CardMarkup::target(const QString &link)
{
    const QString notePrefix = noteScheme.toString() + u':';
    if (link.startsWith(notePrefix)) {
        const QString note = QUrl::fromPercentEncoding(link.mid(notePrefix.size()).toUtf8());
        if (note.trimmed().isEmpty() || climbsOut(note) || note.startsWith(u'/'))
            return std::nullopt;
        return Target{Target::Kind::Note, note};
    }
    const QUrl url(link, QUrl::StrictMode);
    if (!isSafeUrl(url))
        return std::nullopt;
    return Target{Target::Kind::Url, url.toString(QUrl::FullyEncoded)};
}
