import QtQuick
import QtQuick.Window
import ComponentsBase 1.0
import Singletons 1.0
import ViewModel 1.0

// The small menu of the webcam window: size choices, mirror and close. It
// shows while the pointer is over the webcam or over itself.
Window {
    id: root

    property WebCamViewModel vm: null
    readonly property int windowRadius: Dimensions.x(20)

    // Asks main.qml to close the webcam.
    signal closeWebcam

    function showMenu() {
        hideTimer.stop()
        show()
        raise()
    }

    // Hides the menu unless the pointer reaches it first.
    function hideMenuLater() {
        hideTimer.restart()
    }

    function chooseSize(size) {
        vm.size = size
        visible = false
        hide()
    }

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, windowRadius)
    }

    title: "webCamMenu"
    flags: Qt.ToolTip | Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint
    color: "transparent"
    x: vm ? vm.menuXPos : 0
    y: vm ? vm.menuYPos : 0
    width: row.implicitWidth
    height: Dimensions.y(120)

    onVisibleChanged: {
        if (!visible)
            hideTimer.stop()
        applyMask()
    }
    onWidthChanged: applyMask()
    onHeightChanged: applyMask()

    Timer {
        id: hideTimer
        interval: 1000
        onTriggered: {
            if (!hoverArea.containsMouse)
                root.hide()
        }
    }

    Rectangle {
        anchors.fill: parent
        color: "white"
        radius: root.windowRadius
        border.width: 1
        border.color: Appearance.brandColor
    }

    MouseArea {
        id: hoverArea
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.NoButton
        onEntered: hideTimer.stop()
        onExited: hideTimer.restart()
    }

    Row {
        id: row
        anchors.verticalCenter: parent.verticalCenter
        leftPadding: Dimensions.x(20)
        rightPadding: Dimensions.x(20)
        spacing: Dimensions.x(10)

        component MenuButton: ButtonBase {
            width: Dimensions.x(90)
            height: Dimensions.y(90)
            iconWidth: Dimensions.x(60)
            iconHeight: Dimensions.y(60)
            radius: Dimensions.x(10)
            backgroundColor: "white"
            hoverColor: Appearance.hoverColor
        }

        MenuButton {
            iconSource: "qrc:/images/WebCamDialog/circle.svg"
            onClicked: root.chooseSize(WebCamViewModel.SMALL)
        }
        MenuButton {
            iconSource: "qrc:/images/WebCamDialog/circle-large.svg"
            onClicked: root.chooseSize(WebCamViewModel.LARGE)
        }
        MenuButton {
            iconSource: "qrc:/images/WebCamDialog/fullscreen.svg"
            onClicked: root.chooseSize(WebCamViewModel.FULL)
        }
        MenuButton {
            iconSource: "qrc:/images/WebCamDialog/mirror.svg"
            onClicked: root.vm.mirrorWebcam = !root.vm.mirrorWebcam
        }
        MenuButton {
            iconSource: "qrc:/images/WebCamDialog/close.svg"
            onClicked: {
                root.hide()
                root.closeWebcam()
            }
        }
    }
}
