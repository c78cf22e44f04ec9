pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import Tallowfern

// One lane: its header with the card count, the cards, a word when there are none, and, on
// today's board, the field that adds a card. A card dropped on the lane goes to its end.
Rectangle {
    id: column

    required property LaneModel lane
    required property BoardLanes lanes
    required property BoardStore store
    required property NotchModel notch
    required property CardMenu menu

    readonly property color accent: Theme.lane(lane.kind)
    // The card row a drag is over, "" when none.
    property string dragOverRow: ""
    readonly property bool targeted: laneDrop.containsDrag || dragOverRow !== ""

    function focusAddField() {
        addField.focusField();
    }

    objectName: "lane-" + lane.kind
    radius: 16
    color: targeted ? Qt.rgba(accent.r, accent.g, accent.b, 0.12) : Theme.surface
    border.width: 1
    border.color: targeted ? Qt.rgba(accent.r, accent.g, accent.b, 0.6) : Theme.hairline

    Accessible.role: Accessible.Grouping
    Accessible.name: lane.title + ", " + lane.count + (lane.count === 1 ? " card" : " cards")

    Behavior on color {
        ColorAnimation { duration: 150; easing.type: Easing.OutQuad }
    }
    Behavior on border.color {
        ColorAnimation { duration: 150; easing.type: Easing.OutQuad }
    }

    DropArea {
        id: laneDrop
        objectName: "laneDrop"
        anchors.fill: parent
        keys: ["text/plain"]
        onDropped: drop => {
            if (column.lanes.dropOnLane(drop.text, column.lane.kind))
                drop.acceptProposedAction();
            else
                drop.accepted = false;
        }
    }

    Column {
        id: stack

        // Between the header, the cards, the placeholder and the add field; spelled out below,
        // since the list stays in the column even while it has no rows.
        readonly property real gap: 8

        anchors.fill: parent
        anchors.margins: 10

        RowLayout {
            id: header
            objectName: "laneHeader"
            x: 4
            width: parent.width - 8
            height: 18
            spacing: 6

            Rectangle {
                implicitWidth: 7
                implicitHeight: 7
                radius: 3.5
                color: column.accent
            }
            Text {
                id: title
                text: column.lane.title
                color: Theme.text
                font.pixelSize: 12
                font.weight: Font.DemiBold
            }
            Item {
                Layout.fillWidth: true
            }
            Rectangle {
                id: countBadge
                objectName: "count"
                implicitWidth: countText.implicitWidth + 12
                implicitHeight: countText.implicitHeight + 2
                radius: height / 2
                color: Theme.surface

                Accessible.role: Accessible.StaticText
                Accessible.name: countText.text

                Text {
                    id: countText
                    anchors.centerIn: parent
                    text: String(column.lane.count)
                    color: Theme.secondary
                    font.pixelSize: 10
                    font.weight: Font.DemiBold
                }
            }
        }

        Item {
            width: 1
            height: stack.gap
        }

        ListView {
            id: list
            objectName: "cards"

            readonly property real room: stack.height - header.height - stack.gap
                                          - (addField.visible ? addField.height + stack.gap : 0)

            width: parent.width
            height: Math.max(0, Math.min(contentHeight, room))
            model: column.lane
            spacing: 4
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            cacheBuffer: 200
            // The list is only as tall as its rows; rows are made for the room it may grow
            // into, so that a new row is not dropped and made again as the list grows to hold it.
            displayMarginEnd: Math.max(0, room - height)

            delegate: CardRow {
                id: cardRow
                lane: column.lane
                lanes: column.lanes
                store: column.store
                notch: column.notch
                menu: column.menu
                width: list.width
                onDragOverChanged: over => {
                    if (over)
                        column.dragOverRow = cardRow.cardId;
                    else if (column.dragOverRow === cardRow.cardId)
                        column.dragOverRow = "";
                }
            }

            add: Transition {
                NumberAnimation {
                    property: "opacity"; from: 0; to: 1
                    duration: Theme.snappyDuration; easing: Theme.snappyEasing
                }
                NumberAnimation {
                    property: "scale"; from: 0.92; to: 1
                    duration: Theme.snappyDuration; easing: Theme.snappyEasing
                }
            }
            remove: Transition {
                NumberAnimation {
                    property: "opacity"; to: 0
                    duration: Theme.snappyDuration; easing: Theme.snappyEasing
                }
                NumberAnimation {
                    property: "scale"; to: 0.96
                    duration: Theme.snappyDuration; easing: Theme.snappyEasing
                }
            }
            move: Transition {
                NumberAnimation {
                    properties: "x,y"
                    duration: Theme.snappyDuration; easing: Theme.snappyEasing
                }
            }
            displaced: Transition {
                NumberAnimation {
                    properties: "x,y"
                    duration: Theme.snappyDuration; easing: Theme.snappyEasing
                }
                // A row displaced while it was still appearing finishes appearing.
                NumberAnimation {
                    properties: "opacity,scale"; to: 1
                    duration: Theme.snappyDuration; easing: Theme.snappyEasing
                }
            }

            Connections {
                target: column.lanes

                function onSelectedChanged() {
                    const row = column.lane.indexOf(column.lanes.selectedId);
                    if (row >= 0)
                        list.positionViewAtIndex(row, ListView.Contain);
                }
            }

            Rectangle {
                objectName: "scrollIndicator"
                // On the view itself, not in the content that scrolls.
                parent: list
                anchors.right: parent.right
                width: 3
                radius: 1.5
                visible: list.contentHeight > list.height + 1
                y: list.visibleArea.yPosition * list.height
                height: Math.max(12, list.visibleArea.heightRatio * list.height)
                color: Theme.hairline
                opacity: list.moving ? 1 : 0.6
            }
        }

        Item {
            width: 1
            height: list.count > 0 && addField.visible ? stack.gap : 0
        }

        Text {
            id: placeholder
            objectName: "placeholder"
            width: parent.width
            height: Math.max(34, implicitHeight)
            visible: column.lane.count === 0
            text: column.lane.placeholder
            color: Theme.secondary
            font.pixelSize: 11
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }

        Item {
            width: 1
            height: placeholder.visible && addField.visible ? stack.gap : 0
        }

        AddCardField {
            id: addField
            width: parent.width
            visible: !column.lane.readOnly
            lane: column.lane
            lanes: column.lanes
            store: column.store
            notch: column.notch
        }
    }
}
