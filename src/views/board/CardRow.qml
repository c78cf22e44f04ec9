import QtQuick
import Tallowfern

// One card: its check button, its text (edited in place after a double click) and, under the
// pointer, a button that sends it on to the next lane. It can be dragged, carrying its id as
// text, and a card dropped on it lands just above it.
Item {
    id: row

    required property string cardId
    required property string text
    // The text as rich text when it has Markdown in it, and the lines written under it.
    required property string markup
    required property string detail
    required property int detailLines
    required property int index
    required property LaneModel lane
    required property BoardLanes lanes
    required property BoardStore store
    required property NotchModel notch
    required property CardMenu menu

    readonly property bool readOnly: lane.readOnly
    readonly property bool done: lane.kind === "done"
    readonly property bool hovered: hover.hovered
    readonly property bool editing: editor.editing
    readonly property bool dropAbove: rowDrop.containsDrag
    readonly property bool selected: lanes.cardsFocused && lanes.selectedId === cardId
    // Editing began from the keyboard, so the keyboard goes back to the cards afterwards.
    property bool editFromKeyboard: false
    // Long notes under a card show their first lines until the user asks for all.
    readonly property bool longDetail: detailLines > 3
    property bool detailExpanded: false

    // A drag came over the row, or left it.
    signal dragOverChanged(bool over)

    function startEditing(fromKeyboard: bool) {
        if (!editor.begin())
            return;
        editFromKeyboard = fromKeyboard;
        // The field exists only once editing has begun: focus it on the next turn.
        focusLater.start();
    }

    function openMenu(x: real, y: real, fromKeyboard: bool) {
        row.menu.popup(row.cardId, row.lane, row, x, y, fromKeyboard);
    }

    objectName: "card-" + text
    implicitHeight: Math.max(16, editing ? field.implicitHeight : label.implicitHeight) + 14
                    + (detailText.visible ? detailText.height + 4 : 0)
                    + (detailToggle.visible ? detailToggle.height : 0)

    Accessible.role: Accessible.ListItem
    Accessible.name: text + (done ? ", done" : "")
    Accessible.selected: selected

    CardEditor {
        id: editor
        store: row.store
        model: row.notch
        cardId: row.cardId
        cardText: row.text
    }

    Timer {
        id: focusLater
        interval: 0
        onTriggered: {
            field.forceActiveFocus();
            field.cursorPosition = field.length;
        }
    }

    Connections {
        target: row.lanes

        // A row on its way out of a lane the card has left still has the card's id.
        function onEditRequested(cardId: string, fromKeyboard: bool) {
            if (cardId === row.cardId && row.lane.indexOf(cardId) >= 0)
                row.startEditing(fromKeyboard);
        }
        function onMenuRequested(cardId: string) {
            if (cardId === row.cardId && row.lane.indexOf(cardId) >= 0)
                row.openMenu(row.width / 2, row.height, true);
        }
    }

    // A row that goes while being edited (the panel closing, say) still keeps the edit.
    Component.onDestruction: editor.commit()

    Rectangle {
        anchors.fill: parent
        radius: 10
        color: row.hovered || row.editing ? Theme.surfaceHover : Qt.rgba(1, 1, 1, 0.035)
        border.width: row.selected ? 1 : 0
        border.color: Theme.accent

        Behavior on color {
            ColorAnimation { duration: 120; easing.type: Easing.OutQuad }
        }
    }

    Rectangle {
        objectName: "dropIndicator"
        y: -3
        width: parent.width
        height: 2
        radius: 1
        color: Theme.lane(row.lane.kind)
        visible: row.dropAbove
    }

    HoverHandler {
        id: hover
    }

    // Presses, double clicks, right clicks and drags on the row itself.
    MouseArea {
        id: mouse
        objectName: "rowMouse"
        anchors.fill: parent
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        preventStealing: true
        drag.target: row.readOnly || row.editing ? null : dragSource
        drag.threshold: 6

        onPressed: mouseEvent => {
            if (mouseEvent.button === Qt.RightButton)
                row.openMenu(mouseEvent.x, mouseEvent.y, false);
        }
        onDoubleClicked: mouseEvent => {
            if (mouseEvent.button === Qt.LeftButton && !row.readOnly)
                row.startEditing(false);
        }
    }

    // What a drag carries: the card's id as text, with the card's text as its picture.
    Item {
        id: dragSource

        width: 1
        height: 1
        Drag.active: mouse.drag.active
        Drag.dragType: Drag.Automatic
        Drag.supportedActions: Qt.MoveAction
        Drag.proposedAction: Qt.MoveAction
        Drag.mimeData: { "text/plain": row.cardId }
        // Made only when a drag may begin, not for every row that scrolls by.
        Drag.imageSource: mouse.pressed ? row.lanes.dragImage(row.text) : ""
        Drag.onDragFinished: {
            dragSource.x = 0;
            dragSource.y = 0;
        }
    }

    DropArea {
        id: rowDrop
        objectName: "rowDrop"
        anchors.fill: parent
        enabled: !row.readOnly
        keys: ["text/plain"]
        onContainsDragChanged: row.dragOverChanged(containsDrag)
        onDropped: drop => {
            row.dragOverChanged(false);
            if (row.lanes.dropOnCard(drop.text, row.cardId))
                drop.acceptProposedAction();
            else
                drop.accepted = false;
        }
    }

    CheckButton {
        id: check
        objectName: "check"
        x: 8
        y: 7
        kind: row.lane.kind
        rowHovered: row.hovered
        enabled: !row.readOnly
        toolTip: row.lane.checkToolTip
        accessibleName: row.lane.checkName(row.text)
        checkState: row.lane.checkState
        onClicked: row.store.toggle(row.cardId)
    }

    Text {
        id: label
        objectName: "text"
        x: check.x + check.width + 8
        y: 7
        // The advance button's room stays reserved, so that hovering never re-wraps the text.
        width: (row.lane.canAdvance ? advance.x - 8 : row.width - 8) - x
        visible: !row.editing
        text: row.markup !== "" ? row.markup : row.text
        color: row.done ? Theme.secondary : Theme.text
        font.pixelSize: 12
        font.strikeout: row.done
        wrapMode: Text.Wrap
        maximumLineCount: 4
        elide: Text.ElideRight
        textFormat: row.markup !== "" ? Text.RichText : Text.PlainText
        onLinkActivated: link => row.lanes.openLink(link)

        HoverHandler {
            cursorShape: label.hoveredLink !== "" ? Qt.PointingHandCursor : Qt.ArrowCursor
        }
    }

    FontMetrics {
        id: detailMetrics
        font: detailText.font
    }

    // What was written under the card in Obsidian: sub-items and notes, dimmed.
    Text {
        id: detailText
        objectName: "detail"
        x: label.x
        y: label.y + label.height + 4
        width: label.width
        height: row.longDetail && !row.detailExpanded
                ? Math.min(implicitHeight, Math.ceil(detailMetrics.lineSpacing * 3))
                : implicitHeight
        clip: true
        visible: !row.editing && row.detail !== ""
        text: row.detail
        textFormat: Text.RichText
        color: Theme.secondary
        font.pixelSize: 11
        wrapMode: Text.Wrap
        onLinkActivated: link => row.lanes.openLink(link)

        HoverHandler {
            cursorShape: detailText.hoveredLink !== "" ? Qt.PointingHandCursor : Qt.ArrowCursor
        }
    }

    TextButton {
        id: detailToggle
        objectName: "detailToggle"
        x: label.x - 10
        y: detailText.y + detailText.height
        visible: detailText.visible && row.longDetail
        text: row.detailExpanded ? "Show less" : "Show " + (row.detailLines - 3) + " more"
        color: Theme.accent
        pixelSize: 10
        Accessible.role: Accessible.Button
        Accessible.name: row.detailExpanded ? "Show less of “" + row.text + "”"
                                            : "Show all of “" + row.text + "”"
        onClicked: row.detailExpanded = !row.detailExpanded
    }

    TextEdit {
        id: field
        objectName: "editField"
        // Reached by editing, not by Tab.
        activeFocusOnTab: false
        x: label.x
        y: 7
        width: row.width - 8 - x
        visible: row.editing
        enabled: row.editing
        text: editor.draft
        color: Theme.text
        selectionColor: Theme.accent
        selectedTextColor: "black"
        font.pixelSize: 12
        wrapMode: TextEdit.Wrap
        textFormat: TextEdit.PlainText
        selectByMouse: true

        Accessible.role: Accessible.EditableText
        Accessible.name: "Task"

        onTextChanged: if (row.editing) editor.draft = text
        onActiveFocusChanged: {
            if (row.editing || !activeFocus)
                editor.focusChanged(activeFocus);
        }
        Keys.onPressed: event => {
            if (event.key !== Qt.Key_Return && event.key !== Qt.Key_Enter)
                return;
            event.accepted = true;
            editor.commit();
            if (row.editFromKeyboard)
                row.lanes.requestCardFocus();
        }
    }

    AdvanceButton {
        id: advance
        objectName: "advance"
        anchors.right: parent.right
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        shown: row.hovered && !row.editing && row.lane.canAdvance
        kind: row.lane.nextKind
        toolTip: row.lane.advanceToolTip
        accessibleName: row.lane.advanceName(row.text)
        onClicked: row.store.move(row.cardId, row.lane.nextKind, "")
    }
}
