import QtQuick
import Tallowfern

// A small capsule button with a text title, lit up under the pointer.
Item {
    id: button

    required property string title
    readonly property bool hovered: hover.hovered

    signal clicked()

    implicitWidth: label.implicitWidth + 18
    implicitHeight: label.implicitHeight + 8

    Accessible.role: Accessible.Button
    Accessible.name: title
    Accessible.onPressAction: button.clicked()
    Accessible.focusable: true
    activeFocusOnTab: visible && enabled

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
    }
    Text {
        id: label
        anchors.centerIn: parent
        text: button.title
        color: Theme.text
        font.pixelSize: 11
    }

    HoverHandler {
        id: hover
        cursorShape: Qt.PointingHandCursor
    }
    TapHandler {
        onTapped: button.clicked()
    }

    FocusRing {
        objectName: "focusRing"
        control: button
    }
}
