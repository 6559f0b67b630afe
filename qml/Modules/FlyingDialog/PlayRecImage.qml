import QtQuick
import Qt5Compat.GraphicalEffects

// The record mark. While a recording runs it blinks red and white; the
// animation runs only then, and only while the mark is on screen.
Item {
    id: root

    property bool recording: false

    implicitWidth: height

    Image {
        id: recPoint
        anchors.fill: parent
        source: "qrc:/images/FlyingDialog/rec-point.svg"
        sourceSize: Qt.size(width, height)
        fillMode: Image.PreserveAspectFit
        visible: !root.recording
    }

    ColorOverlay {
        id: overlay
        anchors.fill: recPoint
        source: recPoint
        visible: root.recording

        SequentialAnimation on color {
            loops: Animation.Infinite
            running: root.recording && root.visible
            onRunningChanged: {
                if (!running)
                    overlay.color = "red"
            }

            ColorAnimation {
                from: "red"
                to: "white"
                duration: 250
            }
            ColorAnimation {
                from: "white"
                to: "red"
                duration: 250
            }
            ColorAnimation {
                from: "red"
                to: "white"
                duration: 250
            }
        }
    }
}
