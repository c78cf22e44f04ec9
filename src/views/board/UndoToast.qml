import QtQuick
import Tallowfern

// For a moment after a card is deleted: what went, and the way to bring it back.
Rectangle {
    id: toast

    required property BoardStore store

    visible: toast.store.undoOffer !== ""
    implicitWidth: row.implicitWidth + 20
    implicitHeight: 32
    radius: height / 2
    // Opaque: it floats over the cards.
    color: Theme.panel
    border.color: Theme.hairline
    border.width: 1

    Rectangle {
        anchors.fill: parent
        radius: parent.radius
        color: Theme.surfaceHover
    }

    Accessible.role: Accessible.AlertMessage
    Accessible.name: toast.store.undoOffer

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 4

        Text {
            objectName: "undoOfferText"
            anchors.verticalCenter: parent.verticalCenter
            width: Math.min(implicitWidth, 260)
            text: toast.store.undoOffer
            color: Theme.text
            font.pixelSize: 11
            elide: Text.ElideRight
        }
        TextButton {
            objectName: "undoDelete"
            anchors.verticalCenter: parent.verticalCenter
            text: "Undo"
            color: Theme.accent
            Accessible.role: Accessible.Button
            Accessible.name: "Undo: " + toast.store.undoOffer
            onClicked: toast.store.undo()
        }
    }
}
