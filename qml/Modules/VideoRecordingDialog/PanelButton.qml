import QtQuick
import ComponentsBase 1.0
import Singletons 1.0

// A button of the recording panel, with an optional level image that fills
// its icon from below while its source is live.
ButtonBase {
    id: root

    property url levelSource
    property url levelFallbackSource
    property bool levelVisible: false
    // 0..1, the filled part of the icon.
    property real level: 0

    width: Dimensions.x(125)
    height: Dimensions.y(125)
    iconWidth: Dimensions.x(80)
    iconHeight: Dimensions.y(80)
    radius: Dimensions.x(10)
    backgroundColor: "white"
    hoverColor: Appearance.hoverColor
    border.color: Appearance.panelButtonBorder
    border.width: Dimensions.x(5)

    Item {
        z: 2
        anchors.bottom: root.iconItem.bottom
        anchors.horizontalCenter: parent.horizontalCenter
        width: root.iconWidth
        // Whole pixels: a level that moves less than a pixel draws nothing new.
        height: Math.round(root.iconHeight * root.level)
        clip: true
        visible: root.levelVisible

        Image {
            // Once the level image fails to load, the plain icon stands in.
            property bool failed: false

            anchors.bottom: parent.bottom
            width: root.iconWidth
            height: root.iconHeight
            sourceSize: Qt.size(width, height)
            fillMode: Image.PreserveAspectFit
            opacity: 0.85
            source: failed ? root.levelFallbackSource : root.levelSource
            onStatusChanged: {
                if (status === Image.Error)
                    failed = true
            }
        }
    }
}
