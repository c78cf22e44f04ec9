pragma ComponentBehavior: Bound

import QtQuick
import Tallowfern

// The Board tab: the three lanes of the shown day side by side. With the keyboard, the arrow
// keys move between cards, Ctrl+Up and Ctrl+Down move the selected one within its lane, Return
// edits it, Space ticks it and the menu key opens its context menu. Ctrl+Z takes back the last
// edit of today's board, Ctrl+Shift+Z (or Ctrl+Y) makes it again; a text field being edited
// keeps those keys for its own text.
FocusScope {
    id: board

    required property BoardStore store
    required property NotchModel model

    readonly property BoardLanes lanes: boardLanes

    Accessible.role: Accessible.Pane
    Accessible.name: "Board"

    BoardLanes {
        id: boardLanes
        store: board.store
        cardsFocused: cardKeys.activeFocus
        onCardFocusRequested: cardKeys.forceActiveFocus()
    }

    Item {
        id: cardKeys
        objectName: "cardKeys"
        // Tab reaches the cards as one stop, before the lanes' add fields; the arrows go on.
        activeFocusOnTab: !board.lanes.readOnly || board.lanes.todo.count + board.lanes.doing.count
                          + board.lanes.done.count > 0

        Accessible.role: Accessible.List
        Accessible.name: "Cards"

        Keys.onPressed: event => {
            const lanes = board.lanes;
            if ((event.modifiers & Qt.ControlModifier)
                    && (event.key === Qt.Key_Up || event.key === Qt.Key_Down)) {
                lanes.reorderSelected(event.key === Qt.Key_Up ? -1 : 1);
                event.accepted = true;
                return;
            }
            switch (event.key) {
            case Qt.Key_Up:
                lanes.moveSelection(BoardLanes.Up);
                break;
            case Qt.Key_Down:
                if (!lanes.moveSelection(BoardLanes.Down) && !lanes.readOnly
                        && lanes.selectedKind !== "")
                    columns.itemAt(columns.kindIndex(lanes.selectedKind)).focusAddField();
                break;
            case Qt.Key_Left:
                lanes.moveSelection(BoardLanes.Left);
                break;
            case Qt.Key_Right:
                lanes.moveSelection(BoardLanes.Right);
                break;
            case Qt.Key_Return:
            case Qt.Key_Enter:
                if (lanes.selectedId !== "")
                    lanes.requestEdit(lanes.selectedId);
                break;
            case Qt.Key_Space:
                lanes.toggleSelected();
                break;
            case Qt.Key_Menu:
                if (lanes.selectedId !== "")
                    lanes.requestMenu(lanes.selectedId);
                break;
            case Qt.Key_F10:
                if ((event.modifiers & Qt.ShiftModifier) && lanes.selectedId !== "")
                    lanes.requestMenu(lanes.selectedId);
                else
                    return;
                break;
            default:
                return;
            }
            event.accepted = true;
        }
        onActiveFocusChanged: {
            if (activeFocus && board.lanes.selectedId === "")
                board.lanes.moveSelection(BoardLanes.Down);
        }
    }

    Row {
        anchors.fill: parent
        spacing: 10

        Repeater {
            id: columns

            function kindIndex(kind: string): int {
                return kind === "todo" ? 0 : kind === "doing" ? 1 : 2;
            }

            model: [boardLanes.todo, boardLanes.doing, boardLanes.done]

            LaneColumn {
                required property LaneModel modelData

                width: (board.width - 20) / 3
                height: board.height
                lane: modelData
                lanes: boardLanes
                store: board.store
                notch: board.model
                menu: menu
            }
        }
    }

    Shortcut {
        sequences: ["Ctrl+Z"]
        enabled: board.visible && !boardLanes.readOnly && board.store.canUndo
        onActivated: board.store.undo()
    }
    Shortcut {
        sequences: ["Ctrl+Shift+Z", "Ctrl+Y"]
        enabled: board.visible && !boardLanes.readOnly && board.store.canRedo
        onActivated: board.store.redo()
    }

    UndoToast {
        objectName: "undoToast"
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 8
        store: board.store
        visible: board.store.undoOffer !== "" && !boardLanes.readOnly
    }

    CardMenu {
        id: menu
        lanes: boardLanes
        notch: board.model
    }
}
