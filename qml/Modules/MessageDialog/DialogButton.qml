import QtQuick
import Singletons 1.0

// A rounded, outlined button in the brand colour with a label and an
// optional icon before it. The filled kind, for the main answer, has a tint
// of the brand colour behind it.
Rectangle {
    id: root

    property string text
    property url iconSource: ""
    property bool filled: false
    readonly property alias hovered: mouseArea.containsMouse

    signal clicked

    implicitWidth: content.implicitWidth + Dimensions.x(60)
    implicitHeight: Dimensions.y(100)
    radius: Dimensions.x(20)
    color: hovered ? (filled ? "#E4CCFF" : Appearance.hoverColor) : (filled ? Appearance.hoverColor : "transparent")
    border.width: Math.max(1, Dimensions.x(3))
    border.color: Appearance.brandColor

    Row {
        id: content
        anchors.centerIn: parent
        spacing: Dimensions.x(15)

        Image {
            visible: root.iconSource != ""
            anchors.verticalCenter: parent.verticalCenter
            source: root.iconSource
            width: Dimensions.x(48)
            height: Dimensions.y(48)
            sourceSize: Qt.size(width, height)
            fillMode: Image.PreserveAspectFit
        }

        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: root.text
            font: Appearance.regular36
            color: Appearance.brandColor
        }
    }

    MouseArea {
        id: mouseArea
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: root.clicked()
    }
}
