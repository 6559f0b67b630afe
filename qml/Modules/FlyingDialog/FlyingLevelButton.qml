import QtQuick

// A recording button of the floating menu whose icon fills from below with
// a level image (microphone or system sound) while its source is live.
FlyingMenuButton {
    id: root

    property url levelSource
    property url levelFallbackSource
    property bool levelVisible: false
    // 0..1, the filled part of the icon.
    property real level: 0

    iconSize: hovered ? 98 : 95

    Item {
        z: 2
        anchors.bottom: parent.bottom
        anchors.bottomMargin: (root.height - root.iconHeight) / 2
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
