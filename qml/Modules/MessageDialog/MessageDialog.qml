import QtQuick
import QtQuick.Window
import Singletons 1.0

// A question with NO and YES. NO just closes it; YES tells the owner, which
// decides what that means, and closes it.
Window {
    id: root

    readonly property int windowRadius: Dimensions.x(30)
    property alias caption: captionText.text
    property alias info: infoText.text

    signal yesButtonClicked

    function openDialog(caption, info) {
        root.caption = caption
        root.info = info
        x = Dimensions.getAvailableX() + (Dimensions.getAvailableWidth() - width) / 2
        y = Dimensions.getAvailableY() + (Dimensions.getAvailableHeight() - height) / 2
        show()
        raise()
        requestActivate()
    }

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, windowRadius)
    }

    title: "messageDialog"
    flags: Qt.Window | Qt.FramelessWindowHint
    color: "transparent"
    width: Dimensions.x(1100)
    height: Math.max(Dimensions.y(450), column.implicitHeight + Dimensions.y(100))

    onVisibleChanged: applyMask()
    onWidthChanged: applyMask()
    onHeightChanged: applyMask()

    Rectangle {
        anchors.fill: parent
        radius: root.windowRadius
        color: Appearance.popupBackground
        border.color: Appearance.popupBorder
        border.width: 1

        // The window is dragged by its background.
        DragHandler {
            onActiveChanged: {
                if (active)
                    root.startSystemMove()
            }
        }
    }

    Column {
        id: column
        anchors.fill: parent
        anchors.margins: Dimensions.x(50)
        spacing: Dimensions.y(40)

        Text {
            id: captionText
            width: parent.width
            font: Appearance.regular42
            color: Appearance.brandColor
            wrapMode: Text.WordWrap
        }

        Text {
            id: infoText
            width: parent.width
            font: Appearance.regular36
            color: Appearance.popupText
            wrapMode: Text.WordWrap
        }

        Row {
            anchors.right: parent.right
            spacing: Dimensions.x(30)

            DialogButton {
                objectName: "noButton"
                text: "NO"
                onClicked: root.hide()
            }

            DialogButton {
                objectName: "yesButton"
                text: "YES"
                filled: true
                onClicked: {
                    root.yesButtonClicked()
                    root.hide()
                }
            }
        }
    }
}
