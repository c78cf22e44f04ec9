pragma ComponentBehavior: Bound

import QtQuick
import Tallowfern

// A setting with a few named choices side by side; the one in force is lit.
Item {
    id: setting

    required property string title
    property string detail
    required property var choices
    required property int current

    signal chosen(int index)

    width: parent ? parent.width : implicitWidth
    implicitHeight: Math.max(text.implicitHeight, segments.implicitHeight) + 14

    RowText {
        id: text
        anchors.left: parent.left
        anchors.right: segments.left
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        title: setting.title
        detail: setting.detail
    }

    Rectangle {
        id: segments
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        implicitWidth: choiceRow.implicitWidth + 4
        implicitHeight: choiceRow.implicitHeight + 4
        radius: height / 2
        color: Theme.surfaceHover

        Row {
            id: choiceRow
            anchors.centerIn: parent

            Repeater {
                model: setting.choices

                Item {
                    id: segment

                    required property int index
                    required property string modelData
                    readonly property bool selected: segment.index === setting.current

                    objectName: "choice" + segment.index
                    implicitWidth: label.implicitWidth + 16
                    implicitHeight: label.implicitHeight + 6

                    Accessible.role: Accessible.RadioButton
                    Accessible.name: segment.modelData
                    Accessible.checkable: true
                    Accessible.checked: segment.selected
                    Accessible.onPressAction: setting.chosen(segment.index)
                    Accessible.focusable: true
                    activeFocusOnTab: visible

                    Keys.onPressed: event => {
                        if (event.key !== Qt.Key_Space && event.key !== Qt.Key_Return
                                && event.key !== Qt.Key_Enter)
                            return;
                        event.accepted = true;
                        setting.chosen(segment.index);
                    }

                    Rectangle {
                        anchors.fill: parent
                        radius: height / 2
                        color: segment.selected ? Theme.accent
                                                : (hover.hovered ? Theme.surface : "transparent")
                    }
                    Text {
                        id: label
                        anchors.centerIn: parent
                        text: segment.modelData
                        color: Theme.text
                        font.pixelSize: 11
                    }
                    HoverHandler {
                        id: hover
                        cursorShape: Qt.PointingHandCursor
                    }
                    TapHandler {
                        onTapped: setting.chosen(segment.index)
                    }

                    FocusRing {
                        objectName: "focusRing"
                        control: segment
                    }
                }
            }
        }
    }
}
