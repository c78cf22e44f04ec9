import QtQuick
import Tallowfern

// The tab switch: a title button per tab, the shown one marked by a capsule that slides from
// button to button. Settings is reached through its icon button, so it has no title here.
Item {
    id: tabs

    required property NotchModel model

    readonly property Item selectedButton: model.tab === NotchModel.Board
                                           ? boardButton
                                           : model.tab === NotchModel.Notes ? notesButton : null

    implicitWidth: row.implicitWidth
    implicitHeight: row.implicitHeight

    Rectangle {
        id: capsule
        objectName: "tabCapsule"
        height: row.height
        radius: height / 2
        color: Theme.surfaceHover
        opacity: tabs.selectedButton ? 1 : 0
        // Without a selected button the capsule stays where it was while it fades.
        x: tabs.selectedButton ? tabs.selectedButton.x : x
        width: tabs.selectedButton ? tabs.selectedButton.width : width

        Behavior on x {
            NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
        }
        Behavior on width {
            NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
        }
        Behavior on opacity {
            NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
        }
    }

    Row {
        id: row
        spacing: 2

        Accessible.role: Accessible.PageTabList
        Accessible.name: "Tabs"

        TextButton {
            id: boardButton
            objectName: "tabBoard"
            text: "Board"
            color: tabs.model.tab === NotchModel.Board ? Theme.text : Theme.secondary
            Accessible.role: Accessible.PageTab
            Accessible.selected: tabs.model.tab === NotchModel.Board
            onClicked: tabs.model.tab = NotchModel.Board
        }
        TextButton {
            id: notesButton
            objectName: "tabNotes"
            text: "Notes"
            color: tabs.model.tab === NotchModel.Notes ? Theme.text : Theme.secondary
            Accessible.role: Accessible.PageTab
            Accessible.selected: tabs.model.tab === NotchModel.Notes
            onClicked: tabs.model.tab = NotchModel.Notes
        }
    }
}
