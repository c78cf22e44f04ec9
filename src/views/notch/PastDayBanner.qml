import QtQuick
import Tallowfern

// Shown while an earlier day is looked at: the board is read-only, and the way back.
Rectangle {
    id: banner

    required property BoardStore store

    implicitHeight: 40
    radius: 12
    color: Theme.surface

    Text {
        anchors.left: parent.left
        anchors.leftMargin: 14
        anchors.right: back.left
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        text: "Looking back. This board is read-only; right-click a task to copy it to today."
        color: Theme.secondary
        font.pixelSize: 11
        elide: Text.ElideRight
    }

    TextButton {
        id: back
        objectName: "backToToday"
        anchors.right: parent.right
        anchors.rightMargin: 6
        anchors.verticalCenter: parent.verticalCenter
        text: "Back to today"
        color: Theme.accent
        onClicked: banner.store.view("")
    }
}
