import QtQuick
import Tallowfern

// The thin line between two rows of a card.
Rectangle {
    width: parent ? parent.width : 0
    height: 1
    color: Theme.hairline
}
