import QtQuick
import QtQuick.Window
import Common 1.0
import Singletons 1.0
import Modules.MessageDialog 1.0

// The pop-up at the bottom right of the primary screen. Its type picks its
// height and its buttons; what a button does is the controller's business.
// It hides itself five seconds after it opens.
Window {
    id: root

    property int msgType: Common.MsgInfo
    property alias text: messageText.text
    readonly property int windowRadius: Dimensions.x(30)
    readonly property string iconFolder: "qrc:/images/BottomMessageDialog/"
    // The buttons of the current type; an empty text means no button.
    property string leftText: ""
    property string leftIcon: ""
    property string rightText: ""
    property string rightIcon: ""

    readonly property var stateNames: ({
                                           [Common.MsgLogin]: "MsgLoginState",
                                           [Common.MsgInfo]: "MsgInfoState",
                                           [Common.MsgWarning]: "MsgWarningState",
                                           [Common.MsgCloud]: "MsgCloudState",
                                           [Common.MsgStorage]: "MsgStorageState",
                                           [Common.MsgStorageWithOpenLocation]: "MsgStorageWithOpenLocationState",
                                           [Common.MsgClipboard]: "MsgClipboardState",
                                           [Common.MsgExtLink]: "MsgExtLinkState",
                                           [Common.MsgError]: "MsgErrorState",
                                           [Common.MsgExtVideoLink]: "MsgExtVideoLinkState"
                                       })

    function openDialog(type, info) {
        root.text = info
        const known = stateNames[type] !== undefined
        if (!known)
            console.warn("BottomMessageDialog: unknown message type", type, "shown as information")
        msgType = known ? type : Common.MsgInfo
        body.state = stateNames[msgType]
        placeAtBottomRight()
        hideTimer.restart()
        show()
        raise()
    }

    // The lower right corner of the primary screen's area without panels.
    function placeAtBottomRight() {
        x = Dimensions.getAvailableX() + Dimensions.getAvailableWidth() - width
        y = Dimensions.getAvailableY() + Dimensions.getAvailableHeight() - height
    }

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, windowRadius)
    }

    title: "bottomMessageDialog"
    flags: Qt.FramelessWindowHint | Qt.WindowStaysOnTopHint
    color: "transparent"
    width: Dimensions.x(920)
    height: Dimensions.y(520)

    onVisibleChanged: {
        if (!visible)
            hideTimer.stop()
        applyMask()
    }
    onWidthChanged: applyMask()
    onHeightChanged: {
        applyMask()
        if (visible)
            placeAtBottomRight()
    }

    Timer {
        id: hideTimer
        interval: 5000
        onTriggered: root.hide()
    }

    // The window's content; its states are the kinds of message.
    Item {
        id: body
        anchors.fill: parent

        states: [
            State {
                name: "MsgLoginState"
                PropertyChanges {
                    root.height: Dimensions.y(600)
                    root.leftText: "Sign up for free"
                    root.rightText: "Login"
                }
            },
            State {
                name: "MsgInfoState"
                PropertyChanges {
                    root.height: Dimensions.y(450)
                }
            },
            State {
                name: "MsgWarningState"
                PropertyChanges {
                    root.height: Dimensions.y(450)
                }
            },
            State {
                name: "MsgCloudState"
                PropertyChanges {
                    root.height: Dimensions.y(450)
                    root.leftText: "Open Link"
                    root.leftIcon: root.iconFolder + "open-link.svg"
                }
            },
            State {
                name: "MsgStorageState"
                PropertyChanges {
                    root.height: Dimensions.y(450)
                }
            },
            State {
                name: "MsgStorageWithOpenLocationState"
                PropertyChanges {
                    root.height: Dimensions.y(450)
                    root.leftText: "Open File Location"
                    root.leftIcon: root.iconFolder + "open-gallery.svg"
                }
            },
            State {
                name: "MsgClipboardState"
                PropertyChanges {
                    root.height: Dimensions.y(600)
                    root.leftText: "Share Image"
                    root.rightText: "Open Gallery"
                    root.rightIcon: root.iconFolder + "open-gallery.svg"
                }
            },
            State {
                name: "MsgExtLinkState"
                PropertyChanges {
                    root.height: Dimensions.y(600)
                    root.leftText: "Open Link"
                    root.leftIcon: root.iconFolder + "open-link.svg"
                    root.rightText: "Open Gallery"
                    root.rightIcon: root.iconFolder + "open-gallery.svg"
                }
            },
            State {
                name: "MsgErrorState"
                PropertyChanges {
                    root.height: Dimensions.y(450)
                }
            },
            State {
                name: "MsgExtVideoLinkState"
                PropertyChanges {
                    root.leftText: "Open Link"
                    root.leftIcon: root.iconFolder + "open-link.svg"
                    root.rightText: "Open Local Player"
                }
            }
        ]
    }

    Rectangle {
        anchors.fill: parent
        radius: root.windowRadius
        color: Appearance.popupBackground
        border.color: Appearance.popupBorder
        border.width: 1
    }

    // A strip of the type's colour along the left edge: brand for news, amber
    // for warnings, red for errors.
    Rectangle {
        id: strip
        x: Dimensions.x(30)
        y: messageText.y + (messageText.height - height) / 2
        width: Dimensions.x(12)
        height: Math.min(messageText.height, messageText.contentHeight + Dimensions.y(30))
        radius: width / 2
        color: root.msgType === Common.MsgError ? "#E5484D" : root.msgType === Common.MsgWarning ? "#F5A524" :
                                                                                                    Appearance.brandColor
    }

    Text {
        id: messageText
        anchors.left: strip.right
        anchors.leftMargin: Dimensions.x(30)
        anchors.right: parent.right
        anchors.rightMargin: Dimensions.x(40)
        y: Dimensions.y(40)
        height: (buttons.visible ? buttons.y : root.height - Dimensions.y(40)) - y - Dimensions.y(20)
        font: Appearance.regular36
        color: Appearance.popupText
        textFormat: Text.StyledText
        wrapMode: Text.WordWrap
        elide: Text.ElideRight
        verticalAlignment: Text.AlignVCenter
    }

    Row {
        id: buttons
        visible: root.leftText !== "" || root.rightText !== ""
        anchors.right: parent.right
        anchors.rightMargin: Dimensions.x(40)
        y: root.height - height - Dimensions.y(40)
        height: Dimensions.y(100)
        spacing: Dimensions.x(20)

        DialogButton {
            objectName: "leftButton"
            visible: root.leftText !== ""
            text: root.leftText
            iconSource: root.leftIcon
            onClicked: appController.bottomPopupLeftClicked(root.msgType)
        }

        DialogButton {
            objectName: "rightButton"
            visible: root.rightText !== ""
            text: root.rightText
            iconSource: root.rightIcon
            filled: true
            onClicked: appController.bottomPopupRightClicked(root.msgType)
        }
    }
}
