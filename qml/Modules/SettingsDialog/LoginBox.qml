import QtQuick
import ComponentsBase 1.0
import Singletons 1.0

// The account box at the top of the settings window, in the brand colour:
// one state per login state of the interface controller, the menu icon, and
// room below for a piece of QML that the service may send (xmlMessage).
Rectangle {
    id: root

    // Room left free at the top right for the window's own buttons.
    property real reservedRight: 0
    property real cornerRadius: 0
    readonly property real margin: Dimensions.x(60)
    property var xmlObject: null

    signal menuRequested(Item anchor)

    // The service's message, made anew whenever it changes; an empty one
    // leaves the box without it. Text that is no valid QML is only logged.
    function updateXmlQML() {
        if (xmlObject) {
            xmlObject.destroy()
            xmlObject = null
        }
        const source = uiController.xmlMessage
        if (source === "")
            return
        try {
            xmlObject = Qt.createQmlObject(source, xmlHolder, "xmlMessage")
        } catch (error) {
            console.warn("LoginBox: the service's message is not valid QML:", error)
        }
    }

    color: Appearance.brandColor
    radius: cornerRadius
    implicitHeight: content.implicitHeight + 2 * Dimensions.y(45)
    state: uiController.loginState === Enums.LOGIN ? "LOGIN" : uiController.loginState
                                                   === Enums.OFFLINE ? "OFFLINE" : "NOLOGIN"

    states: [
        State {
            name: "NOLOGIN"
            PropertyChanges {
                signedOutBox.visible: true
            }
        },
        State {
            name: "LOGIN"
            PropertyChanges {
                signedInBox.visible: true
            }
        },
        State {
            name: "OFFLINE"
            PropertyChanges {
                offlineBox.visible: true
            }
        }
    ]

    Component.onCompleted: updateXmlQML()

    Connections {
        target: uiController
        function onXmlMessageChanged() {
            root.updateXmlQML()
        }
    }

    // Square lower corners: the window's body follows without a seam.
    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: root.cornerRadius
        color: root.color
    }

    // Beside the menu icon and the window's buttons, never under them.
    Column {
        id: content
        x: root.margin
        y: Dimensions.y(45)
        width: root.width - root.margin - root.reservedRight - menuButton.width - Dimensions.x(40)
        spacing: Dimensions.y(30)

        Column {
            id: signedOutBox
            visible: false
            spacing: Dimensions.y(30)

            Text {
                text: "YOU ARE NOT LOGGED IN."
                font: Appearance.regularBold42
                color: Appearance.headerText
            }

            Row {
                spacing: Dimensions.x(30)

                ButtonTextBase {
                    objectName: "registerButton"
                    height: Dimensions.y(100)
                    horizontalPadding: Dimensions.x(45)
                    radius: Dimensions.x(20)
                    text: "Register For Free"
                    font: Appearance.regular36
                    textColor: Appearance.headerText
                    border.color: Appearance.headerText
                    hoverColor: Qt.rgba(1, 1, 1, 0.15)
                    onClicked: appController.signUp()
                }

                ButtonTextBase {
                    objectName: "signInButton"
                    height: Dimensions.y(100)
                    horizontalPadding: Dimensions.x(45)
                    radius: Dimensions.x(20)
                    text: "Sign In"
                    font: Appearance.regular36
                    textColor: Appearance.brandColor
                    backgroundColor: Appearance.headerText
                    hoverColor: Appearance.hoverColor
                    border.color: Appearance.headerText
                    onClicked: appController.logIn()
                }
            }
        }

        Column {
            id: signedInBox
            visible: false
            spacing: Dimensions.y(15)

            Text {
                text: "LOGGED IN AS:"
                font: Appearance.regular30
                color: Appearance.headerText
                opacity: 0.8
            }

            Text {
                width: content.width
                text: settingsManager.login
                font: Appearance.regularBold42
                color: Appearance.headerText
                elide: Text.ElideRight
            }
        }

        Row {
            id: offlineBox
            visible: false
            spacing: Dimensions.x(35)

            Image {
                anchors.verticalCenter: parent.verticalCenter
                source: "qrc:/images/SettingsDialog/offline"
                width: Dimensions.x(110)
                height: Dimensions.y(110)
                sourceSize: Qt.size(width, height)
            }

            Column {
                spacing: Dimensions.y(20)

                Text {
                    text: "Please check your internet connection and\ntry to reconnect."
                    font: Appearance.regular30
                    color: Appearance.headerText
                }

                ButtonTextBase {
                    height: Dimensions.y(90)
                    horizontalPadding: Dimensions.x(45)
                    radius: Dimensions.x(20)
                    text: "Refresh"
                    font: Appearance.regular36
                    textColor: Appearance.brandColor
                    backgroundColor: Appearance.headerText
                    hoverColor: Appearance.hoverColor
                    border.color: Appearance.headerText
                    onClicked: appController.refreshOffline()
                }
            }
        }

        // The service's own QML, when it sends some.
        Item {
            id: xmlHolder
            visible: root.xmlObject !== null
            width: root.width - 2 * root.margin
            height: childrenRect.height
        }
    }

    ButtonBase {
        id: menuButton
        objectName: "accountMenuButton"
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.topMargin: Dimensions.y(30)
        anchors.rightMargin: root.reservedRight + Dimensions.x(20)
        width: Dimensions.x(80)
        height: Dimensions.y(80)
        radius: Dimensions.x(15)
        iconWidth: Dimensions.x(60)
        iconHeight: Dimensions.y(60)
        iconSource: "qrc:/images/SettingsDialog/menu.svg"
        hoverColor: Qt.rgba(1, 1, 1, 0.15)
        onClicked: root.menuRequested(menuButton)
    }
}
