import QtQuick
import QtQuick.Window

// The red dashed frame around the recorded area. The window is the area grown
// by the line width on every side and lets all pointer input through; the
// stroke runs along the window's edge, so only its outer half is drawn and
// the frame never enters the recording.
Window {
    id: root

    readonly property int ctxLineWidth: Dimensions.x(8)
    property int calcX: 0
    property int calcY: 0
    property int calcWidth: 0
    property int calcHeight: 0
    // The recorded area, as selected (even sizes).
    property int areaX: 0
    property int areaY: 0
    property int areaWidth: 0
    property int areaHeight: 0
    property var vm: null

    signal updateMenuPosition(int calcX, int calcY, int calcWidth, int calcHeight)
    // The webcam overlay is wanted inside the recorded area, or no longer wanted.
    signal webCamDialogRequested(int frameX, int frameY, int frameWidth, int frameHeight)
    signal webCamDialogDismissed

    function showVideoRecordingDialog(x, y, width, height, screenIndex) {
        if (visible)
            return
        // Even sizes, as the encoder wants them.
        width -= width % 2
        height -= height % 2
        areaX = x
        areaY = y
        areaWidth = width
        areaHeight = height
        calcX = x - ctxLineWidth
        calcY = y - ctxLineWidth
        calcWidth = width + 2 * ctxLineWidth
        calcHeight = height + 2 * ctxLineWidth
        updateMenuPosition(calcX, calcY, calcWidth, calcHeight)
        root.x = calcX
        root.y = calcY
        root.width = calcWidth
        root.height = calcHeight
        if (!settingsManager.muteCamera && uiController.currentWebcam >= 0)
            webCamDialogRequested(areaX, areaY, areaWidth, areaHeight)
        if (uiController.checkSelectedVideoRectangle(width, height)) {
            uiController.setSelectedRectangle(x, y, width, height, screenIndex)
            appController.toggleRecordingSkin()
        }
        show()
    }

    // Without a compositor only the ring of the frame may belong to the
    // window; anything else would show black over the recorded area.
    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setRecordingFrameMask(root, ctxLineWidth)
    }

    title: "videoRecordingDialog"
    flags: Qt.ToolTip | Qt.WindowStaysOnTopHint | Qt.FramelessWindowHint | Qt.NoDropShadowWindowHint
           | Qt.WindowTransparentForInput
    color: "transparent"

    onVisibleChanged: {
        applyMask()
        if (!visible)
            webCamDialogDismissed()
    }
    onWidthChanged: applyMask()
    onHeightChanged: applyMask()

    Canvas {
        id: canvas
        anchors.fill: parent
        onWidthChanged: requestPaint()
        onHeightChanged: requestPaint()
        onPaint: {
            const ctx = getContext("2d")
            ctx.reset()
            ctx.strokeStyle = "#FD0103"
            ctx.lineWidth = root.ctxLineWidth
            // Dashes of 12 units on, 6 off; the canvas counts them in line widths.
            ctx.setLineDash([Dimensions.x(12) / root.ctxLineWidth, Dimensions.x(6) / root.ctxLineWidth])
            ctx.beginPath()
            ctx.moveTo(0, 0)
            ctx.lineTo(width, y)
            ctx.lineTo(width, height)
            ctx.lineTo(0, height)
            ctx.lineTo(0, 0)
            ctx.stroke()
        }
    }
}
