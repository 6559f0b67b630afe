import QtQuick
import QtQuick.Window
import Singletons 1.0

// The hint of the first start: which key starts a capture. It goes when the
// user presses that key, or with its cross; it can be dragged out of the way.
Window {
    id: root

    readonly property int windowRadius: Dimensions.x(30)

    function centre() {
        x = Dimensions.getAvailableX() + (Dimensions.getAvailableWidth() - width) / 2
        y = Dimensions.getAvailableY() + (Dimensions.getAvailableHeight() - height) / 2
    }

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, windowRadius)
    }

    title: "firstDialog"
    flags: Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint
    color: "transparent"
    width: Dimensions.x(1050)
    height: Dimensions.y(350)

    Component.onCompleted: centre()
    onVisibleChanged: applyMask()
    onWidthChanged: applyMask()
    onHeightChanged: applyMask()

    Rectangle {
        anchors.fill: parent
        radius: root.windowRadius
        color: Appearance.brandColor

        // Dragging anywhere but the cross moves the window.
        MouseArea {
            property point pressedAt

            anchors.fill: parent
            onPressed: mouse => pressedAt = Qt.point(mouse.x, mouse.y)
            onPositionChanged: mouse => {
                root.x += mouse.x - pressedAt.x
                root.y += mouse.y - pressedAt.y
            }
        }
    }

    Image {
        id: logo
        x: Dimensions.x(60)
        y: Dimensions.y(60)
        width: Dimensions.x(350)
        height: Dimensions.y(90)
        sourceSize: Qt.size(width, height)
        source: "qrc:/images/FlyingDialog/logo-white-horizontal.svg"
        fillMode: Image.PreserveAspectFit
    }

    Text {
        anchors.left: logo.left
        anchors.right: parent.right
        anchors.rightMargin: Dimensions.x(60)
        anchors.top: logo.bottom
        anchors.bottom: parent.bottom
        anchors.bottomMargin: Dimensions.y(40)
        text: "Press <b>Alt+S</b> now to capture your screen"
        textFormat: Text.StyledText
        font: Appearance.regular42
        color: Appearance.firstDialogText
        verticalAlignment: Text.AlignVCenter
        wrapMode: Text.WordWrap
    }

    Image {
        objectName: "closeButton"
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.margins: Dimensions.x(40)
        width: Dimensions.x(50)
        height: Dimensions.y(50)
        sourceSize: Qt.size(width, height)
        source: "qrc:/images/FirstDialog/cross.svg"

        MouseArea {
            anchors.fill: parent
            anchors.margins: -Dimensions.x(15)
            cursorShape: Qt.PointingHandCursor
            onClicked: root.hide()
        }
    }
}
