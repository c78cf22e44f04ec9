pragma ComponentBehavior: Bound

import QtQuick
import Tallowfern

// The quick note's editor: plain text that behaves like a small outliner. "- " or "* " at a
// line's start becomes a bullet, Return continues a bullet list and ends it on an empty bullet,
// Tab and Shift+Tab indent and outdent a bullet line, Backspace right after a bullet removes it.
// Each of those is one undoable step, like typing. On a line that is not a bullet Tab types a tab
// and Shift+Tab goes back to the previous control.
Flickable {
    id: editor

    // The text from outside; when it changes, the editor's text is replaced by it.
    required property string text
    readonly property TextEdit textItem: edit

    // After every change made in the editor, with the editor's text.
    signal edited(string text)
    // The editor gained or lost the keyboard.
    signal focusReported(bool focused)

    function follow() {
        if (rules.text() === editor.text) {
            rules.spaceLines();
            return;
        }
        replacing = true;
        edit.text = editor.text;
        rules.spaceLines();
        replacing = false;
    }

    property bool replacing: false
    property bool converting: false

    contentWidth: width
    contentHeight: edit.implicitHeight
    clip: true
    boundsBehavior: Flickable.StopAtBounds

    onTextChanged: follow()
    Component.onCompleted: follow()

    BulletEditor {
        id: rules
        document: edit.textDocument
    }

    TextEdit {
        id: edit
        objectName: "noteEditor"
        activeFocusOnTab: true

        // Keeps the caret in sight as the text grows or the caret moves.
        function reveal() {
            const r = edit.cursorRectangle;
            if (r.y < editor.contentY)
                editor.contentY = r.y;
            else if (r.y + r.height > editor.contentY + editor.height)
                editor.contentY = r.y + r.height - editor.height;
        }

        width: editor.width
        // As tall as the box at least, so that a click below the last line lands in the text.
        height: Math.max(implicitHeight, editor.height)
        wrapMode: TextEdit.Wrap
        textFormat: TextEdit.PlainText
        color: Qt.rgba(1, 1, 1, 0.92)
        selectionColor: Theme.accent
        selectedTextColor: "black"
        font.pixelSize: 12
        selectByMouse: true

        Accessible.role: Accessible.EditableText
        Accessible.name: "Quick note"
        Accessible.multiLine: true
        Accessible.description: "Tab and Shift+Tab indent and outdent a bullet line"

        cursorDelegate: Rectangle {
            width: 1.5
            color: Theme.accent
            visible: edit.cursorVisible
        }

        Keys.onPressed: event => {
            // Undo and redo are not typing: what they bring back is not converted again.
            if (event.matches(StandardKey.Undo) || event.matches(StandardKey.Redo)) {
                editor.converting = true;
                if (event.matches(StandardKey.Undo))
                    edit.undo();
                else
                    edit.redo();
                editor.converting = false;
                editor.edited(rules.text());
                event.accepted = true;
                return;
            }
            const plain = (event.modifiers & ~Qt.KeypadModifier) === Qt.NoModifier;
            let command = -1;
            if ((event.key === Qt.Key_Return || event.key === Qt.Key_Enter) && plain)
                command = BulletEditor.Newline;
            else if (event.key === Qt.Key_Tab && plain)
                command = BulletEditor.Tab;
            else if (event.key === Qt.Key_Backtab)
                command = BulletEditor.Backtab;
            else if (event.key === Qt.Key_Backspace && plain)
                command = BulletEditor.DeleteBackward;
            if (command >= 0 && rules.command(command, edit.selectionStart, edit.selectionEnd))
                event.accepted = true;
        }

        onTextChanged: {
            if (editor.replacing || editor.converting)
                return;
            editor.converting = true;
            rules.convertTypedBullet(edit.selectionStart, edit.selectionEnd);
            editor.converting = false;
            editor.edited(rules.text());
        }
        onCursorRectangleChanged: reveal()
        onActiveFocusChanged: editor.focusReported(activeFocus)
    }
}
