import QtQuick
import Tallowfern

// A tooltip for `target`: once the pointer has rested on it for a moment, `text` in a small
// bubble just under it. The bubble lives on the window's top layer so that nothing covers or
// cuts it, and stays inside the area of the nearest clipping ancestor of the target.
Item {
    id: tip

    required property Item target
    property string text
    // The pointer is on the target.
    property bool hovered: false
    readonly property bool showing: bubble.visible

    function place() {
        const layer = bubble.parent;
        if (!layer)
            return;
        let bounds = Qt.rect(0, 0, layer.width, layer.height);
        for (let item = tip.target.parent; item; item = item.parent) {
            if (item.clip) {
                const corner = item.mapToItem(layer, 0, 0);
                bounds = Qt.rect(corner.x, corner.y, item.width, item.height);
                break;
            }
        }
        const below = tip.target.mapToItem(layer, tip.target.width / 2, tip.target.height + 6);
        const margin = 4;
        bubble.x = Math.max(bounds.x + margin,
                            Math.min(below.x - bubble.width / 2,
                                     bounds.x + bounds.width - margin - bubble.width));
        const top = tip.target.mapToItem(layer, 0, -6);
        bubble.y = below.y + bubble.height <= bounds.y + bounds.height ? below.y
                                                                       : top.y - bubble.height;
        bubble.open = true;
    }

    onHoveredChanged: if (!hovered) bubble.open = false

    Timer {
        id: delay
        interval: 600
        running: tip.hovered && tip.text !== "" && tip.target.visible
        onTriggered: tip.place()
    }

    Rectangle {
        id: bubble
        objectName: "toolTipBubble"

        property bool open: false

        parent: tip.Window.contentItem
        z: 1000
        visible: open && tip.hovered
        width: label.implicitWidth + 14
        height: label.implicitHeight + 8
        radius: 6
        color: Theme.toolTip
        border.color: Theme.hairline
        border.width: 1

        Text {
            id: label
            anchors.centerIn: parent
            text: tip.text
            color: Theme.text
            font.pixelSize: 11
        }
    }
}
