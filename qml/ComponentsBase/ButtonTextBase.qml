import QtQuick

// A rounded text button. Its colours are the caller's: outlined by default,
// and drawn in `checkedColor` with `checkedTextColor` while checked, for
// buttons of which one is chosen.
Rectangle {
    id: root

    property alias text: label.text
    property alias font: label.font
    property color textColor: "black"
    property color backgroundColor: "transparent"
    property color hoverColor: backgroundColor
    property color checkedColor: textColor
    property color checkedTextColor: "white"
    property bool checked: false
    property real horizontalPadding: 0
    readonly property alias hovered: mouseArea.containsMouse

    signal clicked
    signal entered
    signal exited

    implicitWidth: label.implicitWidth + 2 * horizontalPadding
    opacity: enabled ? 1.0 : 0.5
    color: checked ? checkedColor : hovered && enabled ? hoverColor : backgroundColor
    border.width: 1

    Text {
        id: label
        anchors.centerIn: parent
        width: Math.min(implicitWidth, root.width - 2 * root.horizontalPadding)
        elide: Text.ElideRight
        color: root.checked ? root.checkedTextColor : root.textColor
    }

    MouseArea {
        id: mouseArea
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: root.enabled ? Qt.PointingHandCursor : Qt.ArrowCursor
        onClicked: root.clicked()
        onEntered: root.entered()
        onExited: root.exited()
    }
}
