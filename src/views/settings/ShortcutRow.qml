import QtQuick
import Tallowfern

// A keyboard shortcut: its title, a capsule showing the keys (click to record new ones, click
// again to stop) and a button that puts the default back. The keys themselves are caught by the
// panel while the model is recording.
Item {
    id: row

    required property string title
    required property string label
    // The model is recording the keys of this row.
    required property bool recording
    // How the shortcut reaches the program, under the title.
    property string detail

    signal toggle()
    signal reset()

    width: parent ? parent.width : implicitWidth
    implicitHeight: Math.max(text.implicitHeight, controls.implicitHeight) + 14

    Accessible.role: Accessible.Grouping
    Accessible.name: title

    RowText {
        id: text
        anchors.left: parent.left
        anchors.right: controls.left
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        title: row.title
        detail: row.detail
    }

    Row {
        id: controls
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 4

        Item {
            id: capsule
            objectName: "shortcutButton"

            readonly property string shown: row.recording ? "Press keys…" : row.label

            anchors.verticalCenter: parent.verticalCenter
            implicitWidth: Math.max(keys.implicitWidth + 20, 44)
            implicitHeight: keys.implicitHeight + 8

            Accessible.role: Accessible.Button
            Accessible.name: row.title + ": " + capsule.shown
            Accessible.description: tip.text
            Accessible.onPressAction: row.toggle()
            Accessible.focusable: true
            activeFocusOnTab: visible

            // Space and Return start recording; while it records, the recorder has the keys.
            Keys.onPressed: event => {
                if (row.recording || (event.key !== Qt.Key_Space && event.key !== Qt.Key_Return
                                      && event.key !== Qt.Key_Enter))
                    return;
                event.accepted = true;
                row.toggle();
            }

            Rectangle {
                anchors.fill: parent
                radius: height / 2
                color: row.recording ? Theme.accent : Theme.surfaceHover
            }
            Text {
                id: keys
                objectName: "shortcutLabel"
                anchors.centerIn: parent
                text: capsule.shown
                color: Theme.text
                font.pixelSize: 11
            }
            HoverHandler {
                id: hover
                cursorShape: Qt.PointingHandCursor
            }
            TapHandler {
                onTapped: row.toggle()
            }
            HoverToolTip {
                id: tip
                objectName: "toolTip"
                target: capsule
                text: row.recording ? "Press a key with Ctrl, Alt or Super. Esc cancels." : "Click to change"
                hovered: hover.hovered
            }

            FocusRing {
                objectName: "focusRing"
                control: capsule
            }
        }
        IconButton {
            id: resetButton
            objectName: "resetButton"
            anchors.verticalCenter: parent.verticalCenter
            icon: "arrow-counter-clockwise"
            toolTip: "Reset to default"
            onClicked: row.reset()

            Accessible.role: Accessible.Button
            Accessible.name: resetButton.toolTip + " (" + row.title + ")"
            Accessible.onPressAction: resetButton.clicked()
        }
    }
}
