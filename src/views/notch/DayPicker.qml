import QtQuick
import Tallowfern

// The shown day between two step buttons; the day itself opens the calendar. The step buttons
// go to the nearest earlier or later day with a board and are dimmed when there is none.
Row {
    id: picker

    required property NotchModel model
    required property BoardStore store
    required property PanelSummary summary

    spacing: 2

    IconButton {
        objectName: "previousDay"
        icon: "caret-left"
        iconSize: 12
        toolTip: "Previous day with a board"
        enabled: picker.summary.canStepBack
        onClicked: picker.store.step(-1)
    }
    IconButton {
        objectName: "dayLabel"
        icon: "calendar-blank"
        iconSize: 13
        text: picker.summary.dayLabel
        // An earlier day stands out from today.
        tint: picker.summary.isViewingPast ? Theme.accent : Theme.secondary
        toolTip: "Pick a day"
        onClicked: picker.model.showCalendar = !picker.model.showCalendar
    }
    IconButton {
        objectName: "nextDay"
        icon: "caret-right"
        iconSize: 12
        toolTip: "Next day"
        enabled: picker.summary.canStepForward
        onClicked: picker.store.step(1)
    }
}
