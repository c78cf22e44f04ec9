#pragma once

#include "LaneModel.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QtQml/qqml.h>

#include <array>
#include <memory>

class BoardStore;

// The Board tab's view of the store: a list model for each lane role, fed from the shown board,
// what a drop or a context-menu entry does, and the card the keyboard works on.
class BoardLanes : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(BoardStore *store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(LaneModel *todo READ todo CONSTANT)
    Q_PROPERTY(LaneModel *doing READ doing CONSTANT)
    Q_PROPERTY(LaneModel *done READ done CONSTANT)
    // An earlier day is shown: nothing can change.
    Q_PROPERTY(bool readOnly READ readOnly NOTIFY readOnlyChanged)
    // The card the keyboard works on, "" for none, and its lane's kind.
    Q_PROPERTY(QString selectedId READ selectedId WRITE setSelectedId NOTIFY selectedChanged)
    Q_PROPERTY(QString selectedKind READ selectedKind NOTIFY selectedChanged)
    // The cards, rather than a text field, have the keyboard: the selection shows. Set by the
    // view.
    Q_PROPERTY(bool cardsFocused READ cardsFocused WRITE setCardsFocused NOTIFY cardsFocusedChanged)

public:
    enum class Direction { Up, Down, Left, Right };
    Q_ENUM(Direction)

    explicit BoardLanes(QObject *parent = nullptr);
    ~BoardLanes() override;

    [[nodiscard]] BoardStore *store() const { return m_store; }
    void setStore(BoardStore *store);
    [[nodiscard]] LaneModel *todo() const { return m_lanes[0].get(); }
    [[nodiscard]] LaneModel *doing() const { return m_lanes[1].get(); }
    [[nodiscard]] LaneModel *done() const { return m_lanes[2].get(); }
    // The lane of a kind's raw value ("todo", "doing", "done"); null for anything else.
    Q_INVOKABLE LaneModel *lane(const QString &kind) const;
    [[nodiscard]] bool readOnly() const { return m_readOnly; }

    // Whether dragged text names a card: the 36-character form of a UUID, nothing else.
    Q_INVOKABLE static bool isCardPayload(const QString &text);
    // A drop on a lane's background sends the card to the end of that lane; a drop on a card
    // puts it right above that card, in its lane. False when the drop is refused.
    Q_INVOKABLE bool dropOnLane(const QString &payload, const QString &kind);
    Q_INVOKABLE bool dropOnCard(const QString &payload, const QString &cardId);

    // Opens a link of a card's text: a note through Obsidian, a safe address with the desktop's
    // opener. Anything else is refused, and false.
    Q_INVOKABLE bool openLink(const QString &link) const;

    // The picture that follows the pointer while a card with this text is dragged.
    Q_INVOKABLE static QUrl dragImage(const QString &text);

    // Carries out a context-menu entry of LaneModel::menu() for the card; "edit" is the view's.
    Q_INVOKABLE void perform(const QString &action, const QString &cardId,
                             const QString &target = {});

    [[nodiscard]] QString selectedId() const;
    void setSelectedId(const QString &id);
    [[nodiscard]] QString selectedKind() const;
    // Selects the neighbouring card; false, with the selection unchanged, when there is none that
    // way. Sideways it goes to the nearest lane with cards, at the same height or its last card.
    Q_INVOKABLE bool moveSelection(BoardLanes::Direction direction);
    // Selects the first or the last card of a lane; false when the lane is empty.
    Q_INVOKABLE bool selectEdge(const QString &kind, bool last);
    // Ticks the selected card off, or puts a done one back; it stays selected.
    Q_INVOKABLE void toggleSelected();
    // Moves a card one place up (step -1) or down (+1) within its lane; false at the lane's
    // edge, on a past day, or for a card that is not shown.
    Q_INVOKABLE bool reorder(const QString &cardId, int step);
    // The same for the selected card, which stays selected.
    Q_INVOKABLE bool reorderSelected(int step);

    [[nodiscard]] bool cardsFocused() const { return m_cardsFocused; }
    void setCardsFocused(bool focused);
    // Requests between the views, which know each other only through this object: the row of
    // a card starts editing or opens its menu; the board gives the cards the keyboard.
    // From the keyboard, the keyboard goes back to the cards when the edit ends; from the
    // pointer (the menu's Edit clicked) it does not, and no card shows as selected.
    Q_INVOKABLE void requestEdit(const QString &cardId, bool fromKeyboard = true)
    {
        emit editRequested(cardId, fromKeyboard);
    }
    Q_INVOKABLE void requestMenu(const QString &cardId) { emit menuRequested(cardId); }
    Q_INVOKABLE void requestCardFocus() { emit cardFocusRequested(); }

signals:
    void storeChanged();
    void readOnlyChanged();
    void selectedChanged();
    void cardsFocusedChanged();
    void editRequested(const QString &cardId, bool fromKeyboard);
    void menuRequested(const QString &cardId);
    void cardFocusRequested();

private:
    struct Place {
        int lane = -1;
        int row = -1;
    };

    void refresh();
    [[nodiscard]] Place find(const QUuid &id) const;
    void select(const QUuid &id);

    QPointer<BoardStore> m_store;
    std::array<std::unique_ptr<LaneModel>, 3> m_lanes;
    bool m_readOnly = false;
    // The day the lanes show, to tell a new version of it from another day.
    QString m_shownDay;
    bool m_cardsFocused = false;
    QUuid m_selected;
    // Where the selection was, so that a deleted card hands it on to its neighbour.
    Place m_selectedPlace;
};
