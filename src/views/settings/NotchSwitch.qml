import QtQuick
import Tallowfern

// The panel's switch: a capsule track, accent-filled when on, with a white knob at the end that
// matches the state. A click anywhere on it asks for the other state; `checked` follows whatever
// the owner then reports.
Item {
    id: toggle

    property bool checked: false
    // What assistive technology calls the switch; it shows no label of its own.
    property string name

    signal toggled()

    implicitWidth: 30
    implicitHeight: 18

    Accessible.role: Accessible.CheckBox
    Accessible.name: name
    Accessible.checkable: true
    Accessible.checked: checked
    Accessible.onPressAction: toggle.toggled()
    Accessible.onToggleAction: toggle.toggled()
    Accessible.focusable: true
    activeFocusOnTab: visible && enabled

    Keys.onPressed: event => {
        if (event.key !== Qt.Key_Space && event.key !== Qt.Key_Return && event.key !== Qt.Key_Enter)
            return;
        event.accepted = true;
        toggle.toggled();
    }

    Rectangle {
        id: track
        anchors.fill: parent
        radius: height / 2
        color: toggle.checked ? Theme.accent : Theme.switchOff

        Behavior on color {
            ColorAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
        }
    }

    Item {
        id: knob
        objectName: "knob"
        width: toggle.height - 4
        height: width
        y: 2
        x: toggle.checked ? toggle.width - width - 2 : 2

        Behavior on x {
            NumberAnimation { duration: Theme.snappyDuration; easing: Theme.snappyEasing }
        }

        Rectangle {
            x: -0.5
            y: 0.5
            width: knob.width + 1
            height: knob.height + 1
            radius: width / 2
            color: Theme.shadow
            opacity: 0.25
        }
        Rectangle {
            anchors.fill: parent
            radius: width / 2
            color: Theme.knob
        }
    }

    HoverHandler {
        cursorShape: Qt.PointingHandCursor
    }
    TapHandler {
        onTapped: toggle.toggled()
    }

    FocusRing {
        objectName: "focusRing"
        control: toggle
    }
}
