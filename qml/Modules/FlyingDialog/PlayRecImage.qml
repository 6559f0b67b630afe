import QtQuick

// The record mark. While a recording runs it blinks red and white; the
// animation runs only then, and only while the mark is on screen. The blinking
// mark is a plain circle of the image's geometry (a disc of radius 9 in a box
// of 24) rather than a colour effect over the image, so that it draws the same
// with or without a GPU: the software scene renderer has no shader effects.
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

    Rectangle {
        id: blinkingPoint
        readonly property real side: Math.min(root.width, root.height) * 18 / 24
        anchors.centerIn: parent
        width: side
        height: side
        radius: side / 2
        color: "red"
        antialiasing: true
        visible: root.recording
    }

    // Red, white, red, white: one colour every 250 ms while recording. Stepped
    // rather than faded, so the menu is drawn four times a second, not at the
    // display's frame rate, while the recording runs.
    Timer {
        property int step: 0

        interval: 250
        repeat: true
        running: root.recording && root.visible
        onTriggered: {
            step = (step + 1) % 2
            blinkingPoint.color = step === 1 ? "white" : "red"
        }
        onRunningChanged: {
            step = 0
            blinkingPoint.color = "red"
        }
    }
}
