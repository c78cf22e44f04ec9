import QtQuick
import Tallowfern

// The ring around a control that has the keyboard. Controls take focus only from Tab, never from
// the pointer, so a ring always means the keyboard is there.
Rectangle {
    required property Item control

    anchors.fill: parent
    anchors.margins: -2
    radius: height / 2
    color: "transparent"
    border.color: Theme.accent
    border.width: 1.5
    visible: control.activeFocus
}
