import QtQuick
import QtQuick.Window
import Singletons 1.0

// A tool tip window with a small pointer towards its anchor. It shows half a
// second after it is asked for, so a pointer passing over a button shows
// nothing; hideToolTip in that time cancels it.
Window {
    id: root

    property string text
    // The pointer is on the top edge (tool tip below the anchor) or the bottom one.
    property bool pointerAtTop: false
    // The pointer's left edge, from the window's left edge.
    property real pointerLeft: (width - pointerSize) / 2
    readonly property int pointerSpace: Dimensions.y(30)
    readonly property int pointerSize: Dimensions.x(24)
    readonly property int windowRadius: Dimensions.x(10)
    // Without a compositor the transparent strip around the pointer would show
    // black, so the body fills the window and the corners come from a mask.
    readonly property bool drawPointer: uiController.dwmIsCompositionEnabled

    // Above the anchor, centred on it.
    function showToolTip(text, posX, posY, itemWidth) {
        root.text = text
        pointerAtTop = false
        pointerLeft = (width - pointerSize) / 2
        x = posX - width / 2 + itemWidth / 2
        y = posY - height
        scheduleShow()
    }

    // Below the anchor, centred on it.
    function showToolTipBottom(text, posX, posY, itemWidth, itemHeight) {
        root.text = text
        pointerAtTop = true
        pointerLeft = (width - pointerSize) / 2
        x = posX - width / 2 + itemWidth / 2
        y = posY + itemHeight
        scheduleShow()
    }

    // Shows the tool tip after the delay, where it has been placed.
    function scheduleShow() {
        showTimer.restart()
    }

    function hideToolTip() {
        showTimer.stop()
        hide()
    }

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, windowRadius)
    }

    title: "helpToolTip"
    flags: Qt.ToolTip | Qt.FramelessWindowHint
    color: "transparent"
    width: label.implicitWidth + Dimensions.x(30)
    height: label.implicitHeight + Dimensions.y(60)

    onVisibleChanged: applyMask()
    onWidthChanged: applyMask()
    onHeightChanged: applyMask()

    Timer {
        id: showTimer
        interval: Configuration.toolTipDelay
        onTriggered: {
            root.show()
            root.raise()
        }
    }

    Rectangle {
        id: pointer
        visible: root.drawPointer
        x: root.pointerLeft
        y: root.pointerAtTop ? root.pointerSpace - height / 2 : root.height - root.pointerSpace - height / 2
        width: root.pointerSize
        height: root.pointerSize
        rotation: 45
        color: Appearance.toolTipBackground
    }

    Rectangle {
        id: body
        y: root.drawPointer && root.pointerAtTop ? root.pointerSpace : 0
        width: root.width
        height: root.drawPointer ? root.height - root.pointerSpace : root.height
        radius: root.windowRadius
        color: Appearance.toolTipBackground

        Text {
            id: label
            anchors.centerIn: parent
            text: root.text
            font: Appearance.regular30
            lineHeight: Appearance.lineHeight
            color: Appearance.toolTipText
            horizontalAlignment: Text.AlignHCenter
        }
    }
}
