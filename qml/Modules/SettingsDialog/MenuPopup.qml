import QtQuick
import QtQuick.Controls.Basic
import Singletons 1.0

// The account box's menu. Which entries show depends on whether the user is
// signed in; each entry closes the menu before it acts.
Popup {
    id: root

    readonly property int loginState: uiController.loginState
    readonly property bool signedOut: loginState === Enums.NOLOGIN
    // Offline, the stored account decides.
    readonly property bool signedIn: loginState === Enums.LOGIN
                                     || (loginState === Enums.OFFLINE && settingsManager.is_authenticated_user)

    function choose(action) {
        close()
        action()
    }

    padding: Dimensions.y(15)
    width: Dimensions.x(560)
    modal: false
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside

    background: Rectangle {
        radius: Dimensions.x(20)
        color: Appearance.popupBackground
        border.width: 1
        border.color: Appearance.popupBorder
    }

    contentItem: Column {
        SettingsMenuDelegate {
            width: parent.width
            text: "Contact Us"
            onClicked: root.choose(() => Qt.openUrlExternally(uiController.contactUrl))
        }
        SettingsMenuDelegate {
            width: parent.width
            visible: !root.signedOut
            text: "Refresh Account Info"
            onClicked: root.choose(() => appController.refreshAccount())
        }
        SettingsMenuDelegate {
            width: parent.width
            visible: !root.signedIn
            text: "Sign up for free"
            onClicked: root.choose(() => appController.signUp())
        }
        SettingsMenuDelegate {
            width: parent.width
            visible: !root.signedIn
            text: "Login"
            onClicked: root.choose(() => appController.logIn())
        }
        SettingsMenuDelegate {
            width: parent.width
            visible: root.signedIn
            text: "Log Out"
            onClicked: root.choose(() => appController.logOut())
        }
        SettingsMenuDelegate {
            width: parent.width
            text: "Quit Orlune"
            onClicked: root.choose(() => appController.quit())
        }
    }
}
