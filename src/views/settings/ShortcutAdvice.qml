import QtQuick
import QtQuick.Layouts
import Tallowfern

// Under the open shortcut's row: why the key does not work everywhere, and what lets the desktop
// deliver it anyway — a GNOME shortcut added on request, or a line for the compositor's
// configuration with a button that copies it.
Column {
    id: advice

    required property ShortcutSetup setup

    readonly property bool gnome: advice.setup !== null
                                  && advice.setup.advice === ShortcutSetup.Gnome
    readonly property bool configLine: advice.setup !== null
                                       && advice.setup.advice === ShortcutSetup.ConfigLine

    width: parent ? parent.width : implicitWidth
    spacing: 6
    bottomPadding: visible ? 8 : 0
    visible: problem.visible || advice.gnome || advice.configLine

    Text {
        id: problem
        objectName: "shortcutProblem"
        width: advice.width
        visible: advice.setup !== null && advice.setup.problem !== ""
        text: advice.setup ? advice.setup.problem : ""
        color: Theme.warning
        font.pixelSize: 10
        wrapMode: Text.Wrap

        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }

    RowLayout {
        objectName: "gnomeShortcut"
        visible: advice.gnome
        width: advice.width
        spacing: 8

        Text {
            Layout.fillWidth: true
            text: advice.setup ? advice.setup.gnomeNote : ""
            color: Theme.secondary
            font.pixelSize: 10
            wrapMode: Text.Wrap
        }
        SmallButton {
            id: gnomeButton
            objectName: "gnomeShortcutButton"
            title: advice.setup ? advice.setup.gnomeAction : ""
            onClicked: advice.setup.toggleGnomeShortcut()
        }
    }

    Column {
        objectName: "configLine"
        visible: advice.configLine
        width: advice.width
        spacing: 4

        Text {
            width: parent.width
            text: advice.setup ? advice.setup.configHint : ""
            color: Theme.secondary
            font.pixelSize: 10
            wrapMode: Text.Wrap
        }
        RowLayout {
            width: parent.width
            spacing: 6

            Rectangle {
                Layout.fillWidth: true
                implicitHeight: line.implicitHeight + 10
                radius: 7
                color: Theme.surface

                // Selectable, for desktops where another program's clipboard is out of reach.
                TextEdit {
                    id: line
                    objectName: "configLineText"
                    x: 8
                    width: parent.width - 16
                    anchors.verticalCenter: parent.verticalCenter
                    text: advice.setup ? advice.setup.configLine : ""
                    readOnly: true
                    selectByMouse: true
                    color: Theme.text
                    font.family: "monospace"
                    font.pixelSize: 10
                    wrapMode: TextEdit.WrapAnywhere

                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
            }
            SmallButton {
                id: copyButton
                objectName: "copyConfigLineButton"
                title: "Copy"
                onClicked: advice.setup.copyConfigLine()
            }
        }
    }
}
