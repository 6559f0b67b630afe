import QtQuick

// Three points that swell one after the other while something is busy. The
// animation runs only while the item is visible.
Item {
    id: root

    property color pointColor: "black"
    property real minPointSize: Dimensions.x(16)
    property real maxPointSize: Dimensions.x(24)
    property real phase

    implicitWidth: Dimensions.x(100)
    implicitHeight: Dimensions.y(50)

    Row {
        anchors.centerIn: parent
        spacing: (root.width - 3 * root.maxPointSize) / 2

        Repeater {
            model: 3

            Item {
                id: point
                required property int index
                width: root.maxPointSize
                height: root.maxPointSize

                Rectangle {
                    // Each point peaks a third of a cycle after the one before.
                    readonly property real swell: Math.max(0, 1 - Math.abs(((root.phase - point.index / 3) + 1) % 1 * 3 - 1))
                    anchors.centerIn: parent
                    width: root.minPointSize + (root.maxPointSize - root.minPointSize) * swell
                    height: width
                    radius: width / 2
                    color: root.pointColor
                }
            }
        }
    }

    NumberAnimation on phase {
        from: 0
        to: 1
        duration: 900
        loops: Animation.Infinite
        running: root.visible
    }
}
