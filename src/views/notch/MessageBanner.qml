import QtQuick
import Tallowfern

// What went wrong with today's board or note, in one line, with what can be done about it.
Rectangle {
    id: banner

    required property MessageLine line

    implicitHeight: Math.max(40, message.implicitHeight + 16)
    radius: 12
    color: Theme.surface

    Accessible.role: Accessible.AlertMessage
    Accessible.name: banner.line.text

    Rectangle {
        id: mark
        anchors.left: parent.left
        anchors.leftMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        width: 6
        height: 6
        radius: 3
        color: Theme.warning
    }

    Text {
        id: message
        objectName: "messageText"
        anchors.left: mark.right
        anchors.leftMargin: 8
        anchors.right: actions.left
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        text: banner.line.text
        color: Theme.text
        font.pixelSize: 11
        wrapMode: Text.Wrap
        maximumLineCount: 2
        elide: Text.ElideRight
    }

    Row {
        id: actions
        anchors.right: parent.right
        anchors.rightMargin: 6
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2

        TextButton {
            objectName: "showCopy"
            visible: banner.line.canShowCopy
            text: "Show copy"
            color: Theme.accent
            Accessible.role: Accessible.Button
            Accessible.name: "Show the copy that was kept"
            onClicked: banner.line.showCopy()
        }
        TextButton {
            objectName: "openUnreadable"
            visible: banner.line.boardUnreadable
            text: "Open in Obsidian"
            color: Theme.accent
            Accessible.role: Accessible.Button
            Accessible.name: text
            onClicked: banner.line.openBoard()
        }
        TextButton {
            objectName: "startFresh"
            visible: banner.line.boardUnreadable
            text: "Start a fresh board"
            color: Theme.accent
            Accessible.role: Accessible.Button
            Accessible.name: text
            onClicked: banner.line.startFreshBoard()
        }
        IconButton {
            objectName: "dismissMessage"
            visible: !banner.line.boardUnreadable
            anchors.verticalCenter: parent.verticalCenter
            icon: "x"
            iconSize: 11
            toolTip: "Dismiss"
            Accessible.role: Accessible.Button
            Accessible.name: toolTip
            onClicked: banner.line.dismiss()
        }
    }
}
