import QtQuick
import Tallowfern

// The round button before a card: an empty ring for a card to do, a half-filled one for a card
// under way, a filled one with a tick for a card done.
Item {
    id: button

    required property string kind
    // The pointer is on the card's row.
    required property bool rowHovered
    required property string toolTip
    // What assistive technology calls it, naming the card.
    required property string accessibleName
    // Qt.Unchecked, Qt.PartiallyChecked (under way) or Qt.Checked.
    required property int checkState
    readonly property bool hovered: hover.hovered

    signal clicked()

    width: 16
    height: 16

    Accessible.role: Accessible.CheckBox
    Accessible.name: button.accessibleName
    Accessible.checkable: true
    Accessible.checked: button.checkState === Qt.Checked
    Accessible.checkStateMixed: button.checkState === Qt.PartiallyChecked
    Accessible.onPressAction: if (button.enabled) button.clicked()
    Accessible.onToggleAction: if (button.enabled) button.clicked()

    Rectangle {
        id: ring
        anchors.centerIn: parent
        width: 14
        height: 14
        radius: 7
        color: button.kind === "done" ? Theme.laneDone : "transparent"
        border.width: 1.4
        border.color: button.kind === "done" ? Theme.laneDone
                                             : Qt.rgba(1, 1, 1, button.rowHovered ? 0.6 : 0.35)

        Icon {
            anchors.centerIn: parent
            visible: button.kind === "done"
            name: "check-bold"
            size: 8
            color: "black"
        }

        // The left half of a disc inset from the ring.
        Item {
            x: 2.5
            y: 2.5
            width: 4.5
            height: 9
            clip: true
            visible: button.kind === "doing"

            Rectangle {
                width: 9
                height: 9
                radius: 4.5
                color: Theme.laneDoing
            }
        }
    }

    HoverHandler {
        id: hover
        enabled: button.enabled
        cursorShape: Qt.PointingHandCursor
    }
    TapHandler {
        gesturePolicy: TapHandler.ReleaseWithinBounds
        onTapped: {
            // Only within the circle.
            const dx = point.position.x - button.width / 2;
            const dy = point.position.y - button.height / 2;
            if (dx * dx + dy * dy <= button.width * button.width / 4)
                button.clicked();
        }
    }
    HoverToolTip {
        target: button
        text: button.toolTip
        hovered: button.hovered
    }
}
