pragma ComponentBehavior: Bound

import QtQuick
import Tallowfern

// A card's context menu. It opens on the window's top layer, over everything in the panel, and
// goes away on a click anywhere outside it. Up, Down and Return work it from the keyboard.
Item {
    id: menu

    required property BoardLanes lanes
    required property NotchModel notch

    property string cardId: ""
    property var entries: []
    property int current: -1
    // Opened with the menu key rather than the pointer.
    property bool openedFromKeyboard: false

    function popup(cardId: string, lane: LaneModel, item: Item, x: real, y: real,
                   fromKeyboard: bool) {
        menu.cardId = cardId;
        menu.entries = lane.menu(cardId);
        menu.openedFromKeyboard = fromKeyboard;
        menu.notch.menuOpen = true;
        menu.current = fromKeyboard ? menu.nextEntry(-1, 1) : -1;
        layer.visible = true;
        // Its size is known only once the entries are laid out.
        entryColumn.forceLayout();
        const at = item.mapToItem(layer, x, y);
        panel.x = Math.max(4, Math.min(at.x, layer.width - panel.width - 4));
        panel.y = at.y + panel.height + 4 <= layer.height ? at.y : Math.max(4, at.y - panel.height);
        // From the keyboard the menu takes it, and gives it back when it closes.
        menu.previousFocus = fromKeyboard ? menu.Window.activeFocusItem : null;
        if (fromKeyboard)
            panel.forceActiveFocus();
    }

    function close() {
        menu.notch.menuOpen = false;
        if (!layer.visible)
            return;
        layer.visible = false;
        const previous = menu.previousFocus;
        menu.previousFocus = null;
        if (previous)
            previous.forceActiveFocus();
    }

    function nextEntry(from: int, step: int): int {
        for (let i = from + step; i >= 0 && i < menu.entries.length; i += step) {
            if (!menu.entries[i].separator)
                return i;
        }
        return from;
    }

    function activate(index: int) {
        const entry = menu.entries[index];
        const cardId = menu.cardId;
        const fromKeyboard = menu.openedFromKeyboard;
        menu.close();
        if (!entry || entry.separator)
            return;
        if (entry.action === "edit")
            menu.lanes.requestEdit(cardId, fromKeyboard);
        else
            menu.lanes.perform(entry.action, cardId, entry.target || "");
    }

    property Item previousFocus: null

    // Escape, or the panel closing, takes the menu away through the model.
    Connections {
        target: menu.notch

        function onMenuOpenChanged() {
            if (!menu.notch.menuOpen)
                menu.close();
        }
    }
    Component.onDestruction: menu.notch.menuOpen = false

    Item {
        id: layer
        objectName: "cardMenuLayer"
        parent: menu.Window.contentItem
        anchors.fill: parent
        z: 900
        visible: false

        MouseArea {
            anchors.fill: parent
            acceptedButtons: Qt.AllButtons
            onPressed: menu.close()
            onWheel: menu.close()
        }

        Rectangle {
            id: panel
            objectName: "cardMenu"
            width: Math.max(140, entryColumn.implicitWidth + 8)
            height: entryColumn.implicitHeight + 8
            radius: 8
            color: Theme.toolTip
            border.color: Theme.hairline
            border.width: 1

            Accessible.role: Accessible.PopupMenu
            Accessible.name: "Card actions"

            Keys.onPressed: event => {
                switch (event.key) {
                case Qt.Key_Up:
                    menu.current = menu.nextEntry(menu.current < 0 ? menu.entries.length
                                                                   : menu.current, -1);
                    break;
                case Qt.Key_Down:
                    menu.current = menu.nextEntry(menu.current, 1);
                    break;
                case Qt.Key_Return:
                case Qt.Key_Enter:
                case Qt.Key_Space:
                    if (menu.current >= 0)
                        menu.activate(menu.current);
                    break;
                case Qt.Key_Menu:
                    menu.close();
                    break;
                default:
                    return;
                }
                event.accepted = true;
            }

            Column {
                id: entryColumn
                x: 4
                y: 4
                width: panel.width - 8

                Repeater {
                    model: menu.entries

                    Item {
                        id: entry

                        required property var modelData
                        required property int index
                        readonly property bool separator: modelData.separator === true

                        objectName: separator ? "separator" : "menu-" + modelData.text
                        width: entryColumn.width
                        implicitWidth: separator ? 0 : label.implicitWidth + 20
                        height: separator ? 9 : 24

                        Accessible.role: separator ? Accessible.Separator : Accessible.MenuItem
                        Accessible.name: separator ? "" : modelData.text
                        Accessible.onPressAction: menu.activate(entry.index)

                        Rectangle {
                            anchors.fill: parent
                            visible: !entry.separator && menu.current === entry.index
                            radius: 5
                            color: Theme.surfaceHover
                        }
                        Rectangle {
                            visible: entry.separator
                            anchors.verticalCenter: parent.verticalCenter
                            x: 6
                            width: parent.width - 12
                            height: 1
                            color: Theme.hairline
                        }
                        Text {
                            id: label
                            visible: !entry.separator
                            x: 10
                            anchors.verticalCenter: parent.verticalCenter
                            text: entry.separator ? "" : entry.modelData.text
                            color: Theme.text
                            font.pixelSize: 12
                        }
                        HoverHandler {
                            enabled: !entry.separator
                            onHoveredChanged: if (hovered) menu.current = entry.index
                        }
                        TapHandler {
                            enabled: !entry.separator
                            onTapped: menu.activate(entry.index)
                        }
                    }
                }
            }
        }
    }
}
