import QtQuick
import Tallowfern

// Room for a banner under the header: when `shown` the banner slides down from the top edge and
// fades in while the slot opens, and the content below makes room; it leaves the same way.
Item {
    id: slot

    property bool shown: false
    default property alias banner: holder.data
    readonly property real bannerHeight: holder.childrenRect.height
    readonly property real gap: 10

    height: shown ? bannerHeight + gap : 0
    visible: height > 0
    clip: true

    Behavior on height {
        NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
    }

    Item {
        id: holder
        width: parent.width
        height: slot.bannerHeight
        y: slot.shown ? slot.gap : -height
        opacity: slot.shown ? 1 : 0

        Behavior on y {
            NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
        }
        Behavior on opacity {
            NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
        }
    }
}
