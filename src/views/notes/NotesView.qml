pragma ComponentBehavior: Bound

import QtQuick
import Tallowfern

// The Notes tab: today's quick note above, saved as it is typed, and a search over the vault's
// notes below, each opening in Obsidian.
FocusScope {
    id: view

    required property BoardStore store
    required property NotchModel model

    // The note as shown in the editor, with bullets.
    property string draft
    property bool draftFocused: false
    readonly property bool searchFocused: search.activeFocus
    readonly property NotesList notes: notesList

    function reportEditing() {
        view.model.isEditing = view.draftFocused || view.searchFocused;
    }

    onSearchFocusedChanged: reportEditing()
    Component.onCompleted: {
        view.draft = view.store.loadQuickNote();
        notesList.refresh();
    }
    // Leaving the tab, or the panel closing, writes what is still waiting to be saved.
    Component.onDestruction: view.store.closeQuickNote()

    // Saved by another program while nothing typed was waiting: show its text.
    Connections {
        target: view.store
        function onQuickNoteChangedOutside(text: string) {
            view.draft = text;
        }
        // A new day: yesterday's note was saved, today's is shown.
        function onQuickNoteReplaced(text: string) {
            view.draft = text;
        }
    }

    Accessible.role: Accessible.Pane
    Accessible.name: "Notes"

    NotesList {
        id: notesList
        store: view.store
    }

    Item {
        id: titleRow
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: parent.top
        height: 24

        Row {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 4

            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: "Quick note"
                color: Theme.text
                font.pixelSize: 12
                font.weight: Font.DemiBold
            }
            IconButton {
                objectName: "openNote"
                anchors.verticalCenter: parent.verticalCenter
                icon: "arrow-square-out"
                iconSize: 12
                toolTip: "Open " + view.store.day + ".md in Obsidian"
                Accessible.role: Accessible.Button
                Accessible.name: toolTip
                onClicked: view.store.openInObsidian(view.store.notesFolder + "/" + view.store.day)
            }
        }
        Text {
            objectName: "savedLabel"
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            text: view.store.noteSavedLabel
            color: Theme.secondary
            font.pixelSize: 10
        }
    }

    Rectangle {
        id: editorBox
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: titleRow.bottom
        anchors.topMargin: 6
        height: Math.round(view.height * 0.42)
        radius: 10
        color: Theme.surface

        // Clicks below the last line still put the caret in the note.
        MouseArea {
            anchors.fill: parent
            cursorShape: Qt.IBeamCursor
            onPressed: {
                editor.textItem.forceActiveFocus();
                editor.textItem.cursorPosition = editor.textItem.length;
            }
        }

        BulletTextEditor {
            id: editor
            anchors.fill: parent
            anchors.margins: 10
            text: view.draft
            onEdited: text => {
                view.draft = text;
                view.store.saveQuickNote(text);
            }
            onFocusReported: focused => {
                view.draftFocused = focused;
                view.reportEditing();
            }
        }

        Text {
            objectName: "notePlaceholder"
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.top: parent.top
            anchors.margins: 10
            visible: view.draft === ""
            text: "Jot something down. Start a line with “- ” for bullets."
            color: Theme.secondary
            opacity: 0.8
            font.pixelSize: 12
            wrapMode: Text.Wrap
        }
    }

    Item {
        id: searchRow
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: editorBox.bottom
        anchors.topMargin: 10
        height: 22

        Icon {
            id: glass
            x: 2
            anchors.verticalCenter: parent.verticalCenter
            name: "magnifying-glass"
            size: 12
            color: Theme.secondary
        }
        TextInput {
            id: search
            objectName: "search"
            activeFocusOnTab: true
            anchors.left: glass.right
            anchors.leftMargin: 8
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.text
            selectionColor: Theme.accent
            selectedTextColor: "black"
            font.pixelSize: 12
            clip: true
            selectByMouse: true

            Accessible.role: Accessible.EditableText
            Accessible.name: "Search notes"

            onTextChanged: notesList.query = text
            onAccepted: notesList.openCurrent()
            Keys.onUpPressed: notesList.moveCurrent(-1)
            Keys.onDownPressed: notesList.moveCurrent(1)

            Text {
                anchors.fill: parent
                verticalAlignment: Text.AlignVCenter
                visible: search.text === "" && !search.inputMethodComposing
                text: "Search notes in " + view.store.vaultName
                color: Theme.secondary
                font: search.font
                elide: Text.ElideRight
            }
        }
    }

    Text {
        id: listHeader
        objectName: "listHeader"
        anchors.left: parent.left
        anchors.top: searchRow.bottom
        anchors.topMargin: 8
        text: notesList.header
        color: Theme.secondary
        font.pixelSize: 10
        font.weight: Font.DemiBold
    }

    ListView {
        id: list
        objectName: "notesList"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: listHeader.bottom
        anchors.topMargin: 4
        anchors.bottom: parent.bottom
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        model: notesList
        currentIndex: notesList.currentRow
        // A Tab stop of its own: the arrows move through the rows, Return or Space opens one.
        activeFocusOnTab: true
        keyNavigationEnabled: false
        onActiveFocusChanged: {
            if (activeFocus)
                notesList.moveCurrentWithin(0);
        }
        Keys.onUpPressed: notesList.moveCurrentWithin(-1)
        Keys.onDownPressed: notesList.moveCurrentWithin(1)
        Keys.onReturnPressed: notesList.openCurrent()
        Keys.onEnterPressed: notesList.openCurrent()
        Keys.onSpacePressed: notesList.openCurrent()

        Accessible.role: Accessible.List
        Accessible.name: notesList.header
        // The selection is drawn by the rows themselves; the view only keeps it in sight.
        highlightFollowsCurrentItem: false
        onCurrentIndexChanged: {
            if (currentIndex >= 0)
                positionViewAtIndex(currentIndex, ListView.Contain);
        }

        delegate: NoteRow {
            required property int index
            width: list.width
            selected: index === notesList.currentRow
            keyboardFocus: list.activeFocus
            onClicked: notesList.open(index)
        }
    }

    Text {
        objectName: "notesLoading"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.top: list.top
        anchors.margins: 8
        visible: notesList.loading && notesList.count === 0
        text: "Looking through the vault’s notes…"
        color: Theme.secondary
        font.pixelSize: 11
        elide: Text.ElideRight
    }
}
