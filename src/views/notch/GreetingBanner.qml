import QtQuick
import Tallowfern

// The morning greeting over a new day's board: how many tasks were carried over.
Rectangle {
    id: banner

    required property PanelSummary summary

    implicitHeight: 52
    radius: 12
    color: Theme.surface

    Icon {
        id: sun
        anchors.left: parent.left
        anchors.leftMargin: 14
        anchors.verticalCenter: parent.verticalCenter
        name: "sun-fill"
        size: 18
        color: Theme.laneDoing
    }

    Column {
        anchors.left: sun.right
        anchors.leftMargin: 12
        anchors.right: go.left
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2

        Text {
            text: banner.summary.greetingTitle
            color: Theme.text
            font.pixelSize: 12
        }
        Text {
            objectName: "greetingMessage"
            width: parent.width
            text: banner.summary.greetingMessage
            color: Theme.secondary
            font.pixelSize: 11
            elide: Text.ElideRight
        }
    }

    TextButton {
        id: go
        objectName: "letsGo"
        anchors.right: parent.right
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        text: "Let's go"
        filled: true
        onClicked: banner.summary.dismissGreeting()
    }
}
