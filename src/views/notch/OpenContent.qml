import QtQuick
import Tallowfern

// The open panel's content: the header, the banner of the moment, and the shown tab's view.
Item {
    id: content

    required property NotchModel model
    required property BoardStore store
    required property PanelSummary summary

    // The view of each tab, a QML file path relative to this one (such as
    // "../board/BoardView.qml"), given `store` and `model` as required properties. A tab whose
    // view is empty shows nothing.
    readonly property string boardView: "../board/BoardView.qml"
    readonly property string notesView: "../notes/NotesView.qml"
    readonly property string settingsView: "../settings/SettingsView.qml"
    // The calendar dropdown, the same way.
    readonly property string calendarView: "../calendar/CalendarDropdown.qml"

    Header {
        id: header
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        z: 1
        model: content.model
        store: content.store
        summary: content.summary
    }

    BannerSlot {
        id: greetingSlot
        objectName: "greetingSlot"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: header.bottom
        shown: content.summary.showsGreeting

        GreetingBanner {
            width: greetingSlot.width
            summary: content.summary
        }
    }

    BannerSlot {
        id: pastSlot
        objectName: "pastDaySlot"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: greetingSlot.bottom
        shown: content.summary.isViewingPast

        PastDayBanner {
            width: pastSlot.width
            store: content.store
        }
    }

    MessageLine {
        id: messageLine
        store: content.store
    }

    BannerSlot {
        id: messageSlot
        objectName: "messageSlot"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: pastSlot.bottom
        shown: messageLine.shown

        MessageBanner {
            width: messageSlot.width
            line: messageLine
        }
    }

    Item {
        id: tabArea
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: messageSlot.bottom
        anchors.topMargin: 10
        anchors.bottom: parent.bottom

        TabSlot {
            objectName: "boardTab"
            anchors.fill: parent
            tab: NotchModel.Board
            view: content.boardView
            model: content.model
            store: content.store
        }
        TabSlot {
            objectName: "notesTab"
            anchors.fill: parent
            tab: NotchModel.Notes
            view: content.notesView
            model: content.model
            store: content.store
        }
        TabSlot {
            objectName: "settingsTab"
            anchors.fill: parent
            tab: NotchModel.Settings
            view: content.settingsView
            model: content.model
            store: content.store
        }
    }

    // While the calendar is out, a layer over everything takes each click outside the dropdown
    // and only puts the calendar away; nothing under it sees the click.
    Item {
        id: calendarLayer
        objectName: "calendarLayer"
        anchors.fill: parent
        z: 2
        visible: content.model.showCalendar || dropdown.opacity > 0

        MouseArea {
            objectName: "calendarDismiss"
            anchors.fill: parent
            enabled: content.model.showCalendar
            hoverEnabled: true
            acceptedButtons: Qt.AllButtons
            onClicked: content.model.showCalendar = false
        }

        // The calendar dropdown goes here.
        BuiltWhileWanted {
            id: dropdown

            file: content.calendarView !== "" ? Qt.resolvedUrl(content.calendarView) : ""
            properties: ({ store: content.store, model: content.model })
            wanted: calendarLayer.visible

            x: 112
            y: 34
            transformOrigin: Item.TopLeft
            opacity: content.model.showCalendar ? 1 : 0
            scale: content.model.showCalendar ? 1 : 0.9

            Behavior on opacity {
                NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
            }
            Behavior on scale {
                NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
            }
        }
    }
}
