import QtQuick
import QtQuick.Shapes
import QtQuick.Window
import Common 1.0
import ComponentsBase 1.0
import Singletons 1.0
import ViewModel 1.0

// The content of the floating menu. Expanded it is a bar of buttons, laid out
// down or across by orientation; collapsed a logo with the record mark and,
// while recording, the time. Sizes are in local units, half the design units.
Item {
    id: root

    required property FlyingViewModel vm
    // The window; a click counts only when the window did not move since the press.
    required property Window dialog
    property var helpToolTip: null

    readonly property bool expanded: state === "expandState"
    readonly property bool idle: appController.videoState === Common.Idle
    readonly property bool recording: appController.videoState === Common.Recording
    readonly property bool busy: appController.videoState === Common.Busy
    readonly property bool vertical: vm.orientation === FlyingViewModel.VERTICAL
    readonly property bool dotsPressed: dotsArea.pressed

    // The menu's size by recording state, orientation and expansion.
    // Until the gallery button is there, the idle bar is that button and its spacer (135) shorter.
    readonly property real menuWidth: localX(vertical ? (expanded ? 110 : 95)
                                                      : idle ? (expanded ? 475 : 470) : (expanded ? 1160 : 540))
    readonly property real menuHeight: localY(!vertical ? (expanded ? 110 : 95)
                                                        : idle ? (expanded ? 475 : 450) : (expanded ? 1100 : 480))

    property int pressWindowX: 0
    property int pressWindowY: 0
    readonly property bool isDragged: dialog.x !== pressWindowX || dialog.y !== pressWindowY

    signal mouseEnted
    signal mouseExited
    // A drag of the window, in the window's own coordinates.
    signal dragPressed(real mouseX, real mouseY)
    signal dragMovedX(real mouseX)
    signal dragMovedY(real mouseY)
    signal dragReleased

    function localX(v) {
        return Dimensions.x(v) * 0.5
    }

    function localY(v) {
        return Dimensions.y(v) * 0.5
    }

    function showToolTip(item, text) {
        if (!helpToolTip || text === "")
            return
        const p = item.mapToGlobal(0, 0)
        helpToolTip.showToolTipByScreen(text, p.x, p.y, item.width, item.height)
    }

    function hideToolTip() {
        if (helpToolTip)
            helpToolTip.hideToolTip()
    }

    onDragPressed: {
        pressWindowX = dialog.x
        pressWindowY = dialog.y
    }

    state: "expandState"
    states: [
        State {
            name: "expandState"
        },
        State {
            name: "collapseState"
        }
    ]

    // Expanded: the buttons, after room for the pin and the dots.
    Flow {
        id: unpinLayout
        visible: root.expanded
        x: root.localX(10)
        y: root.localY(10)
        width: root.menuWidth
        height: root.menuHeight
        flow: root.vertical ? Flow.TopToBottom : Flow.LeftToRight

        Spacer {
            menu: root
            length: 85
        }

        FlyingMenuButton {
            id: photoButton
            menu: root
            iconSource: "qrc:/images/FlyingDialog/camera.svg"
            toolTipText: "Take a screenshot"
            onActivated: appController.showScreenDialogs(Common.SCREENSHOT)
        }

        Spacer {
            menu: root
        }

        FlyingMenuButton {
            id: videoButton
            menu: root
            clickable: !root.busy
            iconSize: root.recording && hovered ? 98 : 95
            iconSource: root.idle ? "qrc:/images/FlyingDialog/record.svg"
                                  : root.recording && hovered ? "qrc:/images/FlyingDialog/recording.svg" : ""
            toolTipText: root.recording ? "Stop recording (Alt+S)" : "Start recording"
            onActivated: {
                if (root.recording)
                    appController.toggleRecordingSkin()
                else
                    appController.showScreenDialogs(Common.VIDERECORDING)
            }

            PlayRecImage {
                anchors.centerIn: parent
                height: root.localY(55)
                recording: root.recording
                visible: root.recording && !videoButton.hovered
            }

            DotsBusyRec {
                anchors.centerIn: parent
                width: root.localX(100)
                height: root.localY(50)
                minPointSize: root.localX(16)
                maxPointSize: root.localX(24)
                pointColor: "white"
                visible: root.busy
            }
        }

        Spacer {
            menu: root
            visible: unpinTime.visible
        }

        Item {
            id: unpinTime
            visible: root.recording
            // As wide as the time across, so that the row keeps within the bar.
            width: root.vertical ? root.localX(110) : timeText.implicitWidth
            height: root.localY(110)

            Text {
                id: timeText
                anchors.centerIn: parent
                text: uiController.shortRecTime
                font: Appearance.regular18
                color: "white"
            }
        }

        Spacer {
            menu: root
            visible: micButton.visible
        }

        FlyingLevelButton {
            id: micButton
            menu: root
            visible: !root.idle
            readonly property bool hasMics: appController.micsModel.length > 0
            clickable: root.recording && hasMics
            iconSource: !hasMics ? "qrc:/images/FlyingDialog/mic-disabled.svg"
                                 : settingsManager.muteAudio ? "qrc:/images/FlyingDialog/mic-inactive.svg"
                                                             : "qrc:/images/FlyingDialog/mic.svg"
            levelSource: "qrc:/images/FlyingDialog/mic-green.svg"
            levelFallbackSource: "qrc:/images/FlyingDialog/mic.svg"
            levelVisible: hasMics && !settingsManager.muteAudio
            level: Math.min(1.0, Math.max(0.0, appController.micLevel / 100))
            toolTipText: !hasMics ? "No Microphone detected"
                                  : settingsManager.enableMic ? "Stop Microphone recording" : "Start Microphone recording"
            onActivated: appController.toggleMike()
        }

        Spacer {
            menu: root
            visible: soundButton.visible
        }

        FlyingLevelButton {
            id: soundButton
            menu: root
            visible: !root.idle
            readonly property bool hasPlayback: appController.hasPlaybackAudioDevices
            clickable: root.recording
            iconSource: !hasPlayback ? "qrc:/images/FlyingDialog/volume-disabled.svg"
                                     : settingsManager.systemSounds ? "qrc:/images/FlyingDialog/volume-inactive.svg"
                                                                    : "qrc:/images/FlyingDialog/volume.svg"
            levelSource: "qrc:/images/FlyingDialog/volume-green.svg"
            levelFallbackSource: "qrc:/images/FlyingDialog/volume.svg"
            // systemSounds set means system sound is off.
            levelVisible: hasPlayback && !settingsManager.systemSounds
            level: Math.max(0.06, Math.min(1.0, Math.max(0.0, appController.sysLevel / 100)))
            toolTipText: !hasPlayback ? "No Playback Device detected"
                                      : settingsManager.systemSounds ? "Start System Audio recording"
                                                                     : "Stop System Audio recording"
            onActivated: appController.toggleSys()
        }

        Spacer {
            menu: root
            visible: vebcamButton.visible
        }

        FlyingMenuButton {
            id: vebcamButton
            menu: root
            visible: !root.idle
            readonly property bool hasWebcams: uiController.webcamsModel.length > 0
            readonly property bool webcamOn: !settingsManager.muteCamera && uiController.currentWebcam >= 0
            clickable: root.recording && hasWebcams && uiController.currentWebcam >= 0
            iconSize: root.recording && hovered ? 98 : 95
            iconSource: !hasWebcams ? "qrc:/images/FlyingDialog/webcam-disabled.svg"
                                    : webcamOn ? "qrc:/images/FlyingDialog/webcam.svg"
                                               : "qrc:/images/FlyingDialog/webcam-inactive.svg"
            toolTipText: !hasWebcams ? "No Webcam detected"
                                     : webcamOn ? "Stop Webcam recording" : "Start Webcam recording"
            onActivated: appController.toggleCamera()
        }

        Spacer {
            menu: root
            visible: divider.visible
        }

        Item {
            id: divider
            visible: !root.idle
            width: root.localX(root.vertical ? 110 : 45)
            height: root.localY(root.vertical ? 45 : 110)

            Shape {
                anchors.fill: parent

                ShapePath {
                    strokeWidth: root.localX(5)
                    strokeColor: Appearance.flyingDivider
                    strokeStyle: ShapePath.DashLine
                    dashPattern: [0.1, 2]
                    capStyle: ShapePath.RoundCap
                    fillColor: "transparent"
                    startX: root.vertical ? divider.width * 0.25 : divider.width / 2
                    startY: root.vertical ? divider.height / 2 : divider.height * 0.25

                    PathLine {
                        x: root.vertical ? divider.width * 0.75 : divider.width / 2
                        y: root.vertical ? divider.height / 2 : divider.height * 0.75
                    }
                }
            }
        }

        // The gallery button joins here, between the divider and settings, with the gallery window.

        Spacer {
            menu: root
        }

        FlyingMenuButton {
            id: settingsButton
            menu: root
            iconSource: "qrc:/images/FlyingDialog/setting.svg"
            toolTipText: "Settings"
            onActivated: uiController.showSettingsSignal()
        }
    }

    // Collapsed: the time while recording, the record mark and the logo.
    Grid {
        id: pinLayout
        visible: !root.expanded
        anchors.centerIn: parent
        flow: root.vertical ? Grid.TopToBottom : Grid.LeftToRight
        columns: root.vertical ? 1 : 3
        rows: root.vertical ? 3 : 1
        spacing: root.localX(10)
        horizontalItemAlignment: Grid.AlignHCenter
        verticalItemAlignment: Grid.AlignVCenter

        Text {
            id: pinTime
            visible: root.recording
            text: uiController.shortRecTime
            font: Appearance.regular18
            color: "white"
        }

        PlayRecImage {
            height: root.localY(55)
            recording: root.recording
        }

        Image {
            width: root.localX(root.vertical ? 90 : 350)
            height: root.localY(root.vertical ? 350 : 90)
            sourceSize: Qt.size(width, height)
            source: root.vertical ? "qrc:/images/FlyingDialog/logo-white-vertical.svg"
                                  : "qrc:/images/FlyingDialog/logo-white-horizontal.svg"
        }
    }

    // The pin, only when expanded.
    ButtonBase {
        id: pinButton
        property int xMoves: 0
        property int yMoves: 0

        x: root.localX(15)
        y: root.localY(20)
        width: root.localX(45)
        height: root.localY(45)
        opacity: root.expanded ? 1 : 0
        visible: opacity > 0
        iconSource: root.vm.isPinned ? "qrc:/images/FlyingDialog/pin.svg" : "qrc:/images/FlyingDialog/pin-circle.svg"

        Behavior on opacity {
            NumberAnimation {
                duration: 3 * root.vm.sizeAnimationDuration
            }
        }

        onEntered: root.showToolTip(pinButton, root.vm.isPinned ? "Pin it to stay maximized" : "Pin it to stay minimized")
        onExited: root.hideToolTip()
        onMousePressed: (mouseX, mouseY) => {
            xMoves = 0
            yMoves = 0
            root.hideToolTip()
            const p = pinButton.mapToItem(null, mouseX, mouseY)
            root.dragPressed(p.x, p.y)
        }
        onPressedMoveX: mouseX => {
            ++xMoves
            root.dragMovedX(pinButton.mapToItem(null, mouseX, 0).x)
        }
        onPressedMoveY: mouseY => {
            ++yMoves
            root.dragMovedY(pinButton.mapToItem(null, 0, mouseY).y)
        }
        onMouseReleased: root.dragReleased()
        onClicked: {
            if (xMoves === 0 && yMoves === 0)
                root.vm.isPinned = !root.vm.isPinned
        }
    }

    // The dots handle, only when expanded.
    Image {
        id: dots
        x: root.localX(root.vertical ? 70 : 20)
        y: root.localY(root.vertical ? 20 : 70)
        width: root.localX(50)
        height: root.localY(40)
        sourceSize: Qt.size(width, height)
        fillMode: Image.PreserveAspectFit
        source: "qrc:/images/FlyingDialog/dots.svg"
        opacity: pinButton.opacity
        visible: opacity > 0

        MouseArea {
            id: dotsArea
            anchors.fill: parent
            cursorShape: pressed ? Qt.ClosedHandCursor : Qt.OpenHandCursor
            onPressed: mouse => {
                const p = dots.mapToItem(null, mouse.x, mouse.y)
                root.dragPressed(p.x, p.y)
            }
            onMouseXChanged: {
                if (pressed)
                    root.dragMovedX(dots.mapToItem(null, mouseX, 0).x)
            }
            onMouseYChanged: {
                if (pressed)
                    root.dragMovedY(dots.mapToItem(null, 0, mouseY).y)
            }
            onReleased: root.dragReleased()
        }
    }

    // Room between the items of the expanded bar, along its direction.
    component Spacer: Item {
        required property Item menu
        property real length: 25
        width: menu.vertical ? menu.localX(110) : menu.localX(length)
        height: menu.vertical ? menu.localY(length) : menu.localY(110)
    }
}
