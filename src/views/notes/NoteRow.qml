import QtQuick
import Tallowfern

// One note of the list: its name, its folder under it unless it sits at the vault's root, and
// how long ago it changed. A click anywhere on the row opens it in Obsidian.
Item {
    id: row

    required property string path
    required property string name
    required property string folder
    required property string modified
    // Chosen with the arrow keys: Return opens it.
    property bool selected: false
    // The list has the keyboard: the selected row shows the focus.
    property bool keyboardFocus: false
    readonly property bool hovered: hover.hovered

    signal clicked()

    objectName: "note-" + path
    implicitHeight: Math.max(texts.implicitHeight, 16) + 10

    Accessible.role: Accessible.Button
    Accessible.name: name + (folder !== "" ? ", in " + folder : "") + ", " + modified
    Accessible.onPressAction: row.clicked()

    Rectangle {
        anchors.fill: parent
        radius: 8
        color: row.hovered || row.selected ? Theme.surfaceHover : "transparent"
        border.width: row.selected ? (row.keyboardFocus ? 1.5 : 1) : 0
        border.color: row.keyboardFocus ? Theme.accent : Theme.hairline
    }

    Icon {
        id: icon
        x: 8
        anchors.verticalCenter: parent.verticalCenter
        name: "file-text"
        size: 12
        color: Theme.secondary
    }

    Column {
        id: texts
        anchors.left: icon.right
        anchors.leftMargin: 8
        anchors.right: time.left
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter

        Text {
            objectName: "name"
            width: parent.width
            text: row.name
            color: Theme.text
            font.pixelSize: 12
            elide: Text.ElideRight
            textFormat: Text.PlainText
        }
        Text {
            objectName: "folder"
            width: parent.width
            visible: row.folder !== ""
            text: row.folder
            color: Theme.secondary
            font.pixelSize: 10
            elide: Text.ElideMiddle
            textFormat: Text.PlainText
        }
    }

    Text {
        id: time
        objectName: "modified"
        anchors.right: parent.right
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        text: row.modified
        color: Theme.secondary
        font.pixelSize: 10
    }

    HoverHandler {
        id: hover
        cursorShape: Qt.PointingHandCursor
    }
    TapHandler {
        onTapped: row.clicked()
    }
}
