import QtQuick
import Tallowfern

// A plain button with a text title; `filled` gives it a capsule behind the title. Tab reaches
// it, Space and Return press it, and a ring shows while it has the keyboard.
Item {
    id: button

    required property string text
    property color color: Theme.text
    property int pixelSize: 12
    property int weight: Font.Medium
    property bool filled: false
    readonly property bool hovered: hover.hovered

    signal clicked()

    implicitWidth: label.implicitWidth + 20
    implicitHeight: label.implicitHeight + 10
    activeFocusOnTab: visible && enabled

    Accessible.role: Accessible.Button
    Accessible.name: button.text
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
        radius: height / 2
        color: button.hovered ? Theme.surfaceHover : Theme.surface
        visible: button.filled || button.hovered
    }

    FocusRing {
        objectName: "focusRing"
        control: button
    }

    Text {
        id: label
        anchors.centerIn: parent
        text: button.text
        color: button.color
        font.pixelSize: button.pixelSize
        font.weight: button.weight
    }

    HoverHandler {
        id: hover
        cursorShape: Qt.PointingHandCursor
    }
    TapHandler {
        onTapped: button.clicked()
    }
}
