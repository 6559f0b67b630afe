import QtQuick
import Common 1.0
import ViewModel 1.0
import Modules.BottomMessageDialog 1.0
import Modules.CredentialsDialog 1.0
import Modules.FirstDialog 1.0
import Modules.FlyingDialog 1.0
import Modules.HelpToolTip 1.0
import Modules.MessageDialog 1.0
import Modules.SettingsDialog 1.0
import Modules.VideoRecordingDialog 1.0
import Modules.WebCamDialog 1.0

// The scene: a plain object whose properties are the program's windows. All
// are hidden at first but the floating menu; signals of the controllers show
// the others. Native code finds "rootObj" and "videoRecordingDialog" by name.
QtObject {
    id: root

    objectName: "rootObj"

    property FlyingMenuDialog flyingMenuDialog: FlyingMenuDialog {
        objectName: "flyingMenuDialog"
        helpToolTip: root.helpToolTipByScreen
        visible: true
        // Centred on the primary screen first, then at its saved place.
        Component.onCompleted: {
            x = screen.virtualX + (screen.width - width) / 2
            y = screen.virtualY + (screen.height - height) / 2
            placeAtSavedPosition()
        }
    }

    // A question; the caller sets what YES does before it opens.
    property MessageDialog messageDialog: MessageDialog {
        property var callback: null

        onYesButtonClicked: {
            if (callback)
                callback()
        }
    }

    property SettingsDialog settingsDialog: SettingsDialog {
        helpToolTip: root.helpToolTip
        messageDialog: root.messageDialog
    }

    // A recording that ends while the settings window is open gives the
    // microphone meter back, once the recording has let the device go.
    property Timer micMonitorRestartTimer: Timer {
        interval: 300
        onTriggered: appController.startMicMonitor()
    }

    property FirstDialog firstDialog: FirstDialog {}

    property BottomMessageDialog bottomMessageDialog: BottomMessageDialog {}

    // The sign-in web dialog; its page exists only while it is shown.
    property CredentialsDialog credentialsDialog: CredentialsDialog {}

    function askPermission(caption, info, callback) {
        messageDialog.callback = callback
        messageDialog.openDialog(caption, info)
    }

    property VideoViewModel videoViewModel: VideoViewModel {}

    property VideoRecordingDialog videoRecordingDialog: VideoRecordingDialog {
        objectName: "videoRecordingDialog"
        vm: root.videoViewModel
        onWebCamDialogRequested: (frameX, frameY, frameWidth, frameHeight) => root.createWebCamDialog(frameX, frameY,
                                                                                                    frameWidth,
                                                                                                    frameHeight)
        onWebCamDialogDismissed: root.destroyWebCamDialog()
    }

    property VideoRecordingMenu videoRecordingMenu: VideoRecordingMenu {
        vm: root.videoViewModel
        helpToolTip: root.helpToolTip
        micSliderPopup: root.micSliderPopup
        frame: root.videoRecordingDialog
    }

    property SliderPopup micSliderPopup: SliderPopup {}

    property HelpToolTip helpToolTip: HelpToolTip {}

    property HelpToolTipByScreen helpToolTipByScreen: HelpToolTipByScreen {}

    property WebCamViewModel webCamViewModel: WebCamViewModel {}

    property WebCamMenu webCamMenu: WebCamMenu {
        vm: root.webCamViewModel
        onCloseWebcam: {
            root.destroyWebCamDialog()
            appController.toggleCamera()
        }
    }

    // Made on demand, while a recording shows the camera.
    property WebCamDialog webCamDialog: null

    property Component webCamDialogComponent: Component {
        WebCamDialog {}
    }

    // The webcam window goes a little after its camera was told to stop.
    property Timer webCamDestroyTimer: Timer {
        property WebCamDialog dialog: null

        interval: 200
        onTriggered: {
            if (dialog)
                dialog.destroy()
            if (root.webCamDialog === dialog)
                root.webCamDialog = null
            dialog = null
        }
    }

    function createWebCamDialog(frameX, frameY, frameWidth, frameHeight) {
        if (webCamDialog) {
            console.warn("WebCamDialog already exists")
            return
        }
        const dialog = webCamDialogComponent.createObject(null, {
                                                             "vm": webCamViewModel,
                                                             "webCamMenu": webCamMenu
                                                         })
        if (!dialog) {
            console.warn("Error creating component WebCamDialog: " + webCamDialogComponent.errorString())
            return
        }
        webCamDialog = dialog
        dialog.startWebCamDialog(frameX, frameY, frameWidth, frameHeight)
    }

    function destroyWebCamDialog() {
        if (!webCamDialog || webCamDestroyTimer.dialog === webCamDialog)
            return
        webCamDialog.stopWebCamDialog()
        webCamMenu.hide()
        webCamDestroyTimer.dialog = webCamDialog
        webCamDestroyTimer.restart()
    }

    function hideMenu(menu) {
        menu.visible = false
        menu.hide()
    }

    property Connections uiControllerConnections: Connections {
        target: uiController

        // A recording starts: the frame, then the panel beside it when there is room outside the area.
        function onShowVideoRecordingDialogSignal(x, y, width, height, screenIndex) {
            root.videoRecordingDialog.showVideoRecordingDialog(x, y, width, height, screenIndex)
            root.videoViewModel.updateMenuPos(x, y, width, height, root.videoRecordingMenu.width,
                                              root.videoRecordingMenu.height)
            if (root.videoViewModel.side === VideoViewModel.TOP || root.videoViewModel.side === VideoViewModel.BOTTOM)
                root.videoRecordingMenu.show()
        }

        function onShowSettingsSignal() {
            root.settingsDialog.openDialog()
        }

        function onShowFirstDialogSignal() {
            root.firstDialog.show()
            root.firstDialog.raise()
        }

        function onHideFirstDialog() {
            root.firstDialog.hide()
        }

        function onShowScreenPermissionDialog() {
            root.askPermission("Screen Recording Access Request",
                               "Please allow Orlune access to your 'Screen & System Audio Recording' privacy settings, then restart Orlune before you can continue.",
                               () => {
                                   appController.openScreenPermission()
                                   appController.requestScreenPermission()
                               })
        }

        function onShowVideoPermissionDialog() {
            root.askPermission("Camera Access", "To continue, give permission to access the Camera.", () => {
                                   appController.openVideoPermission()
                                   appController.requestVideoPermission()
                               })
        }

        function onShowAudioPermissionDialog() {
            root.askPermission("Microphone Access Request",
                               "Please allow Orlune access to your 'Microphone' privacy settings, then restart Orlune before you can continue.",
                               () => {
                                   appController.openAudioPermission()
                                   appController.requestAudioPermission()
                               })
        }

        function onShowCredentialsDialog(url, title) {
            root.credentialsDialog.showDialog(url, title)
        }

        function onActivateCredentialsDialog() {
            root.credentialsDialog.show()
            root.credentialsDialog.raise()
        }

        function onCloseCredentialsDialog() {
            root.credentialsDialog.hideDialog()
        }

        function onHideScreenDialogSignal() {
            appController.setEnabledEscShortKey(false)
            appController.setEnabledAltSShortKey(true)
            uiController.hideScreenDialogs()
            root.flyingMenuDialog.requestActivate()
        }
    }

    property Connections appControllerConnections: Connections {
        target: appController

        // A new pop-up replaces the one on screen and starts its own five seconds.
        function onShowPopupSignal(msg, description) {
            if (root.bottomMessageDialog.visible)
                root.bottomMessageDialog.hide()
            root.bottomMessageDialog.openDialog(msg, description)
        }

        function onVideoStateChanged() {
            if (appController.videoState !== Common.Idle)
                return
            root.destroyWebCamDialog()
            root.videoRecordingDialog.hide()
            root.hideMenu(root.videoRecordingMenu)
            root.hideMenu(root.micSliderPopup)
            root.hideMenu(root.webCamMenu)
            uiController.clearMaskRecordingRectangle()
            if (root.settingsDialog.visible && !settingsManager.muteAudio)
                root.micMonitorRestartTimer.restart()
        }
    }

    property Connections settingsConnections: Connections {
        target: settingsManager

        // The camera switched during a recording: the overlay comes or goes with it.
        function onMuteCameraChanged(enable) {
            const dialog = root.videoRecordingDialog
            if (!enable && dialog.visible)
                root.createWebCamDialog(dialog.areaX, dialog.areaY, dialog.areaWidth, dialog.areaHeight)
            else
                root.destroyWebCamDialog()
        }
    }
}
