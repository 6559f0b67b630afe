import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Window
import Singletons 1.0

// The microphone volume of the recording panel: a slider from 0 to 299 that
// stands upright, loud at the top. It shows the current level when it opens
// and sets every change at once.
Window {
    id: root

    property alias value: slider.value
    readonly property int windowRadius: Dimensions.x(20)

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, windowRadius)
    }

    title: "micSliderPopup"
    flags: Qt.ToolTip | Qt.FramelessWindowHint
    color: "transparent"
    width: Dimensions.x(125)
    height: Dimensions.y(420)
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height

    onVisibleChanged: {
        if (visible)
            slider.value = appController.getMikeLevel()
        applyMask()
    }
    onWidthChanged: applyMask()
    onHeightChanged: applyMask()
    Component.onCompleted: slider.value = appController.getMikeLevel()

    Rectangle {
        anchors.fill: parent
        color: "white"
        radius: root.windowRadius
        border.width: 1
        border.color: Appearance.brandColor
    }

    Slider {
        id: slider
        anchors.centerIn: parent
        width: root.height - 2 * Dimensions.y(40)
        height: Dimensions.x(60)
        rotation: -90
        from: 0
        to: 299
        stepSize: 1
        onValueChanged: appController.setMikeLevel(value)

        background: Rectangle {
            x: slider.leftPadding
            y: slider.topPadding + (slider.availableHeight - height) / 2
            width: slider.availableWidth
            height: Dimensions.x(20)
            radius: height / 2
            color: Appearance.sliderTrack

            Rectangle {
                width: slider.visualPosition * parent.width
                height: parent.height
                radius: parent.radius
                color: Appearance.brandColor
            }
        }

        handle: Rectangle {
            x: slider.leftPadding + slider.visualPosition * (slider.availableWidth - width)
            y: slider.topPadding + (slider.availableHeight - height) / 2
            width: Dimensions.x(38)
            height: width
            radius: width / 2
            color: Appearance.brandColor
        }
    }
}
