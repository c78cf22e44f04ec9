import QtQuick
import Tallowfern

// A titled group of settings: the title in capitals, and under it the rows on a rounded surface.
// The rows go in as children, separated by RowDivider items.
Item {
    id: card

    required property string title
    default property alias rows: column.data

    implicitHeight: heading.implicitHeight + 9 + surface.height

    Accessible.role: Accessible.Grouping
    Accessible.name: title

    Text {
        id: heading
        objectName: "cardTitle"
        x: 4
        width: card.width - 8
        text: card.title
        font.capitalization: Font.AllUppercase
        font.pixelSize: 10
        font.weight: Font.DemiBold
        color: Theme.secondary
        elide: Text.ElideRight
    }

    Rectangle {
        id: surface
        y: heading.implicitHeight + 9
        width: card.width
        height: column.implicitHeight
        radius: 10
        color: Theme.surface

        Column {
            id: column
            x: 12
            width: surface.width - 24
        }
    }
}
