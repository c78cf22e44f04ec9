#pragma once

#include "Card.h"
#include "Lane.h"
#include "LaneKind.h"

#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringView>

#include <optional>

// One day's board: its lanes and the settings block of its file.
class Board {
public:
    struct Position {
        qsizetype lane;
        qsizetype index;
        friend bool operator==(const Position &, const Position &) = default;
    };

    Board() = default;
    explicit Board(QList<Lane> lanes, std::optional<QString> settingsBlock = std::nullopt)
        : m_lanes(std::move(lanes)), m_settingsBlock(std::move(settingsBlock))
    {}

    // Written whenever a board has no settings block of its own.
    [[nodiscard]] static QString defaultSettings();

    [[nodiscard]] static Board empty();
    // Never fails: whatever the text, the result has the three role lanes.
    [[nodiscard]] static Board parse(QStringView text);
    [[nodiscard]] QString markdown() const;

    void ensureLanes();

    // Cards read again from a file get new ids. This gives each card the id of its counterpart
    // in `earlier`: same lane title, same text and extra lines, the nearest position among
    // equals. A card changed or moved to another lane counts as a new card.
    void adoptIds(const Board &earlier);

    [[nodiscard]] std::optional<qsizetype> laneIndex(LaneKind kind) const;
    [[nodiscard]] QList<Card> cards(LaneKind kind) const;
    [[nodiscard]] std::optional<Position> locate(const QUuid &id) const;
    [[nodiscard]] std::optional<LaneKind> kind(const QUuid &cardId) const;

    [[nodiscard]] const QList<Lane> &lanes() const { return m_lanes; }
    [[nodiscard]] QList<Lane> &lanes() { return m_lanes; }
    [[nodiscard]] const std::optional<QString> &settingsBlock() const { return m_settingsBlock; }
    void setSettingsBlock(std::optional<QString> block) { m_settingsBlock = std::move(block); }

    friend bool operator==(const Board &a, const Board &b)
    {
        return a.m_lanes == b.m_lanes && a.m_settingsBlock == b.m_settingsBlock;
    }

private:
    QList<Lane> m_lanes;
    // Verbatim from the "%% kanban:settings" line to the end of the file, trimmed.
    std::optional<QString> m_settingsBlock;
};

Q_DECLARE_METATYPE(Board)
