#include "LaneKind.h"

#include <QTextBoundaryFinder>

std::optional<LaneKind> LaneKind::fromRawValue(QStringView raw)
{
    for (LaneKind kind : allCases()) {
        if (raw == kind.rawValue())
            return kind;
    }
    return std::nullopt;
}

QString LaneKind::rawValue() const
{
    switch (m_value) {
    case Todo:
        return QStringLiteral("todo");
    case Doing:
        return QStringLiteral("doing");
    case Done:
        return QStringLiteral("done");
    }
    Q_UNREACHABLE();
    return {};
}

QString LaneKind::title() const
{
    switch (m_value) {
    case Todo:
        return QStringLiteral("To do");
    case Doing:
        return QStringLiteral("Doing");
    case Done:
        return QStringLiteral("Done");
    }
    Q_UNREACHABLE();
    return {};
}

std::optional<LaneKind> LaneKind::match(QStringView title)
{
    // Lower-case first (full mapping), then keep only the user-perceived characters whose base is
    // a letter, so "To-Do", "1. Doing" and "Done ✅" all reduce to their alias.
    const QString lower = title.toString().toLower();
    QString letters;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, lower);
    qsizetype start = 0;
    for (qsizetype end = finder.toNextBoundary(); end != -1; end = finder.toNextBoundary()) {
        const QStringView cluster = QStringView(lower).sliced(start, end - start);
        char32_t base = cluster.front().unicode();
        if (cluster.size() > 1 && cluster[0].isHighSurrogate() && cluster[1].isLowSurrogate())
            base = QChar::surrogateToUcs4(cluster[0], cluster[1]);
        if (QChar::isLetter(base))
            letters += cluster;
        start = end;
    }

    static const struct {
        QStringView alias;
        Value kind;
    } aliases[] = {
        {u"todo", Todo},   {u"tasks", Todo},       {u"backlog", Todo},
        {u"doing", Doing}, {u"inprogress", Doing}, {u"wip", Doing},
        {u"done", Done},   {u"completed", Done},   {u"complete", Done},
    };
    for (const auto &entry : aliases) {
        if (letters == entry.alias)
            return LaneKind(entry.kind);
    }
    return std::nullopt;
}
