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
    // `card` keeps its id, so that later edits of the new card find it. It goes right above
    // `before`, or to the end of the lane when that card is not there.
    [[nodiscard]] static BoardEdit add(const Card &card, LaneKind lane,
                                       const std::optional<QUuid> &before = std::nullopt);
    [[nodiscard]] static BoardEdit move(const Card &card, LaneKind lane,
                                        const std::optional<QUuid> &before);
    // An empty text removes the card.
    [[nodiscard]] static BoardEdit rename(const Card &card, const QString &text);
    [[nodiscard]] static BoardEdit remove(const Card &card);

    // Makes the change on `board`. False, with `board` untouched, when the card it is about is
    // not there (another program changed, moved or deleted it) or its lane is missing.
    bool applyTo(Board &board) const;

    // The edit that takes this one back, worked out on `board` as it is before this one is made;
    // nothing when this one cannot be made there. Made later on a newer board, the inverse fails
    // like any edit when another program has changed the card since.
    [[nodiscard]] std::optional<BoardEdit> inverseOn(const Board &board) const;

    // Whether making it takes a card off the board (a removal, or a rename to blank text).
    [[nodiscard]] bool removesCard() const;

    // The text of the card the edit is about, as it was when the edit was made.
    [[nodiscard]] const QString &cardText() const { return m_card.text(); }

private:
    enum class Kind { Add, Move, Rename, Remove };
    BoardEdit(Kind kind, Card card) : m_kind(kind), m_card(std::move(card)) {}

    // The card that follows `position` in its lane once the card there is gone.
    [[nodiscard]] static std::optional<QUuid> follower(const Board &board,
                                                       Board::Position position);
    // Aims the edit at the lane of `position`: by its role, or by its title for a lane of the
    // user's own.
    void aimAt(const Board &board, Board::Position position);
    [[nodiscard]] std::optional<qsizetype> targetLane(const Board &board) const;

    Kind m_kind;
    Card m_card;
    LaneKind m_lane = LaneKind::Todo;
    // Set for a lane that has no role: the edit goes to the first lane with this title.
    std::optional<QString> m_laneTitle;
    std::optional<QUuid> m_before;
    QString m_text;
};
