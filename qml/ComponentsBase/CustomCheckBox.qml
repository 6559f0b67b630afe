import QtQuick

// An on/off switch that shows `checked` and reports a click; the owner decides
// what the click changes, so the switch never drifts from the setting it shows.
Item {
    id: root

    property bool checked: false
    property color onColor: "#5100A4"
    property color offColor: "#BDBEBF"
    readonly property alias hovered: mouseArea.containsMouse

    signal clicked

    implicitWidth: Dimensions.x(110)
    implicitHeight: Dimensions.y(60)
    opacity: enabled ? 1.0 : 0.4

    Rectangle {
        id: track
        anchors.fill: parent
        radius: height / 2
        color: root.checked ? root.onColor : root.offColor

        Behavior on color {
            ColorAnimation {
                duration: 120
            }
        }
    }

    Rectangle {
        readonly property real inset: Dimensions.x(6)
        width: track.height - 2 * inset
        height: width
        radius: width / 2
        y: inset
        x: root.checked ? track.width - width - inset : inset
        color: "white"

        Behavior on x {
            NumberAnimation {
                duration: 120
            }
        }
    }

    MouseArea {
        id: mouseArea
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: root.enabled ? Qt.PointingHandCursor : Qt.ArrowCursor
        onClicked: root.clicked()
    }
}
