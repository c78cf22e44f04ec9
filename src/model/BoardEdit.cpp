#include "BoardEdit.h"

#include <algorithm>

BoardEdit BoardEdit::add(const Card &card, LaneKind lane)
{
    BoardEdit edit(Kind::Add, card);
    edit.m_lane = lane;
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

bool BoardEdit::applyTo(Board &board) const
{
    if (m_kind == Kind::Add) {
        const auto lane = board.laneIndex(m_lane);
        if (!lane)
            return false;
        board.lanes()[*lane].cards().append(m_card);
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
        const auto target = board.laneIndex(m_lane);
        if (!target)
            return false;
        const Card card = source.takeAt(from->index);
        QList<Card> &cards = board.lanes()[*target].cards();
        qsizetype at = cards.size();
        if (m_before) {
            const auto found = std::find_if(cards.begin(), cards.end(),
                                            [&](const Card &c) { return c.id() == *m_before; });
            if (found != cards.end())
                at = found - cards.begin();
        }
        cards.insert(at, card);
        break;
    }
    }
    return true;
}
