import QtQuick
import Singletons 1.0

// One entry of the settings window's menu. A hidden entry takes no room.
Rectangle {
    id: root

    property alias text: label.text

    signal clicked

    implicitWidth: label.implicitWidth + 2 * Dimensions.x(40)
    height: visible ? Dimensions.y(90) : 0
    color: mouseArea.containsMouse ? Appearance.hoverColor : "transparent"
    radius: Dimensions.x(10)

    Text {
        id: label
        x: Dimensions.x(40)
        anchors.verticalCenter: parent.verticalCenter
        font: Appearance.regular36
        color: Appearance.settingsText
    }

    MouseArea {
        id: mouseArea
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: root.clicked()
    }
}
