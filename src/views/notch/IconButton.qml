import QtQuick
import Tallowfern

// A small plain button showing an icon, and a label after it when `text` is set. Under the pointer
// its background lights up and the icon turns from secondary to primary. Tab reaches it, Space
// and Return press it, and a ring shows while it has the keyboard.
Item {
    id: button

    required property string icon
    property string text
    property string toolTip
    property real iconSize: 14
    // The colour of the icon and label while the pointer is elsewhere.
    property color tint: Theme.secondary
    readonly property bool hovered: hover.hovered

    signal clicked()

    implicitWidth: text === "" ? 26 : row.implicitWidth + 16
    implicitHeight: 26
    opacity: enabled ? 1 : 0.35
    activeFocusOnTab: visible && enabled

    Accessible.role: Accessible.Button
    Accessible.name: button.toolTip !== "" ? button.toolTip : button.text
    Accessible.focusable: true
    Accessible.onPressAction: button.clicked()

    Keys.onPressed: event => {
        if (event.key !== Qt.Key_Space && event.key !== Qt.Key_Return && event.key !== Qt.Key_Enter)
            return;
        event.accepted = true;
        button.clicked();
    }

    Rectangle {
        anchors.fill: parent
        radius: 7
        color: Theme.surfaceHover
        visible: button.hovered
    }

    FocusRing {
        objectName: "focusRing"
        control: button
        radius: 9
    }

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 6

        Icon {
            anchors.verticalCenter: parent.verticalCenter
            name: button.icon
            size: button.iconSize
            color: button.hovered ? Theme.text : button.tint
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            visible: button.text !== ""
            text: button.text
            color: button.hovered ? Theme.text : button.tint
            font.pixelSize: 12
            font.weight: Font.Medium
        }
    }

    HoverHandler {
        id: hover
        cursorShape: Qt.PointingHandCursor
    }
    TapHandler {
        onTapped: button.clicked()
    }
    HoverToolTip {
        objectName: "toolTip"
        target: button
        text: button.toolTip
        hovered: button.hovered
    }
}
