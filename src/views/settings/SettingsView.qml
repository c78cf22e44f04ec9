import QtQuick
import Tallowfern

// The Settings tab: where the vault and the day folders are, and how the panel behaves. Every
// value lives in the store or the model; SettingsController does what goes beyond binding.
FocusScope {
    id: view

    required property BoardStore store
    required property NotchModel model

    readonly property SettingsController settings: controller

    Accessible.role: Accessible.Pane
    Accessible.name: "Settings"

    SettingsController {
        id: controller
        store: view.store
        model: view.model
    }

    Component.onCompleted: controller.appeared()

    // Whatever Tab reaches is scrolled into sight.
    readonly property Item keyboardItem: Window.activeFocusItem
    onKeyboardItemChanged: {
        const item = view.keyboardItem;
        if (!item || !flick.interactive)
            return;
        for (let up = item.parent; up; up = up.parent) {
            if (up === flick.contentItem) {
                const top = item.mapToItem(flick.contentItem, 0, 0).y - 8;
                const bottom = top + item.height + 16;
                if (top < flick.contentY)
                    flick.contentY = Math.max(0, top);
                else if (bottom > flick.contentY + flick.height)
                    flick.contentY = Math.min(flick.contentHeight - flick.height,
                                              bottom - flick.height);
                return;
            }
        }
    }

    // A click beside the fields takes the keyboard from them, which applies what was typed. The
    // view itself would hand it straight back to the field, as a focus scope does.
    MouseArea {
        id: focusSink
        anchors.fill: parent
        onPressed: focusSink.forceActiveFocus()
    }

    Flickable {
        id: flick
        objectName: "flick"
        anchors.fill: parent
        contentWidth: width
        contentHeight: page.implicitHeight
        interactive: contentHeight > height
        boundsBehavior: Flickable.StopAtBounds
        clip: true

        Column {
            id: page
            width: flick.width
            spacing: 8

            Text {
                objectName: "welcome"
                width: page.width
                leftPadding: 4
                visible: controller.welcome
                text: "Welcome! Check the vault, then hover the notch any time."
                color: Theme.accent
                font.pixelSize: 12
                font.weight: Font.Medium
                elide: Text.ElideRight

                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            Row {
                id: cards
                width: page.width
                spacing: 12

                SettingsCard {
                    objectName: "locations"
                    width: (cards.width - cards.spacing) / 2
                    title: "Locations"

                    PathRow {
                        objectName: "vaultRow"
                        title: "Obsidian vault"
                        detail: "Notes search and quick notes use this vault"
                        value: controller.vaultText
                        onChoose: controller.chooseVault()
                        onReveal: controller.revealVault()
                    }
                    RowDivider {}
                    EditablePathRow {
                        objectName: "boardsRow"
                        title: "Kanban boards folder"
                        detail: "One file per day (YYYY-MM-DD.md)"
                        field: controller.boardsField
                        onChoose: controller.chooseBoardsFolder()
                        onReveal: controller.revealBoardsFolder()
                    }
                    RowDivider {}
                    EditablePathRow {
                        objectName: "notesRow"
                        title: "Quick notes folder"
                        detail: "Autosaved, one file per day"
                        field: controller.notesField
                        onChoose: controller.chooseNotesFolder()
                        onReveal: controller.revealNotesFolder()
                    }
                    RowDivider {}
                    ChoiceRow {
                        objectName: "notchPositionRow"
                        title: "Notch position"
                        detail: "Where the closed notch sits on the top edge"
                        choices: ["Left", "Centre", "Right"]
                        current: controller.notchPosition
                        onChosen: index => controller.setNotchPosition(index)
                    }
                }

                SettingsCard {
                    objectName: "behaviour"
                    width: (cards.width - cards.spacing) / 2
                    title: "Behaviour"

                    ShortcutRow {
                        objectName: "openShortcutRow"
                        title: "Open Tallowfern"
                        label: controller.openShortcutLabel
                        recording: controller.recordingOpen
                        onToggle: controller.toggleRecording(NotchModel.Open)
                        onReset: controller.resetShortcut(NotchModel.Open)
                        detail: view.model.shortcutSetup ? view.model.shortcutSetup.summary : ""
                    }
                    ShortcutAdvice {
                        objectName: "shortcutAdvice"
                        setup: view.model.shortcutSetup
                    }
                    RowDivider {}
                    ShortcutRow {
                        objectName: "switchTabShortcutRow"
                        title: "Switch Board ↔ Notes"
                        label: controller.switchTabShortcutLabel
                        recording: controller.recordingSwitchTab
                        onToggle: controller.toggleRecording(NotchModel.SwitchTab)
                        onReset: controller.resetShortcut(NotchModel.SwitchTab)
                    }
                    RowDivider {}
                    ToggleRow {
                        objectName: "carryOverRow"
                        title: "Carry over unfinished tasks"
                        detail: "Copy To do and Doing into each new day's board"
                        isOn: view.store.carryOver
                        onToggled: view.store.carryOver = !view.store.carryOver
                    }
                    RowDivider {}
                    ToggleRow {
                        objectName: "morningBannerRow"
                        title: "Morning banner"
                        detail: "Open the notch when a new day's board is created"
                        isOn: view.store.morningBanner
                        onToggled: view.store.morningBanner = !view.store.morningBanner
                    }
                    RowDivider {}
                    ToggleRow {
                        objectName: "launchAtLoginRow"
                        title: "Launch at login"
                        isOn: controller.launchAtLogin
                        onToggled: controller.setLaunchAtLogin(!controller.launchAtLogin)
                    }
                    RowDivider {}
                    ToggleRow {
                        objectName: "swipeRow"
                        title: "Two-finger swipe switches tabs"
                        isOn: view.store.swipeToSwitch
                        onToggled: view.store.swipeToSwitch = !view.store.swipeToSwitch
                    }
                }
            }

            // Without a tray there is no menu to quit from or to open the board in Obsidian.
            Row {
                objectName: "appActions"
                visible: !view.model.trayAvailable
                leftPadding: 4
                spacing: 6

                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: "No tray icon on this desktop:"
                    color: Theme.secondary
                    font.pixelSize: 11
                }
                SmallButton {
                    objectName: "openInObsidianButton"
                    title: "Open Today's Board in Obsidian"
                    onClicked: controller.openTodayInObsidian()
                }
                SmallButton {
                    objectName: "showBoardsButton"
                    title: "Show Boards Folder"
                    onClicked: controller.revealBoardsFolder()
                }
                SmallButton {
                    objectName: "quitButton"
                    title: "Quit Tallowfern"
                    onClicked: controller.quit()
                }
            }

            Text {
                objectName: "message"
                width: page.width
                leftPadding: 4
                visible: controller.message !== ""
                text: controller.message
                color: Theme.warning
                font.pixelSize: 11
                elide: Text.ElideRight

                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
            }
        }
    }
}
