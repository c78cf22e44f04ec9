#include "BoardEdit.h"

#include <algorithm>

BoardEdit BoardEdit::add(const Card &card, LaneKind lane, const std::optional<QUuid> &before)
{
    BoardEdit edit(Kind::Add, card);
    edit.m_lane = lane;
    edit.m_before = before;
    return edit;
}

BoardEdit BoardEdit::move(const Card &card, LaneKind lane, const std::optional<QUuid> &before)
{
    BoardEdit edit(Kind::Move, card);
    edit.m_lane = lane;
    edit.m_before = before;
    return edit;
}

BoardEdit BoardEdit::rename(const Card &card, const QString &text)
{
    BoardEdit edit(Kind::Rename, card);
    edit.m_text = text;
    return edit;
}

BoardEdit BoardEdit::remove(const Card &card)
{
    return BoardEdit(Kind::Remove, card);
}

namespace {

// Where a card goes in `cards`: right above `before`, or at the end.
qsizetype insertionPoint(const QList<Card> &cards, const std::optional<QUuid> &before)
{
    if (before) {
        const auto found = std::find_if(cards.begin(), cards.end(),
                                        [&](const Card &c) { return c.id() == *before; });
        if (found != cards.end())
            return found - cards.begin();
    }
    return cards.size();
}

} // namespace

bool BoardEdit::removesCard() const
{
    return m_kind == Kind::Remove || (m_kind == Kind::Rename && m_text.isEmpty());
}

std::optional<QUuid> BoardEdit::follower(const Board &board, Board::Position position)
{
    const QList<Card> &cards = board.lanes()[position.lane].cards();
    if (position.index + 1 < cards.size())
        return cards[position.index + 1].id();
    return std::nullopt;
}

void BoardEdit::aimAt(const Board &board, Board::Position position)
{
    const QString &title = board.lanes()[position.lane].title();
    if (const auto kind = LaneKind::match(title); kind && board.laneIndex(*kind) == position.lane) {
        m_lane = *kind;
        m_laneTitle.reset();
    } else {
        m_laneTitle = title;
    }
}

std::optional<qsizetype> BoardEdit::targetLane(const Board &board) const
{
    if (!m_laneTitle)
        return board.laneIndex(m_lane);
    const QList<Lane> &lanes = board.lanes();
    for (qsizetype i = 0; i < lanes.size(); ++i) {
        if (lanes[i].title() == *m_laneTitle)
            return i;
    }
    return std::nullopt;
}

std::optional<BoardEdit> BoardEdit::inverseOn(const Board &board) const
{
    if (m_kind == Kind::Add) {
        if (!targetLane(board) || board.locate(m_card.id()))
            return std::nullopt;
        return remove(m_card);
    }
    const auto at = board.locate(m_card.id());
    if (!at)
        return std::nullopt;
    const Card &card = board.lanes()[at->lane].cards()[at->index];
    const auto putBack = [&](Kind kind) {
        BoardEdit edit(kind, card);
        edit.aimAt(board, *at);
        edit.m_before = follower(board, *at);
        return edit;
    };
    switch (m_kind) {
    case Kind::Add:
        break;
    case Kind::Move:
        if (!targetLane(board))
            return std::nullopt;
        return putBack(Kind::Move);
    case Kind::Remove:
        return putBack(Kind::Add);
    case Kind::Rename:
        if (m_text.isEmpty())
            return putBack(Kind::Add);
        {
            Card renamed = card;
            renamed.setText(m_text);
            return rename(renamed, card.text());
        }
    }
    return std::nullopt;
}

bool BoardEdit::applyTo(Board &board) const
{
    if (m_kind == Kind::Add) {
        const auto lane = targetLane(board);
        if (!lane || board.locate(m_card.id()))
            return false;
        QList<Card> &cards = board.lanes()[*lane].cards();
        cards.insert(insertionPoint(cards, m_before), m_card);
        return true;
    }
    const auto from = board.locate(m_card.id());
    if (!from)
        return false;
    QList<Card> &source = board.lanes()[from->lane].cards();
    switch (m_kind) {
    case Kind::Add:
        break;
    case Kind::Remove:
        source.removeAt(from->index);
        break;
    case Kind::Rename:
        if (m_text.isEmpty())
            source.removeAt(from->index);
        else
            source[from->index].setText(m_text);
        break;
    case Kind::Move: {
        const auto target = targetLane(board);
        if (!target)
            return false;
        const Card card = source.takeAt(from->index);
        QList<Card> &cards = board.lanes()[*target].cards();
        cards.insert(insertionPoint(cards, m_before), card);
        break;
    }
    }
    return true;
}
