import QtQuick
import QtQuick.Layouts
import QtQuick.Window
import Common 1.0
import ComponentsBase 1.0
import Singletons 1.0
import Modules.VideoRecordingDialog 1.0

// The settings window: every option on one page. It keeps nothing itself:
// each control shows a setting or a controller property and changes it
// through the settings manager or the controller, so the settings file holds
// each change at once.
Window {
    id: root

    property var helpToolTip: null
    property var messageDialog: null
    property bool isProxyTestInProgress: false
    property bool proxyFieldsShown: false
    readonly property int windowRadius: Dimensions.x(20)
    readonly property int sideMargin: Dimensions.x(60)
    readonly property int rowHeight: Dimensions.y(110)
    readonly property int frameless: Qt.Window | Qt.FramelessWindowHint
    readonly property int proxyStatus: settingsManager.proxyVerificationStatus
    readonly property int updateStatus: uiController.updateAppStatus
    readonly property bool updateBusy: updateStatus === Enums.Checking || updateStatus === Enums.Downloading
                                       || updateStatus === Enums.Installing

    function openDialog() {
        x = Dimensions.getAvailableX() + (Dimensions.getAvailableWidth() - width) / 2
        // Placed as if it were at its tallest, but never above the available area.
        y = Math.max(Dimensions.getAvailableY(),
                     Dimensions.getAvailableY() + (Dimensions.getAvailableHeight() - Dimensions.y(1750)) / 2)
        show()
        raise()
        webcamComboBox.currentIndex = uiController.currentWebcam
        microphoneComboBox.currentIndex = appController.currentMic
    }

    function doMinimized() {
        flags = Qt.Window | Qt.WindowFullscreenButtonHint | Qt.CustomizeWindowHint | Qt.WindowMinimizeButtonHint
        showMinimized()
    }

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, windowRadius)
    }

    function updateButtonText(status) {
        switch (status) {
        case Enums.NoNewVersion:
            return "No New Version"
        case Enums.UpdateAborted3:
        case Enums.UpdateAborted2:
            return "Update Aborted"
        case Enums.UpdateFailed:
            return "Update Failed"
        case Enums.Checking:
            return "Checking..."
        case Enums.Downloading:
            return "Downloading..."
        case Enums.Installing:
            return "Installing..."
        case Enums.NewVersionAvaliable:
            return "New Version Avaliable"
        default:
            return "Update App"
        }
    }

    // A changed proxy must pass the test again before it may be switched on.
    function proxyEdited() {
        settingsManager.proxyVerificationStatus = Common.Untested
        settingsManager.enableProxy = false
    }

    // The switches of the account: without an account they lead to the sign-in.
    function toggleAccountSwitch(enabled, disabledManuallyKey, setter) {
        if (!settingsManager.is_authenticated_user) {
            appController.logIn()
            return
        }
        if (enabled)
            settingsManager.writeSetting(disabledManuallyKey, true)
        setter(!enabled)
    }

    function showToolTip(item, text) {
        if (!helpToolTip)
            return
        const p = AppHelper.globalPosition(item)
        helpToolTip.showToolTip(text, p.x, p.y, item.width)
    }

    function hideToolTip() {
        if (helpToolTip)
            helpToolTip.hideToolTip()
    }

    title: "settingsDialog"
    flags: frameless
    color: "transparent"
    width: Dimensions.x(1170)
    height: Dimensions.y(proxyFieldsShown ? 1500 : 1320) + loginRect.height
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height

    onVisibleChanged: {
        if (flags !== frameless)
            flags = frameless
        if (visible) {
            applyMask()
            appController.startMicMonitor()
            appController.updateMikeList()
        } else {
            hideToolTip()
            appController.stopMicMonitor()
        }
    }
    onWidthChanged: applyMask()
    onHeightChanged: applyMask()
    onProxyStatusChanged: {
        if (proxyStatus === Common.Verified || proxyStatus === Common.Failed)
            isProxyTestInProgress = false
    }

    // A device row's button that reads its list again.
    component RefreshButton: PanelButton {
        Layout.preferredWidth: Dimensions.x(110)
        Layout.preferredHeight: Dimensions.y(110)
        iconSource: "qrc:/images/ScreenDialog/reload-arrow.svg"
    }

    // A row of a label and a switch at the right.
    component SwitchRow: RowLayout {
        property alias text: label.text
        property alias switchName: toggle.objectName
        property alias checked: toggle.checked

        signal clicked

        width: parent.width
        height: Dimensions.y(90)

        Text {
            id: label
            Layout.fillWidth: true
            font: Appearance.regular36
            color: Appearance.settingsText
        }

        CustomCheckBox {
            id: toggle
            onClicked: parent.clicked()
        }
    }

    component FieldLabel: Text {
        font: Appearance.regular30
        color: Appearance.settingsText
    }

    component ProxyField: CustomTextInput {
        Layout.fillHeight: true
        font: Appearance.regular30
    }

    Connections {
        target: uiController
        function onCurrentWebcamChanged() {
            webcamComboBox.currentIndex = uiController.currentWebcam
        }
    }

    Connections {
        target: appController
        function onCurrentMicChanged() {
            microphoneComboBox.currentIndex = appController.currentMic
        }
    }

    Rectangle {
        anchors.fill: parent
        radius: root.windowRadius
        color: Appearance.popupBackground
        border.width: 1
        border.color: Appearance.popupBorder
    }

    LoginBox {
        id: loginRect
        anchors.left: parent.left
        anchors.right: parent.right
        height: implicitHeight
        cornerRadius: root.windowRadius
        reservedRight: windowButtons.width + Dimensions.x(20)
        onMenuRequested: anchor => {
            menuPopup.parent = anchor
            menuPopup.x = anchor.width - menuPopup.width
            menuPopup.y = anchor.height
            menuPopup.open()
        }

        // The window is dragged by the account box.
        DragHandler {
            target: null
            onActiveChanged: {
                if (active)
                    root.startSystemMove()
            }
        }
    }

    Row {
        id: windowButtons
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.topMargin: Dimensions.y(30)
        anchors.rightMargin: Dimensions.x(30)
        spacing: Dimensions.x(10)

        ButtonBase {
            width: Dimensions.x(80)
            height: Dimensions.y(80)
            radius: Dimensions.x(15)
            iconWidth: Dimensions.x(60)
            iconHeight: Dimensions.y(60)
            iconSource: "qrc:/images/SettingsDialog/minimize.svg"
            hoverColor: Qt.rgba(1, 1, 1, 0.15)
            onClicked: root.doMinimized()
        }

        ButtonBase {
            objectName: "closeSettingsButton"
            width: Dimensions.x(80)
            height: Dimensions.y(80)
            radius: Dimensions.x(15)
            iconWidth: Dimensions.x(60)
            iconHeight: Dimensions.y(60)
            iconSource: "qrc:/images/FirstDialog/cross.svg"
            hoverColor: Qt.rgba(1, 1, 1, 0.15)
            onClicked: root.hide()
        }
    }

    MenuPopup {
        id: menuPopup
    }

    Column {
        id: body
        anchors.top: loginRect.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.topMargin: Dimensions.y(45)
        anchors.leftMargin: root.sideMargin
        anchors.rightMargin: root.sideMargin
        spacing: Dimensions.y(22)

        // Webcam: on and off, the camera, and the list read again.
        RowLayout {
            width: parent.width
            height: root.rowHeight
            spacing: Dimensions.x(20)

            readonly property bool hasWebcams: uiController.webcamsModel.length > 0

            PanelButton {
                Layout.preferredWidth: root.rowHeight
                Layout.preferredHeight: root.rowHeight
                clickable: parent.hasWebcams
                iconSource: !parent.hasWebcams ? "qrc:/images/VideoRecordingDialog/webcam-disabled.svg"
                                               : settingsManager.muteCamera ? "qrc:/images/VideoRecordingDialog/webcam-inactive.svg"
                                                                            : "qrc:/images/VideoRecordingDialog/webcam.svg"
                onClicked: appController.toggleCamera()
            }

            CustomComboBox {
                id: webcamComboBox
                objectName: "webcamComboBox"
                Layout.fillWidth: true
                Layout.preferredHeight: Dimensions.y(100)
                font: Appearance.regular36
                model: uiController.webcamsModel
                enabled: !settingsManager.muteCamera
                placeholderText: count === 0 ? "No webcam found" : "Select Webcam"
                delegate: CheckSignDelegate {
                    required property int index
                    required property string modelData
                    text: modelData
                    checkSign: index === webcamComboBox.currentIndex
                    highlighted: index === webcamComboBox.highlightedIndex
                }
                onModelChanged: currentIndex = uiController.currentWebcam
                onActivated: index => {
                    settingsManager.writeSetting("cameradev", textAt(index))
                    uiController.setCurrentWebcam(index)
                }
            }

            RefreshButton {
                onClicked: appController.updateCameraListAndCurrentCameraIndex()
            }
        }

        // Microphone: on and off with its level, the device, the list read again.
        RowLayout {
            width: parent.width
            height: root.rowHeight
            spacing: Dimensions.x(20)

            readonly property bool hasMics: appController.micsModel.length > 0

            PanelButton {
                objectName: "microphoneToggle"
                Layout.preferredWidth: root.rowHeight
                Layout.preferredHeight: root.rowHeight
                clickable: parent.hasMics
                iconSource: !parent.hasMics ? "qrc:/images/VideoRecordingDialog/mic-disabled.svg"
                                            : settingsManager.muteAudio ? "qrc:/images/VideoRecordingDialog/mic-inactive.svg"
                                                                        : "qrc:/images/VideoRecordingDialog/mic.svg"
                levelSource: "qrc:/images/VideoRecordingDialog/mic-green.svg"
                levelFallbackSource: "qrc:/images/VideoRecordingDialog/mic.svg"
                levelVisible: parent.hasMics && !settingsManager.muteAudio
                level: Math.min(1.0, Math.max(0.0, appController.micLevel / 100))
                onClicked: appController.toggleMike()
            }

            CustomComboBox {
                id: microphoneComboBox
                objectName: "microphoneComboBox"
                Layout.fillWidth: true
                Layout.preferredHeight: Dimensions.y(100)
                font: Appearance.regular36
                model: appController.micsModel
                placeholderText: count === 0 ? "No Microphone detected" : "Microphone"
                delegate: CheckSignDelegate {
                    required property int index
                    required property string modelData
                    text: modelData
                    checkSign: index === microphoneComboBox.currentIndex
                    highlighted: index === microphoneComboBox.highlightedIndex
                }
                onModelChanged: currentIndex = appController.currentMic
                onActivated: index => {
                    settingsManager.writeSetting("audiodev", textAt(index))
                    appController.setCurrentMic(index)
                }
            }

            RefreshButton {
                onClicked: appController.updateMikeList()
            }
        }

        // System sound: on and off with its level (system_sounds set means off).
        RowLayout {
            width: parent.width
            height: root.rowHeight
            spacing: Dimensions.x(20)

            readonly property bool hasPlayback: appController.hasPlaybackAudioDevices

            PanelButton {
                Layout.preferredWidth: root.rowHeight
                Layout.preferredHeight: root.rowHeight
                clickable: parent.hasPlayback
                iconSource: !parent.hasPlayback ? "qrc:/images/VideoRecordingDialog/volume-disabled.svg"
                                                : settingsManager.systemSounds ? "qrc:/images/VideoRecordingDialog/volume-inactive.svg"
                                                                               : "qrc:/images/VideoRecordingDialog/volume.svg"
                levelSource: "qrc:/images/VideoRecordingDialog/volume-green.svg"
                levelFallbackSource: "qrc:/images/VideoRecordingDialog/volume.svg"
                levelVisible: parent.hasPlayback && !settingsManager.systemSounds
                level: Math.min(1.0, Math.max(0.0, appController.sysLevel / 100))
                onClicked: appController.toggleSys()
            }

            Text {
                Layout.fillWidth: true
                leftPadding: Dimensions.x(20)
                text: parent.hasPlayback ? "System sound" : "No Playback Device detected"
                font: Appearance.regular36
                color: Appearance.settingsText
                elide: Text.ElideRight
            }

            RefreshButton {
                onClicked: {
                    appController.refreshPlaybackDevices()
                    appController.updateMikeList()
                }
            }
        }

        Rectangle {
            width: parent.width
            height: 1
            color: Appearance.settingsLine
        }

        RowLayout {
            width: parent.width
            height: Dimensions.y(100)
            spacing: Dimensions.x(15)

            Text {
                Layout.fillWidth: true
                text: "Recording Quality"
                font: Appearance.regular36
                color: Appearance.settingsText
            }

            Repeater {
                model: [{
                        "label": "SD",
                        "quality": Common.RECORDING_QUALITY_SD
                    }, {
                        "label": "HD",
                        "quality": Common.RECORDING_QUALITY_HD
                    }, {
                        "label": "4K",
                        "quality": Common.RECORDING_QUALITY_4K
                    }]

                ButtonTextBase {
                    required property var modelData
                    objectName: "quality" + modelData.label
                    visible: modelData.quality !== Common.RECORDING_QUALITY_4K || uiController.quality4KVisible
                    Layout.preferredWidth: Dimensions.x(150)
                    Layout.preferredHeight: Dimensions.y(90)
                    radius: Dimensions.x(15)
                    text: modelData.label
                    font: Appearance.regular36
                    textColor: Appearance.brandColor
                    border.color: Appearance.brandColor
                    hoverColor: Appearance.hoverColor
                    checkedColor: Appearance.brandColor
                    checked: settingsManager.quality === modelData.quality
                    onClicked: {
                        if (modelData.quality === Common.RECORDING_QUALITY_SD)
                            appController.buttonClickedSD()
                        else if (modelData.quality === Common.RECORDING_QUALITY_HD)
                            appController.buttonClickedHD()
                        else
                            appController.buttonClicked4K()
                    }
                }
            }
        }

        SwitchRow {
            text: "Instant Share Link"
            switchName: "instantShareSwitch"
            checked: settingsManager.auto_upload
            onClicked: root.toggleAccountSwitch(settingsManager.auto_upload, "instant_share_disabled_manually",
                                                value => settingsManager.auto_upload = value)
        }

        SwitchRow {
            text: "Highlight Mouse Cursor"
            switchName: "mouseHighlightSwitch"
            checked: settingsManager.mouse_highlight
            onClicked: root.toggleAccountSwitch(settingsManager.mouse_highlight,
                                                "mouse_highlight_disabled_manually",
                                                value => settingsManager.mouse_highlight = value)
        }

        RowLayout {
            width: parent.width
            height: Dimensions.y(90)
            spacing: Dimensions.x(20)

            Text {
                Layout.fillWidth: true
                text: "Use a Proxy Server"
                font: Appearance.regular36
                color: Appearance.settingsText
            }

            Text {
                id: testProxyLink
                objectName: "testProxyLink"
                visible: settingsManager.server !== "" && settingsManager.port !== ""
                         && root.proxyStatus !== Common.Verified && !root.isProxyTestInProgress
                text: "Test Proxy"
                font.family: Appearance.regular36.family
                font.pixelSize: Appearance.regular36.pixelSize
                font.underline: true
                color: Appearance.brandColor

                MouseArea {
                    anchors.fill: parent
                    cursorShape: Qt.PointingHandCursor
                    onClicked: {
                        root.isProxyTestInProgress = true
                        appController.testProxyConnection()
                    }
                }
            }

            DotsBusyRec {
                visible: root.isProxyTestInProgress
                pointColor: Appearance.brandColor
            }

            ButtonBase {
                objectName: "proxyGearButton"
                Layout.preferredWidth: Dimensions.x(90)
                Layout.preferredHeight: Dimensions.y(90)
                radius: Dimensions.x(15)
                iconWidth: Dimensions.x(60)
                iconHeight: Dimensions.y(60)
                iconSource: "qrc:/images/SettingsDialog/gear.svg"
                backgroundColor: root.proxyFieldsShown ? Appearance.hoverColor : "transparent"
                hoverColor: Appearance.hoverColor
                onClicked: root.proxyFieldsShown = !root.proxyFieldsShown
            }

            CustomCheckBox {
                objectName: "proxySwitch"
                checked: settingsManager.enableProxy
                enabled: root.proxyStatus === Common.Verified
                onClicked: settingsManager.enableProxy = !settingsManager.enableProxy
            }
        }

        // The proxy's fields; any change turns the proxy off until it is tested again.
        Column {
            id: proxyLayout
            width: parent.width
            spacing: Dimensions.y(20)
            opacity: root.proxyFieldsShown ? 1 : 0
            visible: opacity > 0

            Behavior on opacity {
                NumberAnimation {
                    duration: 200
                }
            }

            RowLayout {
                width: parent.width
                height: Dimensions.y(70)
                spacing: Dimensions.x(15)

                FieldLabel {
                    text: "Proxy Server"
                }
                ProxyField {
                    objectName: "proxyServerField"
                    Layout.fillWidth: true
                    text: settingsManager.server
                    onTextEdited: {
                        settingsManager.server = text
                        root.proxyEdited()
                    }
                }
                FieldLabel {
                    text: "Type"
                }
                CustomComboBox {
                    id: proxyTypeComboBox
                    objectName: "proxyTypeComboBox"
                    Layout.preferredWidth: Dimensions.x(300)
                    Layout.fillHeight: true
                    font: Appearance.regular30
                    model: uiController.proxysModel
                    currentIndex: settingsManager.currentProxy
                    delegate: CheckSignDelegate {
                        required property int index
                        required property string modelData
                        text: modelData
                        checkSign: index === settingsManager.currentProxy
                        highlighted: index === proxyTypeComboBox.highlightedIndex
                    }
                    onActivated: index => {
                        settingsManager.currentProxy = index
                        root.proxyEdited()
                    }
                }
            }

            RowLayout {
                width: parent.width
                height: Dimensions.y(70)
                spacing: Dimensions.x(15)

                FieldLabel {
                    text: "Port"
                }
                ProxyField {
                    objectName: "proxyPortField"
                    Layout.preferredWidth: Dimensions.x(170)
                    text: settingsManager.port
                    onTextEdited: {
                        settingsManager.port = text
                        root.proxyEdited()
                    }
                }
                FieldLabel {
                    text: "User Name"
                }
                ProxyField {
                    objectName: "proxyNameField"
                    Layout.fillWidth: true
                    text: settingsManager.name
                    onTextEdited: {
                        settingsManager.name = text
                        root.proxyEdited()
                    }
                }
                FieldLabel {
                    text: "Password"
                }
                ProxyField {
                    objectName: "proxyPasswordField"
                    Layout.fillWidth: true
                    echoMode: TextInput.Password
                    text: settingsManager.pas
                    onTextEdited: {
                        settingsManager.pas = text
                        root.proxyEdited()
                    }
                }
            }
        }

        RowLayout {
            width: parent.width
            height: Dimensions.y(100)
            spacing: Dimensions.x(20)

            Text {
                Layout.fillWidth: true
                text: "Shortcut Start/Stop Capture"
                font: Appearance.regular36
                color: Appearance.settingsText
                elide: Text.ElideRight
            }

            ShortcutField {
                Layout.preferredWidth: Dimensions.x(480)
                Layout.preferredHeight: Dimensions.y(100)
                helpToolTip: root.helpToolTip
                shortcutText: appController.keySequence
                onShortcutChanged: newShortcut => appController.setKeySequence(newShortcut)
                onResetToDefault: appController.resetShortcutToDefault()
                onEditingStarted: appController.keySequenceEditingStarted()
                onEditingFinished: appController.keySequenceEditingFinished()
            }
        }

        Rectangle {
            width: parent.width
            height: 1
            color: Appearance.settingsLine
        }

        RowLayout {
            width: parent.width
            height: Dimensions.y(100)
            spacing: Dimensions.x(30)

            ButtonTextBase {
                id: updateButton
                objectName: "updateButton"
                Layout.fillWidth: true
                Layout.fillHeight: true
                radius: Dimensions.x(20)
                text: root.updateButtonText(root.updateStatus)
                font: Appearance.regular36
                textColor: uiController.enableUpdateApp ? "white" : Appearance.brandColor
                backgroundColor: uiController.enableUpdateApp ? Appearance.brandColor : "transparent"
                hoverColor: uiController.enableUpdateApp ? Appearance.brandColor : Appearance.hoverColor
                border.color: Appearance.brandColor
                onClicked: appController.forceInstallUpdate()
                onEntered: {
                    if (root.updateBusy)
                        root.showToolTip(updateButton, "Cancel update")
                }
                onExited: root.hideToolTip()
            }

            ButtonTextBase {
                objectName: "reportBugButton"
                Layout.fillWidth: true
                Layout.fillHeight: true
                radius: Dimensions.x(20)
                text: "REPORT BUG"
                font: Appearance.regular36
                textColor: Appearance.brandColor
                hoverColor: Appearance.hoverColor
                border.color: Appearance.brandColor
                onClicked: {
                    if (!root.messageDialog)
                        return
                    root.messageDialog.callback = () => appController.sendLogsFvUpdater()
                    root.messageDialog.openDialog("Sending debug logs",
                                                  "Are you sure you want to send debug logs to Orlune's support team?")
                }
            }
        }

        Row {
            spacing: Dimensions.x(10)

            Text {
                text: "Current Version: "
                font: Appearance.regular30
                color: Appearance.settingsMutedText
            }

            Text {
                objectName: "versionText"
                text: uiController.version
                textFormat: Text.StyledText
                font: Appearance.regular30
                color: Appearance.settingsMutedText
                linkColor: Appearance.brandColor
                onLinkActivated: link => Qt.openUrlExternally(link)

                HoverHandler {
                    cursorShape: parent.hoveredLink !== "" ? Qt.PointingHandCursor : Qt.ArrowCursor
                }
            }
        }
    }
}
