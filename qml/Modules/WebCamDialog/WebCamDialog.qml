import QtQuick
import QtQuick.Window
import QtMultimedia
import Qt5Compat.GraphicalEffects
import ViewModel 1.0
import "WebCamGeometry.js" as Geometry

// The camera picture in a round window inside the recorded area, so that the
// recording captures it. Dragged within the frame; its size, place and
// corner are saved when it stops and when its size changes.
Window {
    id: root

    property WebCamViewModel vm: null
    property var webCamMenu: null
    property int frameX: 0
    property int frameY: 0
    property int frameWidth: 0
    property int frameHeight: 0
    readonly property bool full: vm !== null && vm.size === WebCamViewModel.FULL
    readonly property bool roundMaskAvailable: GraphicsInfo.api !== GraphicsInfo.Software
    readonly property int dotsHeight: Dimensions.y(50)

    function startWebCamDialog(fx, fy, fw, fh) {
        frameX = fx
        frameY = fy
        frameWidth = fw
        frameHeight = fh
        vm.size = settingsManager.readSettingInt("camera_fullframe")
        if (vm.size === WebCamViewModel.FULL) {
            root.x = 0
            root.y = 0
            root.width = frameWidth
            root.height = frameHeight
        } else {
            const side = Geometry.sideForPercentage(frameWidth, frameHeight, uiController.camera_size_percentage())
            root.width = side
            root.height = side
            placeAtSavedCorner()
        }
        show()
        updateX(0)
        updateY(0)
    }

    function stopWebCamDialog() {
        save()
        camera.stop()
        hide()
    }

    function placeAtSavedCorner() {
        root.x = Geometry.cornerPosition(settingsManager.readSettingInt("camera_corner_x"), frameX, frameWidth,
                                         root.width, settingsManager.readSettingDouble("camera_relative_pos_x"))
        root.y = Geometry.cornerPosition(settingsManager.readSettingInt("camera_corner_y"), frameY, frameHeight,
                                         root.height, settingsManager.readSettingDouble("camera_relative_pos_y"))
    }

    function updateX(dx) {
        root.x = Geometry.moved(root.x, root.width, dx, frameX, frameWidth)
    }

    function updateY(dy) {
        root.y = Geometry.moved(root.y, root.height, dy, frameY, frameHeight)
    }

    function save() {
        if (frameWidth <= 0 || frameHeight <= 0)
            return
        const s = Geometry.savedState(root.x, root.y, root.width, root.height, frameX, frameY, frameWidth, frameHeight)
        settingsManager.writeSetting("camera_size_percentage", s.percentage)
        settingsManager.writeSetting("camera_fullframe", vm.size)
        settingsManager.writeSetting("camera_relative_pos_x", s.relativeX)
        settingsManager.writeSetting("camera_relative_pos_y", s.relativeY)
        settingsManager.writeSetting("camera_corner_x", s.cornerX)
        settingsManager.writeSetting("camera_corner_y", s.cornerY)
    }

    // A new size choice: SMALL and LARGE need a frame large enough, else the
    // choice falls back to CUSTOM and nothing changes.
    function applySize() {
        if (!visible || vm.size === WebCamViewModel.CUSTOM)
            return
        save()
        if (vm.size === WebCamViewModel.FULL) {
            root.x = 0
            root.y = 0
            root.width = frameWidth
            root.height = frameHeight
        } else {
            const side = Geometry.sideForSize(vm.size, frameWidth, frameHeight, Dimensions.x(410), Dimensions.x(600))
            if (side < 0) {
                vm.size = WebCamViewModel.CUSTOM
                return
            }
            root.width = side
            root.height = side
            placeAtSavedCorner()
        }
        updateX(0)
        updateY(0)
        save()
    }

    function updateMenuPos() {
        if (vm && webCamMenu)
            vm.updateMenuPos(root.x, root.y, root.width, root.height, webCamMenu.width, webCamMenu.height, dotsHeight)
    }

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, full ? 0 : width / 2)
    }

    title: "webCamDialog"
    flags: Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint | Qt.ToolTip | Qt.NoDropShadowWindowHint
    color: "transparent"

    onXChanged: updateMenuPos()
    onYChanged: updateMenuPos()
    onWidthChanged: {
        updateMenuPos()
        applyMask()
    }
    onHeightChanged: applyMask()
    onVisibleChanged: applyMask()

    Component.onCompleted: {
        const inputs = mediaDevices.videoInputs
        const index = uiController.currentWebcam
        if (index >= 0 && index < inputs.length) {
            camera.cameraDevice = inputs[index]
            camera.start()
        } else {
            console.log("Camera is unavailable")
        }
    }

    Connections {
        target: root.vm
        function onSizeChanged() {
            root.applySize()
        }
    }

    // Over whatever else opens during the recording.
    Timer {
        interval: 1000
        repeat: true
        running: root.visible
        onTriggered: root.raise()
    }

    MediaDevices {
        id: mediaDevices
    }

    Camera {
        id: camera
        active: false
    }

    CaptureSession {
        camera: camera
        videoOutput: videoOutput
    }

    // Gray until the camera delivers, and the whole picture without one.
    Rectangle {
        anchors.fill: parent
        radius: root.full ? 0 : width / 2
        color: camera.active ? "transparent" : "gray"
    }

    Item {
        id: picture
        anchors.fill: parent
        transform: Scale {
            origin.x: picture.width / 2
            xScale: root.vm && root.vm.mirrorWebcam ? -1 : 1
        }

        VideoOutput {
            id: videoOutput
            anchors.fill: parent
            fillMode: VideoOutput.PreserveAspectCrop
            // The software scene renderer has no shader effects: there the
            // picture shows square inside the round window.
            visible: root.full || !root.roundMaskAvailable
        }

        OpacityMask {
            anchors.fill: parent
            source: videoOutput
            visible: !root.full && root.roundMaskAvailable
            maskSource: Rectangle {
                width: picture.width
                height: picture.height
                radius: width / 2
            }
        }
    }

    // Drags the window within the frame; the pointer over it brings the menu.
    MouseArea {
        property real pressX: 0
        property real pressY: 0

        anchors.fill: parent
        hoverEnabled: true
        cursorShape: pressed ? Qt.ClosedHandCursor : Qt.OpenHandCursor
        onPressed: mouse => {
            pressX = mouse.x
            pressY = mouse.y
        }
        onPositionChanged: mouse => {
            if (!pressed)
                return
            root.updateX(mouse.x - pressX)
            root.updateY(mouse.y - pressY)
        }
        onEntered: {
            if (root.webCamMenu) {
                root.updateMenuPos()
                root.webCamMenu.showMenu()
            }
        }
        onExited: {
            if (root.webCamMenu)
                root.webCamMenu.hideMenuLater()
        }
    }
}
