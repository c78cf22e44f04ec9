import QtQuick
import Tallowfern

// The closed panel's wings on either side of the notch: a dot, orange while something is in
// Doing and blue otherwise, and how many tasks are left. Nothing is drawn under the notch.
Row {
    id: wings

    required property int remaining
    required property bool doing
    // "3 left"
    required property string label
    required property size notchSize
    required property real wingWidth

    height: notchSize.height

    Item {
        width: wings.wingWidth
        height: wings.height

        GlowDot {
            objectName: "wingDot"
            // The dot's own edge sits 18 from the leading edge; the item adds room for the glow.
            x: 18 - (width - diameter) / 2
            anchors.verticalCenter: parent.verticalCenter
            diameter: 7
            color: wings.doing ? Theme.laneDoing : Theme.laneTodo
            glowRadius: 3
            glowOpacity: 0.8
        }
    }

    Item {
        width: wings.notchSize.width
        height: wings.height
    }

    Item {
        width: wings.wingWidth
        height: wings.height

        Text {
            objectName: "wingLabel"
            anchors.centerIn: parent
            text: wings.label
            color: Theme.secondary
            font.pixelSize: 11
            font.weight: Font.DemiBold
        }
    }
}
