import QtQuick
import Tallowfern

// The place of one tab's view: built while its tab is shown, fading in while it grows from a
// hair smaller, and out the same way when another tab takes over.
Item {
    id: slot

    required property int tab
    // The tab's view, a QML file beside this one; empty while it has none.
    required property string view
    required property NotchModel model
    required property BoardStore store

    readonly property bool current: model.tab === tab
    readonly property QtObject item: loader.item

    opacity: current ? 1 : 0
    scale: current ? 1 : Theme.tabSwapScale
    visible: opacity > 0

    Behavior on opacity {
        NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
    }
    Behavior on scale {
        NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
    }

    BuiltWhileWanted {
        id: loader

        anchors.fill: parent
        file: slot.view !== "" ? Qt.resolvedUrl(slot.view) : ""
        properties: ({ store: slot.store, model: slot.model })
        wanted: slot.visible
    }
}
