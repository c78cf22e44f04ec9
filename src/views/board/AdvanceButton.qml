import QtQuick
import Tallowfern

// The arrow that sends a card on to the next lane, in that lane's colour. It grows in and out
// of sight.
Item {
    id: button

    // The kind of the lane the card would go to.
    required property string kind
    required property string toolTip
    // What assistive technology calls it, naming the card.
    required property string accessibleName
    property bool shown: false
    readonly property color accent: Theme.lane(kind)
    readonly property bool hovered: hover.hovered

    signal clicked()

    width: 18
    height: 16
    visible: opacity > 0
    opacity: shown ? 1 : 0
    scale: shown ? 1 : 0.8

    Accessible.role: Accessible.Button
    Accessible.name: button.accessibleName
    Accessible.onPressAction: button.clicked()

    Behavior on opacity {
        NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
    }
    Behavior on scale {
        NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
    }

    Rectangle {
        anchors.fill: parent
        radius: height / 2
        color: Qt.rgba(button.accent.r, button.accent.g, button.accent.b, 0.15)
    }
    Icon {
        anchors.centerIn: parent
        name: "arrow-right-bold"
        size: 10
        color: button.accent
    }

    HoverHandler {
        id: hover
        cursorShape: Qt.PointingHandCursor
    }
    TapHandler {
        enabled: button.shown
        onTapped: button.clicked()
    }
    HoverToolTip {
        target: button
        text: button.toolTip
        hovered: button.hovered
    }
}
