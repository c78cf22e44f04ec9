import QtQuick

// Stands in for the panel's views: a black rectangle as large as the open or closed shape.
Item {
    id: root

    required property var model
    required property var store
    readonly property rect shapeRect: Qt.rect(shape.x, shape.y, shape.width, shape.height)

    Rectangle {
        id: shape

        color: "black"
        width: root.model.isOpen ? 780 : root.model.notchSize.width
        height: root.model.isOpen ? 380 : root.model.notchSize.height
        x: (root.width - width) / 2
        y: 0
    }

    TextInput {
        objectName: "field"
        x: 100
        y: 100
        width: 200
        height: 30
        visible: root.model.isOpen
    }
}
