import QtQuick
import Tallowfern

// A folder setting: its title and what it is for, a button to choose the folder and one to show it
// in the file manager, and the path underneath.
Item {
    id: row

    required property string title
    property string detail
    required property string value
    // With a folder field the path can be typed in (see EditablePathRow).
    property FolderField field: null

    signal choose()
    signal reveal()

    width: parent ? parent.width : implicitWidth
    implicitHeight: top.y + top.height + 7 + path.implicitHeight + 8

    Accessible.role: Accessible.Grouping
    Accessible.name: title

    Item {
        id: top
        y: 8
        width: row.width
        height: Math.max(text.implicitHeight, buttons.implicitHeight)

        RowText {
            id: text
            anchors.left: parent.left
            anchors.right: buttons.left
            anchors.rightMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            title: row.title
            detail: row.detail
        }
        Row {
            id: buttons
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            spacing: 4

            SmallButton {
                objectName: "changeButton"
                anchors.verticalCenter: parent.verticalCenter
                title: "Change…"
                onClicked: row.choose()
            }
            IconButton {
                id: revealButton
                objectName: "revealButton"
                anchors.verticalCenter: parent.verticalCenter
                icon: "folder"
                toolTip: "Show in file manager"
                onClicked: row.reveal()

                Accessible.role: Accessible.Button
                Accessible.name: revealButton.toolTip
                Accessible.onPressAction: revealButton.clicked()
            }
        }
    }

    PathField {
        id: path
        objectName: "pathField"
        y: top.y + top.height + 7
        width: row.width
        text: row.field ? row.field.draft : row.value
        editable: row.field !== null
        name: row.title
        onEdited: text => {
            if (row.field)
                row.field.draft = text;
        }
        onAccepted: {
            if (row.field)
                row.field.apply();
        }
        onFocusedChanged: {
            if (row.field)
                row.field.focused = focused;
        }
    }
}
