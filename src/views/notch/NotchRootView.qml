import QtQuick
import Tallowfern

// The panel's whole picture: one black shape hanging from the top edge of the window. Closed it
// is the notch, widened by the wings while tasks are left today; open it is the open size with
// the open content inside. The window leaves room around the open shape for its shadow.
Item {
    id: root

    required property NotchModel model
    required property BoardStore store
    // The open content is built a part in each frame while the shape starts to grow, so that the
    // first frame of the spring is not held up (it comes in only 60 ms later); at once where
    // every frame is a picture of its own.
    property bool buildContentGradually: true

    // The black shape's current rectangle in this item's coordinates, which are the window's.
    readonly property rect shapeRect: Qt.rect((width - shapeWidth) / 2, 0, shapeWidth, shapeHeight)

    // 0 closed, 1 open; the springs carry it a little past either end on the way.
    property real openness: 0
    // The closed width follows the wings with its own spring.
    property real closedWidth: summary.closedSize.width
    readonly property real closedHeight: summary.closedSize.height
    readonly property real shapeWidth: closedWidth + (model.openSize.width - closedWidth) * openness
    readonly property real shapeHeight: closedHeight
                                        + (model.openSize.height - closedHeight) * openness
    readonly property real topRadius: 6 + (14 - 6) * openness
    readonly property real bottomRadius: 12 + (30 - 12) * openness

    implicitWidth: model.openSize.width + 80
    implicitHeight: model.openSize.height + 40

    Behavior on closedWidth {
        NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
    }

    // Opening and closing run different springs, each from wherever the other left off.
    NumberAnimation {
        id: opening
        target: root
        property: "openness"
        to: 1
        duration: Theme.openDuration
        easing: Theme.openEasing
    }
    NumberAnimation {
        id: closing
        target: root
        property: "openness"
        to: 0
        duration: Theme.closeDuration
        easing: Theme.closeEasing
    }
    Connections {
        target: root.model

        function onIsOpenChanged() {
            opening.stop();
            closing.stop();
            (root.model.isOpen ? opening : closing).start();
        }
    }
    Component.onCompleted: openness = model.isOpen ? 1 : 0

    PanelSummary {
        id: summary
        store: root.store
        model: root.model
    }

    NotchShape {
        objectName: "notchShape"
        anchors.fill: parent
        shapeRect: root.shapeRect
        topRadius: root.topRadius
        bottomRadius: root.bottomRadius
        color: Theme.panel
        shadowColor: Theme.shadow
        shadowOpacity: 0.55 * Math.max(0, Math.min(1, root.openness))
        shadowRadius: 24
        shadowOffset: Qt.point(0, 10)
    }

    CollapsedWings {
        objectName: "wings"
        x: (root.width - width) / 2
        y: 0
        remaining: summary.remaining
        doing: summary.doing
        label: summary.wingsLabel
        notchSize: root.model.notchSize
        wingWidth: root.model.wingWidth
        opacity: !root.model.isOpen && summary.hasWings ? 1 : 0
        visible: opacity > 0

        Behavior on opacity {
            NumberAnimation { duration: 200; easing.type: Easing.InOutQuad }
        }
    }

    // The open content is cut to the shape's body as the shape grows and shrinks.
    Item {
        id: bodyClip
        x: root.shapeRect.x + root.topRadius
        width: Math.max(0, root.shapeRect.width - 2 * root.topRadius)
        height: root.shapeRect.height
        clip: true
        visible: openLoader.wanted

        Item {
            id: entrance
            objectName: "openContentHolder"

            // How far the content sits above its place while it comes in.
            property real shift: -8

            x: (root.width - root.model.openSize.width) / 2 + 32 - bodyClip.x
            y: shift
            width: root.model.openSize.width - 64
            height: root.model.openSize.height - 18
            transformOrigin: Item.Top
            opacity: 0
            scale: 0.94

            states: State {
                name: "open"
                when: root.model.isOpen

                PropertyChanges {
                    target: entrance
                    opacity: 1
                    scale: 1
                    shift: 0
                }
            }
            transitions: [
                Transition {
                    to: "open"

                    SequentialAnimation {
                        PauseAnimation { duration: 60 }
                        NumberAnimation {
                            properties: "opacity,scale,shift"
                            duration: Theme.openDuration
                            easing: Theme.openEasing
                        }
                    }
                },
                Transition {
                    from: "open"

                    SequentialAnimation {
                        NumberAnimation {
                            property: "opacity"
                            duration: 120
                            easing.type: Easing.OutQuad
                        }
                        PropertyAction { properties: "scale,shift" }
                    }
                }
            ]

            BuiltWhileWanted {
                id: openLoader

                anchors.fill: parent
                asynchronous: root.buildContentGradually
                file: Qt.resolvedUrl("OpenContent.qml")
                properties: ({ model: root.model, store: root.store, summary: summary })
                // Built only while open, and while it fades out.
                wanted: root.model.isOpen || entrance.opacity > 0
            }
        }
    }
}
