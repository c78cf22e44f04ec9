pragma ComponentBehavior: Bound

import QtQuick
import Tallowfern

// The month calendar under the header's day label: the days with a board can be picked, and
// "Today" goes back to today. Each opening starts again from the shown day.
Item {
    id: dropdown

    required property BoardStore store
    required property NotchModel model

    // The focus ring only shows once the keys are in use; pointer users never see it.
    property bool keysUsed: false
    readonly property int padding: 10

    // Slides the grid in from the side the month came from.
    function slide(delta) {
        gridSlide.from = delta > 0 ? 14 : -14;
        monthChange.restart();
    }

    objectName: "calendarDropdown"
    width: column.width + 2 * padding
    height: column.height + 2 * padding
    focus: true

    Accessible.role: Accessible.Dialog
    Accessible.name: "Calendar"

    Component.onCompleted: forceActiveFocus()

    CalendarMonth {
        id: calendar
        store: dropdown.store
        model: dropdown.model
        onMonthShifted: (delta) => dropdown.slide(delta)
    }

    Keys.onPressed: (event) => {
        switch (event.key) {
        case Qt.Key_Left: calendar.moveFocus(-1); break;
        case Qt.Key_Right: calendar.moveFocus(1); break;
        case Qt.Key_Up: calendar.moveFocus(-7); break;
        case Qt.Key_Down: calendar.moveFocus(7); break;
        case Qt.Key_PageUp: calendar.shiftMonth(-1); break;
        case Qt.Key_PageDown: calendar.shiftMonth(1); break;
        case Qt.Key_Return:
        case Qt.Key_Enter: calendar.pickFocused(); break;
        default: return;
        }
        dropdown.keysUsed = true;
        event.accepted = true;
    }

    // Opaque, so that the panel under it does not show through, with the lighter surface over it.
    Rectangle {
        anchors.fill: parent
        radius: 12
        color: Theme.panel
    }
    Rectangle {
        anchors.fill: parent
        radius: 12
        color: Theme.surface
        border.color: Theme.hairline
        border.width: 1
    }
    // Clicks between the controls stay in the dropdown instead of closing it.
    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.AllButtons
    }

    Column {
        id: column
        x: dropdown.padding
        y: dropdown.padding
        width: 236
        spacing: 6

        Item {
            width: parent.width
            height: 26

            Text {
                objectName: "monthTitle"
                anchors.left: parent.left
                anchors.leftMargin: 4
                anchors.right: arrows.left
                anchors.verticalCenter: parent.verticalCenter
                text: calendar.title
                elide: Text.ElideRight
                color: Theme.text
                font.pixelSize: 12
                font.weight: Font.DemiBold
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            Row {
                id: arrows
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                spacing: 2

                IconButton {
                    objectName: "previousMonth"
                    icon: "caret-left"
                    iconSize: 12
                    toolTip: "Previous month"
                    onClicked: calendar.shiftMonth(-1)
                    Accessible.role: Accessible.Button
                    Accessible.name: toolTip
                    Accessible.onPressAction: calendar.shiftMonth(-1)
                }
                IconButton {
                    objectName: "nextMonth"
                    icon: "caret-right"
                    iconSize: 12
                    toolTip: "Next month"
                    enabled: calendar.canGoForward
                    onClicked: calendar.shiftMonth(1)
                    Accessible.role: Accessible.Button
                    Accessible.name: toolTip
                    Accessible.onPressAction: if (enabled) calendar.shiftMonth(1)
                }
            }
        }

        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: grid.columnSpacing

            Repeater {
                model: calendar.weekdaySymbols

                Text {
                    required property string modelData
                    required property int index

                    width: 28
                    height: 18
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                    text: modelData
                    color: Theme.secondary
                    font.pixelSize: 10
                    font.weight: Font.DemiBold
                    Accessible.role: Accessible.ColumnHeader
                    Accessible.name: calendar.weekdayNames[index] ?? modelData
                }
            }
        }

        Item {
            anchors.horizontalCenter: parent.horizontalCenter
            width: grid.width
            height: grid.height

            Grid {
                id: grid
                objectName: "dayGrid"
                columns: 7
                columnSpacing: 2
                rowSpacing: 2

                Repeater {
                    model: calendar

                    // A position of the grid: a day, or a blank before the 1st.
                    Item {
                        id: position

                        required property string dayKey
                        required property int dayNumber
                        required property bool hasBoard
                        required property bool isToday
                        required property bool isShown
                        required property bool isEnabled
                        required property bool isFocused
                        required property string toolTip
                        required property string accessibleName

                        width: 28
                        height: 28

                        HoverHandler {
                            id: hover
                            enabled: position.dayKey !== ""
                            cursorShape: position.isEnabled ? Qt.PointingHandCursor
                                                            : Qt.ArrowCursor
                        }
                        DayCell {
                            objectName: "day-" + position.dayKey
                            anchors.fill: parent
                            visible: position.dayKey !== ""
                            dayKey: position.dayKey
                            dayNumber: position.dayNumber
                            hasBoard: position.hasBoard
                            isToday: position.isToday
                            isShown: position.isShown
                            isEnabled: position.isEnabled
                            toolTip: position.toolTip
                            accessibleName: position.accessibleName
                            hovered: hover.hovered
                            showsFocus: position.isFocused && dropdown.keysUsed
                                        && dropdown.activeFocus
                            onPicked: calendar.pick(position.dayKey)
                        }
                    }
                }
            }

            ParallelAnimation {
                id: monthChange

                NumberAnimation {
                    id: gridSlide
                    target: grid
                    property: "x"
                    to: 0
                    duration: Theme.snappyDuration
                    easing: Theme.snappyEasing
                }
                NumberAnimation {
                    target: grid
                    property: "opacity"
                    from: 0.2
                    to: 1
                    duration: Theme.snappyDuration
                    easing: Theme.snappyEasing
                }
            }
        }

        Item {
            id: todayButton

            readonly property bool hovered: todayHover.hovered

            objectName: "todayButton"
            width: parent.width
            height: todayLabel.implicitHeight + 16

            Accessible.role: Accessible.Button
            Accessible.name: todayLabel.text
            Accessible.onPressAction: calendar.showToday()

            Rectangle {
                anchors.fill: parent
                radius: 7
                color: todayButton.hovered ? Theme.surfaceHover : Theme.surface
            }
            Text {
                id: todayLabel
                anchors.centerIn: parent
                text: "Today"
                color: Theme.text
                font.pixelSize: 11
                font.weight: Font.DemiBold
            }
            HoverHandler {
                id: todayHover
                cursorShape: Qt.PointingHandCursor
            }
            TapHandler {
                onTapped: calendar.showToday()
            }
        }
    }
}
