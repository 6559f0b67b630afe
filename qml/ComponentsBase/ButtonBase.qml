import QtQuick

// A button of an icon on a coloured rectangle that takes the hover colour
// under the pointer. It stays hoverable when it can't be clicked, so that a
// tool tip can still say why; `clickable` decides whether clicks count.
Rectangle {
    id: root

    property alias iconSource: icon.source
    property real iconWidth: width
    property real iconHeight: height
    property color backgroundColor: "transparent"
    property color hoverColor: backgroundColor
    property bool clickable: true
    readonly property alias hovered: mouseArea.containsMouse
    readonly property alias pressed: mouseArea.pressed
    readonly property alias mouseArea: mouseArea
    readonly property alias iconItem: icon

    signal clicked(var mouse)
    signal entered
    signal exited
    // The raw press, release and moves during a press, in the button's own
    // coordinates, for windows that are dragged by their buttons.
    signal mousePressed(real mouseX, real mouseY)
    signal mouseReleased
    signal pressedMoveX(real mouseX)
    signal pressedMoveY(real mouseY)

    color: clickable && hovered ? hoverColor : backgroundColor

    // Above what a button adds behind its icon (z 0); overlays take z 2.
    Image {
        id: icon
        z: 1
        anchors.centerIn: parent
        width: root.iconWidth
        height: root.iconHeight
        sourceSize: Qt.size(width, height)
        fillMode: Image.PreserveAspectFit
        smooth: true
    }

    MouseArea {
        id: mouseArea
        anchors.fill: parent
        hoverEnabled: true
        onClicked: mouse => {
            if (root.clickable)
                root.clicked(mouse)
        }
        onEntered: root.entered()
        onExited: root.exited()
        onPressed: mouse => root.mousePressed(mouse.x, mouse.y)
        onReleased: root.mouseReleased()
        onMouseXChanged: {
            if (pressed)
                root.pressedMoveX(mouseX)
        }
        onMouseYChanged: {
            if (pressed)
                root.pressedMoveY(mouseY)
        }
    }
}
