import QtQuick
import Tallowfern

// A row's title, and under it a smaller detail line when there is one; each one line, elided.
Column {
    id: rowText

    required property string title
    property string detail

    spacing: 2

    Text {
        objectName: "rowTitle"
        width: rowText.width
        text: rowText.title
        color: Theme.text
        font.pixelSize: 12
        font.weight: Font.Medium
        elide: Text.ElideRight
        maximumLineCount: 1
    }
    Text {
        objectName: "rowDetail"
        width: rowText.width
        visible: rowText.detail !== ""
        text: rowText.detail
        color: Theme.secondary
        font.pixelSize: 10
        elide: Text.ElideRight
        maximumLineCount: 1
    }
}
