import QtQuick
import Tallowfern

// The field at the foot of a lane that adds a card. After Return it empties and keeps the
// keyboard, so that several tasks can be typed one after another.
Rectangle {
    id: field

    required property LaneModel lane
    required property BoardLanes lanes
    required property BoardStore store
    required property NotchModel notch

    readonly property bool focused: input.activeFocus
    readonly property color accent: Theme.lane(lane.kind)

    function focusField() {
        input.forceActiveFocus();
    }

    objectName: "add-" + lane.kind
    implicitHeight: Math.max(input.implicitHeight, 14) + 12
    radius: 10
    color: "transparent"
    border.width: 1
    border.color: focused ? Qt.rgba(accent.r, accent.g, accent.b, 0.5) : Theme.hairline

    Icon {
        id: plus
        x: 8
        anchors.verticalCenter: parent.verticalCenter
        name: "plus-bold"
        size: 10
        color: field.focused ? field.accent : Theme.secondary
    }

    TextInput {
        id: input
        objectName: "addInput"
        activeFocusOnTab: true
        x: plus.x + plus.width + 7
        anchors.verticalCenter: parent.verticalCenter
        width: field.width - x - 8
        color: Theme.text
        selectionColor: Theme.accent
        selectedTextColor: "black"
        font.pixelSize: 12
        clip: true
        selectByMouse: true

        Accessible.role: Accessible.EditableText
        Accessible.name: "Add a task to " + field.lane.title

        onActiveFocusChanged: field.notch.isEditing = activeFocus
        onAccepted: {
            field.store.add(text, field.lane.kind);
            clear();
        }
        // With nothing of its own to take back, the field lets Ctrl+Z and Ctrl+Shift+Z reach the
        // board: the To do field has the keyboard whenever the panel opens.
        Keys.onPressed: event => {
            if (field.lanes.readOnly)
                return;
            const redo = event.matches(StandardKey.Redo)
                || (event.key === Qt.Key_Y && event.modifiers === Qt.ControlModifier);
            if (event.matches(StandardKey.Undo) && !input.canUndo && field.store.canUndo) {
                field.store.undo();
                event.accepted = true;
            } else if (redo && !input.canRedo && field.store.canRedo) {
                field.store.redo();
                event.accepted = true;
            }
        }
        Keys.onUpPressed: event => {
            if (field.lanes.selectEdge(field.lane.kind, true))
                field.lanes.requestCardFocus();
            else
                event.accepted = false;
        }

        Text {
            anchors.fill: parent
            verticalAlignment: Text.AlignVCenter
            visible: input.text === "" && !input.inputMethodComposing
            text: "Add a task"
            color: Theme.secondary
            font: input.font
        }
    }

    // The hot key opens the panel ready to type a task to do, also when the field is made only
    // after it asked. The request is taken when the keyboard moves here, so that a field gone
    // before then (a view built twice) leaves it to the next one.
    function answerFocusRequest() {
        if (field.lane.kind === "todo" && field.notch.addFocusPending)
            focusDelay.restart();
    }
    Component.onCompleted: answerFocusRequest()
    Connections {
        target: field.notch

        function onFocusAddRequestChanged() {
            field.answerFocusRequest();
        }
    }
    Timer {
        id: focusDelay
        interval: 150
        onTriggered: {
            // Still being built into the panel: the keyboard can only go there once it is in.
            if (!field.Window.window)
                focusDelay.restart();
            else if (field.notch.takeAddFocus())
                input.forceActiveFocus();
        }
    }
}
