import QtQuick
import Tallowfern

// One day of the calendar: its number, and a dot under it when the day has a board. Pointer
// hover comes from outside, since a disabled item sees no pointer and its tip must still show.
Item {
    id: cell

    required property string dayKey
    required property int dayNumber
    required property bool hasBoard
    required property bool isToday
    required property bool isShown
    required property bool isEnabled
    property string toolTip
    property string accessibleName
    property bool hovered: false
    // Draws the keyboard focus ring.
    property bool showsFocus: false

    signal picked()

    implicitWidth: 28
    implicitHeight: 28
    enabled: isEnabled

    Accessible.role: Accessible.Button
    Accessible.name: accessibleName
    Accessible.focusable: true
    Accessible.focused: showsFocus
    Accessible.onPressAction: if (cell.enabled) cell.picked()

    Rectangle {
        objectName: "background"
        anchors.fill: parent
        radius: width / 2
        color: cell.isShown ? Theme.accent : Theme.surfaceHover
        visible: cell.isShown || (!cell.isToday && cell.enabled && cell.hovered)
    }
    Rectangle {
        objectName: "todayRing"
        anchors.fill: parent
        radius: width / 2
        color: "transparent"
        border.color: Theme.accent
        border.width: 1
        opacity: 0.7
        visible: cell.isToday && !cell.isShown
    }
    Rectangle {
        objectName: "focusRing"
        anchors.fill: parent
        anchors.margins: -1
        radius: width / 2
        color: "transparent"
        border.color: Theme.text
        border.width: 1.5
        visible: cell.showsFocus
    }

    Text {
        id: number
        objectName: "number"
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.verticalCenter: parent.verticalCenter
        anchors.verticalCenterOffset: -2
        text: cell.dayNumber
        font.pixelSize: 11
        font.weight: cell.isToday || cell.isShown ? Font.Bold : Font.Medium
        color: cell.isShown ? "black" : cell.isToday || cell.enabled ? Theme.text : Theme.secondary
        opacity: cell.isShown || cell.isToday || cell.enabled ? 1 : 0.45
    }
    Rectangle {
        objectName: "boardDot"
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.top: number.bottom
        width: 3
        height: 3
        radius: 1.5
        color: cell.isShown ? "black" : Theme.laneDone
        opacity: cell.isShown ? 0.6 : 1
        visible: cell.hasBoard
    }

    TapHandler {
        onTapped: cell.picked()
    }
    HoverToolTip {
        objectName: "toolTip"
        target: cell
        text: cell.toolTip
        hovered: cell.hovered
    }
}
