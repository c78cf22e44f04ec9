pragma ComponentBehavior: Bound

import QtQuick
import Tallowfern

// The Board tab: the three lanes of the shown day side by side. With the keyboard, the arrow
// keys move between cards, Return edits the selected one, Space ticks it and the menu key opens
// its context menu.
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

        Accessible.role: Accessible.List
        Accessible.name: "Cards"

        Keys.onPressed: event => {
            const lanes = board.lanes;
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

    CardMenu {
        id: menu
        lanes: boardLanes
        notch: board.model
    }
}
