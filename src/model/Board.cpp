#include "Board.h"

#include <QHash>

namespace {

bool isSpaceOrTab(QChar c)
{
    return c == u' ' || c == u'\t';
}

bool isSpaceTabOrBreak(QChar c)
{
    return isSpaceOrTab(c) || c == u'\n' || c == u'\r';
}

template <typename Pred> QStringView trimmedBy(QStringView s, Pred pred)
{
    qsizetype begin = 0;
    qsizetype end = s.size();
    while (begin < end && pred(s[begin]))
        ++begin;
    while (end > begin && pred(s[end - 1]))
        --end;
    return s.sliced(begin, end - begin);
}

QStringView trimSpacesAndTabs(QStringView s)
{
    return trimmedBy(s, isSpaceOrTab);
}

constexpr QStringView frontMatterFence = u"---";
constexpr QStringView settingsMarker = u"%% kanban:settings";
constexpr QStringView completeMarker = u"**Complete**";
constexpr QStringView headingPrefix = u"## ";
constexpr QStringView openPrefix = u"- [ ] ";
constexpr QStringView checkedPrefix = u"- [x] ";
constexpr QStringView checkedUpperPrefix = u"- [X] ";
constexpr QStringView writtenFrontMatter = u"---\n\nkanban-plugin: board\n\n---\n\n";

} // namespace

QString Board::defaultSettings()
{
    return QStringLiteral("%% kanban:settings\n```\n"
                          "{\"kanban-plugin\":\"board\",\"list-collapse\":[false,false,false]}\n"
                          "```\n%%");
}

Board Board::empty()
{
    Board board;
    board.ensureLanes();
    return board;
}

void Board::ensureLanes()
{
    qsizetype insertAt = 0;
    for (LaneKind kind : LaneKind::allCases()) {
        if (const auto found = laneIndex(kind)) {
            insertAt = *found + 1;
            continue;
        }
        m_lanes.insert(insertAt, Lane(kind.title(), {}, kind == LaneKind::Done));
        ++insertAt;
    }
}

void Board::adoptIds(const Board &earlier)
{
    QList<bool> laneTaken(earlier.m_lanes.size(), false);
    for (Lane &lane : m_lanes) {
        qsizetype match = -1;
        for (qsizetype i = 0; i < earlier.m_lanes.size(); ++i) {
            if (!laneTaken[i] && earlier.m_lanes[i].title() == lane.title()) {
                match = i;
                break;
            }
        }
        if (match < 0)
            continue;
        laneTaken[match] = true;
        const QList<Card> &before = earlier.m_lanes[match].cards();
        // Positions of the earlier cards by text, so that long lanes stay cheap.
        QHash<QString, QList<qsizetype>> byText;
        for (qsizetype i = 0; i < before.size(); ++i)
            byText[before[i].text()].append(i);
        QList<bool> taken(before.size(), false);
        QList<Card> &cards = lane.cards();
        for (qsizetype index = 0; index < cards.size(); ++index) {
            const Card &card = cards[index];
            const auto candidates = byText.constFind(card.text());
            if (candidates == byText.cend())
                continue;
            qsizetype best = -1;
            for (const qsizetype i : *candidates) {
                if (taken[i] || before[i].extraLines() != card.extraLines())
                    continue;
                if (best < 0 || qAbs(i - index) < qAbs(best - index))
                    best = i;
            }
            if (best < 0)
                continue;
            taken[best] = true;
            cards[index] = Card(before[best].id(), card.text(), card.extraLines());
        }
    }
}

std::optional<qsizetype> Board::laneIndex(LaneKind kind) const
{
    for (qsizetype i = 0; i < m_lanes.size(); ++i) {
        if (LaneKind::match(m_lanes[i].title()) == kind)
            return i;
    }
    return std::nullopt;
}

QList<Card> Board::cards(LaneKind kind) const
{
    if (const auto index = laneIndex(kind))
        return m_lanes[*index].cards();
    return {};
}

std::optional<Board::Position> Board::locate(const QUuid &id) const
{
    for (qsizetype lane = 0; lane < m_lanes.size(); ++lane) {
        const QList<Card> &cards = m_lanes[lane].cards();
        for (qsizetype index = 0; index < cards.size(); ++index) {
            if (cards[index].id() == id)
                return Position{lane, index};
        }
    }
    return std::nullopt;
}

std::optional<LaneKind> Board::kind(const QUuid &cardId) const
{
    if (const auto position = locate(cardId))
        return LaneKind::match(m_lanes[position->lane].title());
    return std::nullopt;
}

Board Board::parse(QStringView text)
{
    // Only line feeds split lines; a carriage return stays with its line.
    const QList<QStringView> lines = text.split(u'\n');

    qsizetype first = 0;
    if (!lines.isEmpty() && trimSpacesAndTabs(lines.front()) == frontMatterFence) {
        for (qsizetype i = 1; i < lines.size(); ++i) {
            if (trimSpacesAndTabs(lines[i]) == frontMatterFence) {
                first = i + 1;
                break;
            }
        }
    }

    Board board;
    qsizetype last = lines.size();
    for (qsizetype i = first; i < lines.size(); ++i) {
        if (lines[i].startsWith(settingsMarker)) {
            // The block runs to the end of the text, lanes included.
            const qsizetype offset = lines[i].data() - text.data();
            board.m_settingsBlock = trimmedBy(text.sliced(offset), isSpaceTabOrBreak).toString();
            last = i;
            break;
        }
    }

    QList<Lane> &lanes = board.m_lanes;
    for (qsizetype i = first; i < last; ++i) {
        const QStringView line = lines[i];
        if (line.startsWith(headingPrefix)) {
            lanes.append(Lane(trimSpacesAndTabs(line.sliced(headingPrefix.size())).toString()));
            continue;
        }
        if (lanes.isEmpty())
            continue;
        Lane &lane = lanes.back();
        if (trimSpacesAndTabs(line) == completeMarker) {
            lane.setComplete(true);
        } else if (line.startsWith(openPrefix) || line.startsWith(checkedPrefix) ||
                   line.startsWith(checkedUpperPrefix)) {
            lane.cards().append(Card(line.sliced(openPrefix.size()).toString()));
        } else if ((line.startsWith(u'\t') || line.startsWith(u"  ")) &&
                   !trimSpacesAndTabs(line).isEmpty()) {
            if (!lane.cards().isEmpty())
                lane.cards().back().appendExtraLine(line.toString());
        }
    }

    board.ensureLanes();
    return board;
}

QString Board::markdown() const
{
    QString out;
    qsizetype estimate = writtenFrontMatter.size() + 128;
    for (const Lane &lane : m_lanes) {
        estimate += lane.title().size() + 32;
        for (const Card &card : lane.cards()) {
            estimate += card.text().size() + 8;
            for (const QString &line : card.extraLines())
                estimate += line.size() + 1;
        }
    }
    out.reserve(estimate);

    out += writtenFrontMatter;
    for (const Lane &lane : m_lanes) {
        out += headingPrefix;
        out += lane.title();
        out += u"\n\n";
        if (lane.isComplete()) {
            out += completeMarker;
            out += u'\n';
        }
        const QStringView prefix = lane.isComplete() ? checkedPrefix : openPrefix;
        for (const Card &card : lane.cards()) {
            out += prefix;
            out += card.text();
            out += u'\n';
            for (const QString &line : card.extraLines()) {
                out += line;
                out += u'\n';
            }
        }
        out += u"\n\n";
    }
    out += u'\n';
    out += m_settingsBlock ? *m_settingsBlock : defaultSettings();
    out += u'\n';
    return out;
}
