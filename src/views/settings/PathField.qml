import QtQuick
import Tallowfern

// A folder path on a rounded field under its row: read-only text, or with `editable` a single
// line to type in, which keeps the platform's editing keys (select all, copy, cut, paste, undo,
// redo).
Rectangle {
    id: field

    required property string text
    property bool editable: false
    // What assistive technology calls the field.
    property string name
    readonly property bool focused: input.activeFocus

    signal edited(string text)
    signal accepted()

    implicitHeight: Math.max(label.implicitHeight, input.implicitHeight) + 10
    radius: 7
    color: Theme.surface

    Text {
        id: label
        objectName: "pathText"
        x: 8
        width: field.width - 16
        anchors.verticalCenter: parent.verticalCenter
        visible: !field.editable
        text: field.text
        color: Theme.text
        opacity: 0.8
        font.pixelSize: 11
        elide: Text.ElideMiddle
        maximumLineCount: 1

        Accessible.role: Accessible.StaticText
        Accessible.name: field.name + ": " + field.text
    }

    TextInput {
        id: input
        objectName: "pathInput"
        activeFocusOnTab: input.visible
        x: 8
        width: field.width - 16
        anchors.verticalCenter: parent.verticalCenter
        visible: field.editable
        enabled: field.editable
        text: field.text
        color: Theme.text
        opacity: 0.8
        selectionColor: Theme.accent
        selectedTextColor: "black"
        font.pixelSize: 11
        clip: true
        selectByMouse: true

        Accessible.role: Accessible.EditableText
        Accessible.name: field.name

        onTextChanged: field.edited(text)
        onAccepted: field.accepted()
    }
}
