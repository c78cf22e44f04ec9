import QtQuick
import Tallowfern

// The row across the top of the open panel: the app's badge and name, the day picker and the
// tabs on the leading side; progress, Obsidian, settings and pin on the trailing side.
Item {
    id: header

    required property NotchModel model
    required property BoardStore store
    required property PanelSummary summary

    implicitHeight: 40

    Row {
        anchors.left: parent.left
        anchors.verticalCenter: parent.verticalCenter
        spacing: 14

        Row {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 8

            Rectangle {
                anchors.verticalCenter: parent.verticalCenter
                width: 20
                height: 20
                radius: 6
                color: Theme.laneTodo

                Icon {
                    anchors.centerIn: parent
                    name: "kanban-fill"
                    size: 11
                    color: Theme.badgeSymbol
                }
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: "Tallowfern"
                color: Theme.text
                font.pixelSize: 13
                font.weight: Font.DemiBold
            }
        }

        DayPicker {
            anchors.verticalCenter: parent.verticalCenter
            model: header.model
            store: header.store
            summary: header.summary
        }

        TabButtons {
            anchors.verticalCenter: parent.verticalCenter
            model: header.model
        }
    }

    Row {
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2

        ProgressRing {
            objectName: "progressRing"
            anchors.verticalCenter: parent.verticalCenter
            visible: header.model.tab === NotchModel.Board
            progress: header.summary.progress
            toolTip: header.summary.progressToolTip
        }
        IconButton {
            objectName: "openInObsidian"
            icon: "arrow-square-out"
            toolTip: "Open today's board in Obsidian"
            onClicked: header.store.openTodayInObsidian()
        }
        IconButton {
            objectName: "settings"
            icon: header.model.tab === NotchModel.Settings ? "gear-fill" : "gear"
            toolTip: "Settings"
            onClicked: header.model.toggleSettings()
        }
        IconButton {
            objectName: "pin"
            icon: header.model.isPinned ? "push-pin-fill" : "push-pin"
            toolTip: header.model.isPinned ? "Unpin" : "Keep open"
            onClicked: header.model.isPinned = !header.model.isPinned
        }
    }
}
