import QtQuick
import Tallowfern

// How much of the shown board is done, as a ring filling clockwise from the top.
Item {
    id: ring

    // 0 to 1.
    property real progress: 0
    property string toolTip

    implicitWidth: 26
    implicitHeight: 26

    RingArc {
        id: arc
        anchors.centerIn: parent
        width: 16
        height: 16
        lineWidth: 2.5
        trackColor: Theme.ringTrack
        color: Theme.laneDone
        fraction: ring.progress

        Behavior on fraction {
            NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
        }
    }

    HoverHandler {
        id: hover
    }
    HoverToolTip {
        objectName: "toolTip"
        target: ring
        text: ring.toolTip
        hovered: hover.hovered
    }
}
