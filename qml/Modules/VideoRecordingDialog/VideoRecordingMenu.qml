import QtQuick
import QtQuick.Window
import Common 1.0
import ComponentsBase 1.0
import Singletons 1.0
import ViewModel 1.0

// The recording panel beside the frame: stop, microphone, system sound and
// webcam, and the running time. Its place comes from the view model.
Window {
    id: root

    readonly property int windowRadius: Dimensions.x(20)
    property var helpToolTip: null
    property VideoViewModel vm: null
    property var micSliderPopup: null
    // The red frame, whose rectangle the panel is placed against.
    property var frame: null

    readonly property bool hasMics: appController.micsModel.length > 0
    readonly property bool hasWebcams: uiController.webcamsModel.length > 0
    readonly property real sliderValue: micSliderPopup ? micSliderPopup.value : 0

    function showHelpToolTip(text, item) {
        if (!helpToolTip)
            return
        const p = item.mapToGlobal(0, 0)
        if (vm && vm.side === VideoViewModel.BOTTOM)
            helpToolTip.showToolTipBottom(text, p.x, p.y, item.width, item.height)
        else
            helpToolTip.showToolTip(text, p.x, p.y, item.width)
    }

    function hideHelpToolTip() {
        if (helpToolTip)
            helpToolTip.hideToolTip()
    }

    function hideSlider() {
        if (micSliderPopup)
            micSliderPopup.hide()
    }

    // Opens the slider against the microphone button, on the far side from
    // the frame; closes it when open.
    function toggleSlider() {
        if (!micSliderPopup)
            return
        if (micSliderPopup.visible) {
            micSliderPopup.hide()
            return
        }
        const p = micButton.mapToGlobal(0, 0)
        micSliderPopup.x = p.x
        micSliderPopup.y = vm && vm.side === VideoViewModel.TOP ? p.y + micButton.height : p.y - micSliderPopup.height
        micSliderPopup.show()
    }

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, windowRadius)
    }

    title: "videoRecordingMenu"
    flags: Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint
    color: "transparent"
    x: vm ? vm.menuXPos : 0
    y: vm ? vm.menuYPos : 0
    width: buttons.implicitWidth
    height: Dimensions.y(170)

    Behavior on width {
        NumberAnimation {
            duration: 50
            easing.type: Easing.InOutQuad
        }
    }

    onVisibleChanged: applyMask()
    onHeightChanged: applyMask()
    onWidthChanged: {
        applyMask()
        if (vm && frame)
            vm.updateMenuPos(frame.calcX, frame.calcY, frame.calcWidth, frame.calcHeight, width, height)
    }

    Rectangle {
        anchors.fill: parent
        color: "white"
        radius: root.windowRadius
        border.width: 1
        border.color: Appearance.brandColor
    }

    Row {
        id: buttons
        anchors.verticalCenter: parent.verticalCenter
        leftPadding: Dimensions.x(50)
        spacing: Dimensions.x(24)

        PanelButton {
            id: stopButton
            iconSource: "qrc:/images/VideoRecordingDialog/stop-record.svg"
            onClicked: {
                root.hideSlider()
                appController.toggleRecordingSkin()
            }
            onEntered: root.showHelpToolTip("Stop recording (%1)".arg(appController.keySequence), stopButton)
            onExited: root.hideHelpToolTip()
            onMousePressed: root.hideHelpToolTip()
        }

        PanelButton {
            id: micButton
            clickable: root.hasMics
            iconSource: !root.hasMics ? "qrc:/images/VideoRecordingDialog/mic-disabled.svg"
                                      : root.sliderValue === 0 || settingsManager.muteAudio
                                        ? "qrc:/images/VideoRecordingDialog/mic-inactive.svg"
                                        : "qrc:/images/VideoRecordingDialog/mic.svg"
            levelSource: "qrc:/images/VideoRecordingDialog/mic-green.svg"
            levelFallbackSource: "qrc:/images/VideoRecordingDialog/mic.svg"
            levelVisible: root.hasMics && !settingsManager.muteAudio
            level: Math.max(0.06, Math.min(1.0, Math.max(0.0, appController.micLevel / 100)))

            // The volume set on the slider, filling the button from below.
            Rectangle {
                anchors.bottom: parent.bottom
                width: parent.width
                height: parent.height * root.sliderValue / 299
                radius: parent.radius
                color: Appearance.micVolumeFill
                visible: root.hasMics
            }

            // Tells a single click (the slider) from a double click (mute).
            Timer {
                id: clickTimer
                interval: Configuration.doubleClickInterval
                onTriggered: root.toggleSlider()
            }

            onClicked: mouse => {
                if (mouse.button !== Qt.LeftButton)
                    return
                if (clickTimer.running) {
                    clickTimer.stop()
                    root.hideSlider()
                    appController.toggleMike()
                } else {
                    clickTimer.restart()
                }
            }
            onEntered: root.showHelpToolTip(root.hasMics ? "Single click to control the\nmicrophone input volume\n\nDouble click to mute/unmute\nthe microphone"
                                                         : "No Microphone detected", micButton)
            onExited: root.hideHelpToolTip()
            onMousePressed: root.hideHelpToolTip()
        }

        PanelButton {
            id: soundButton
            readonly property bool hasPlayback: appController.hasPlaybackAudioDevices
            clickable: hasPlayback
            iconSource: !hasPlayback ? "qrc:/images/VideoRecordingDialog/volume-disabled.svg"
                                     : settingsManager.systemSounds ? "qrc:/images/VideoRecordingDialog/volume-inactive.svg"
                                                                    : "qrc:/images/VideoRecordingDialog/volume.svg"
            levelSource: "qrc:/images/VideoRecordingDialog/volume-green.svg"
            levelFallbackSource: "qrc:/images/VideoRecordingDialog/volume.svg"
            // systemSounds set means system sound is off.
            levelVisible: hasPlayback && !settingsManager.systemSounds
            level: Math.max(0.06, Math.min(1.0, Math.max(0.0, appController.sysLevel / 100)))
            onClicked: {
                root.hideSlider()
                appController.toggleSys()
            }
            onEntered: root.showHelpToolTip(!hasPlayback ? "No Playback Device detected"
                                                         : settingsManager.systemSounds ? "Start System Audio recording"
                                                                                        : "Stop System Audio recording",
                                            soundButton)
            onExited: root.hideHelpToolTip()
            onMousePressed: root.hideHelpToolTip()
        }

        PanelButton {
            id: webcamButton
            readonly property bool webcamOn: !settingsManager.muteCamera && uiController.currentWebcam >= 0
            clickable: uiController.currentWebcam >= 0 && root.hasWebcams
            iconSource: !root.hasWebcams ? "qrc:/images/VideoRecordingDialog/webcam-disabled.svg"
                                         : webcamOn ? "qrc:/images/VideoRecordingDialog/webcam.svg"
                                                    : "qrc:/images/VideoRecordingDialog/webcam-inactive.svg"
            onClicked: {
                appController.toggleCamera()
                root.hideSlider()
            }
            onEntered: root.showHelpToolTip(!root.hasWebcams ? "No Webcam detected"
                                                             : webcamOn ? "Stop Webcam recording" : "Start Webcam recording",
                                            webcamButton)
            onExited: root.hideHelpToolTip()
            onMousePressed: root.hideHelpToolTip()
        }

        // The time, in a width that grows in steps so the panel keeps its size
        // from one second to the next.
        Item {
            readonly property real step: Dimensions.x(100)
            width: Math.max(Math.ceil(timeText.implicitWidth / step) * step, busy.width) + 2 * Dimensions.x(50)
            height: Dimensions.y(125)

            Text {
                id: timeText
                anchors.centerIn: parent
                visible: appController.videoState === Common.Recording
                text: uiController.recTime
                font: Appearance.regular60
                color: "#000000"
            }

            DotsBusyRec {
                id: busy
                anchors.centerIn: parent
                width: Dimensions.x(100)
                height: Dimensions.y(50)
                pointColor: "black"
                visible: appController.videoState === Common.Busy
            }
        }
    }
}
