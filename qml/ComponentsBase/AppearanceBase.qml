import QtQuick
import FontInter 1.0

// Colours and fonts of the interface.
QtObject {
    readonly property color brandColor: "#5100A4"
    readonly property color hoverColor: "#F3E8FF"

    // Floating menu.
    readonly property color flyingBackground: "#1C1C1C"
    readonly property color flyingHover: "#3F3F3F"
    readonly property color flyingDivider: "#8A8A8A"

    // Recording frame and panel.
    readonly property color recordingFrame: "#FD0103"
    readonly property color panelButtonBorder: "#EAEAEA"
    readonly property color micVolumeFill: "#D4D6FD"
    readonly property color sliderTrack: "#BDBEBF"

    // Tool tips.
    readonly property color toolTipBackground: "#1C1C1C"
    readonly property color toolTipText: "#FFFFFF"

    // Pop-ups and question dialogs.
    readonly property color popupBackground: "#FFFFFF"
    readonly property color popupBorder: "#EAEAEA"
    readonly property color popupText: "#1C1C1C"
    readonly property color firstDialogText: "#FFFFFF"

    // Settings window.
    readonly property color settingsText: "#1C1C1C"
    readonly property color settingsMutedText: "#6B6B6B"
    readonly property color settingsLine: "#EAEAEA"
    readonly property color headerText: "#FFFFFF"

    readonly property FontInterFamily fontInter: FontInterFamily {}
    readonly property real lineHeight: fontInter.lineHeight
    readonly property font regular18: fontInter.regular18
    readonly property font regular30: fontInter.regular30
    readonly property font regular36: fontInter.regular36
    readonly property font regular42: fontInter.regular42
    readonly property font regularBold36: fontInter.regularBold36
    readonly property font regularBold42: fontInter.regularBold42
    readonly property font regular60: fontInter.regular60
}
