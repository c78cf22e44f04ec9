import QtQuick
import Tallowfern

// A setting that is on or off: its title, what it does, and a switch.
Item {
    id: row

    required property string title
    property string detail
    required property bool isOn

    signal toggled()

    width: parent ? parent.width : implicitWidth
    implicitHeight: Math.max(text.implicitHeight, toggle.implicitHeight) + 14

    RowText {
        id: text
        anchors.left: parent.left
        anchors.right: toggle.left
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        title: row.title
        detail: row.detail
    }
    NotchSwitch {
        id: toggle
        objectName: "switch"
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        checked: row.isOn
        name: row.title
        onToggled: row.toggled()
    }
}
