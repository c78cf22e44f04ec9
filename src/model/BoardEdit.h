#pragma once

#include "Board.h"
#include "Card.h"
#include "LaneKind.h"

#include <QString>
#include <QUuid>

#include <optional>

// One change made on the board, kept until it is written, so that it can be made again on a
// newer version of the file that another program saved in the meantime.
class BoardEdit {
public:
    // `card` keeps its id, so that later edits of the new card find it.
    [[nodiscard]] static BoardEdit add(const Card &card, LaneKind lane);
    [[nodiscard]] static BoardEdit move(const Card &card, LaneKind lane,
                                        const std::optional<QUuid> &before);
    // An empty text removes the card.
    [[nodiscard]] static BoardEdit rename(const Card &card, const QString &text);
    [[nodiscard]] static BoardEdit remove(const Card &card);

    // Makes the change on `board`. False, with `board` untouched, when the card it is about is
    // not there (another program changed, moved or deleted it) or its lane is missing.
    bool applyTo(Board &board) const;

    // The text of the card the edit is about, as it was when the edit was made.
    [[nodiscard]] const QString &cardText() const { return m_card.text(); }

private:
    enum class Kind { Add, Move, Rename, Remove };
    BoardEdit(Kind kind, Card card) : m_kind(kind), m_card(std::move(card)) {}

    Kind m_kind;
    Card m_card;
    LaneKind m_lane = LaneKind::Todo;
    std::optional<QUuid> m_before;
    QString m_text;
};
