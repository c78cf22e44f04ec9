#pragma once

#include "model/Card.h"
#include "model/LaneKind.h"

#include <QAbstractListModel>
#include <QHash>
#include <QList>
#include <QUuid>
#include <QVariantList>
#include <QtQml/qqml.h>

// The cards of one lane as QML sees them, one row per card, keyed by the card's id. New cards
// are worked into the rows with the fewest changes, so that a move within the lane is a move
// and an unchanged card keeps its row (with any editing under way), even across a re-read of
// the file, whose cards all come with fresh ids.
class LaneModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Lanes come from BoardLanes.")
    Q_PROPERTY(QString kind READ kindName CONSTANT)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    // An earlier day is shown: nothing can change.
    Q_PROPERTY(bool readOnly READ readOnly NOTIFY readOnlyChanged)
    // What the lane says while it has no cards.
    Q_PROPERTY(QString placeholder READ placeholder NOTIFY readOnlyChanged)
    Q_PROPERTY(QString checkToolTip READ checkToolTip NOTIFY readOnlyChanged)
    // Cards here can be sent on to the next lane with a button.
    Q_PROPERTY(bool canAdvance READ canAdvance NOTIFY readOnlyChanged)
    Q_PROPERTY(QString nextKind READ nextKindName CONSTANT)
    Q_PROPERTY(QString advanceToolTip READ advanceToolTip CONSTANT)
    // How a card's round button reads to assistive technology: Qt::Unchecked in To do,
    // Qt::PartiallyChecked in Doing (under way), Qt::Checked in Done.
    Q_PROPERTY(int checkState READ checkState CONSTANT)

public:
    // Markup: the first line as rich text, "" when it is plain. Detail: the lines under the
    // card as rich text, "" when there are none; DetailLines: how many lines that shows.
    enum Role { IdRole = Qt::UserRole, TextRole, MarkupRole, DetailRole, DetailLinesRole };
    Q_ENUM(Role)

    // Ids whose rows now belong to other ids: old id → new id.
    using Handover = QHash<QUuid, QUuid>;

    explicit LaneModel(LaneKind kind, QObject *parent = nullptr);

    [[nodiscard]] LaneKind laneKind() const { return m_kind; }
    [[nodiscard]] QString kindName() const { return m_kind.rawValue(); }
    [[nodiscard]] QString title() const { return m_kind.title(); }
    [[nodiscard]] int count() const { return int(m_cards.size()); }
    [[nodiscard]] bool readOnly() const { return m_readOnly; }
    void setReadOnly(bool readOnly);
    [[nodiscard]] QString placeholder() const;
    [[nodiscard]] QString checkToolTip() const;
    [[nodiscard]] bool canAdvance() const { return !m_readOnly && m_kind != LaneKind::Done; }
    [[nodiscard]] QString nextKindName() const { return m_kind.next().rawValue(); }
    [[nodiscard]] QString advanceToolTip() const;
    [[nodiscard]] int checkState() const;
    // What the round button and the arrow of the card with this text are called for assistive
    // technology, naming the card: "Mark “Buy milk” done", "Move “Buy milk” to Doing".
    Q_INVOKABLE QString checkName(const QString &cardText) const;
    Q_INVOKABLE QString advanceName(const QString &cardText) const;

    [[nodiscard]] const QList<Card> &cards() const { return m_cards; }
    // Whether rows may go to cards with other ids: yes for a new version of the same day's
    // board, no for another day's.
    enum class Reuse { IdsOnly, IdsAndContent };

    // Brings the rows in line with `cards` and says which rows changed hands.
    Handover setCards(const QList<Card> &cards, Reuse reuse = Reuse::IdsAndContent);

    // The row of the card with this id, or -1.
    Q_INVOKABLE int indexOf(const QString &id) const;
    [[nodiscard]] int indexOf(const QUuid &id) const;
    // The id of the card in `row`, or "" outside the rows.
    Q_INVOKABLE QString idAt(int row) const;

    // The entries of a card's context menu, in order. Each is a map with "text" and "action"
    // ("move", "up", "down", "edit", "delete", "copy"), "target" (a lane kind) for moves, or
    // "separator". "Move Up" and "Move Down" are there when the card has a neighbour that way.
    Q_INVOKABLE QVariantList menu(const QString &cardId = {}) const;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

signals:
    void countChanged();
    void readOnlyChanged();

private:
    LaneKind m_kind;
    bool m_readOnly = false;
    QList<Card> m_cards;
};
