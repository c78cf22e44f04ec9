import QtQuick
import Tallowfern

// One icon of the app's icon set, drawn in one colour. Every icon of the panel goes through here.
Image {
    id: icon

    // The icon set's name, "-fill" at the end for the filled variant.
    required property string name
    property color color: Theme.secondary
    property real size: 14

    width: size
    height: size
    sourceSize.width: Math.ceil(size)
    sourceSize.height: Math.ceil(size)
    source: "image://icon/" + name + "?color=" + String(color)
    fillMode: Image.PreserveAspectFit
    smooth: true
}
