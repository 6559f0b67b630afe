import QtQuick
import ComponentsBase 1.0
import Singletons 1.0

// The hot key field: shows the shortcut, and after "Edit" takes the next
// combination pressed. The keyboard is switched to a Latin layout for the
// edit, so that key names come out in Latin letters. A combination is taken
// when its keys are let go; modifiers alone, or Esc, take nothing.
Item {
    id: root

    property string shortcutText
    property var helpToolTip: null
    property bool editing: false
    // What the keys held so far make, "Ctrl+..." while only modifiers are down.
    property string newShortcut: ""

    signal shortcutChanged(string newShortcut)
    signal resetToDefault
    signal editingStarted
    signal editingFinished

    function startEditing() {
        if (editing)
            return
        keyboardswitcher.savePreviousKeyboard()
        keyboardswitcher.switchToEnglishKeyboard()
        newShortcut = ""
        editing = true
        Window.window.requestActivate()
        field.forceActiveFocus()
        editingStarted()
    }

    function stopEditing() {
        if (!editing)
            return
        editing = false
        keyboardswitcher.restorePreviousKeyboard()
        editingFinished()
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

    implicitWidth: Dimensions.x(560)
    implicitHeight: Dimensions.y(100)

    Rectangle {
        id: field
        objectName: "shortcutText"
        anchors.left: parent.left
        anchors.right: buttons.left
        anchors.rightMargin: Dimensions.x(15)
        height: parent.height
        radius: Dimensions.x(12)
        color: root.editing ? Appearance.hoverColor : "white"
        border.width: 1
        border.color: root.editing ? Appearance.brandColor : Appearance.settingsLine

        Text {
            anchors.fill: parent
            anchors.leftMargin: Dimensions.x(25)
            anchors.rightMargin: Dimensions.x(25)
            verticalAlignment: Text.AlignVCenter
            text: !root.editing ? root.shortcutText : root.newShortcut !== "" ? root.newShortcut : "Press shortcut"
            font: Appearance.regular36
            color: root.editing && root.newShortcut === "" ? Appearance.settingsMutedText : Appearance.settingsText
            elide: Text.ElideRight
        }

        Keys.onPressed: event => {
            if (!root.editing)
                return
            event.accepted = true
            if (event.isAutoRepeat)
                return
            if (event.key === Qt.Key_Escape && event.modifiers === Qt.NoModifier) {
                root.stopEditing()
                return
            }
            root.newShortcut = keysequence.keyToString(event.key, event.modifiers)
        }
        Keys.onReleased: event => {
            if (!root.editing || event.isAutoRepeat)
                return
            event.accepted = true
            if (root.newShortcut === "" || root.newShortcut.endsWith("..."))
                return
            root.shortcutChanged(root.newShortcut)
            root.stopEditing()
        }
        onActiveFocusChanged: {
            if (!activeFocus)
                root.stopEditing()
        }
    }

    Row {
        id: buttons
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: Dimensions.x(10)

        ButtonBase {
            id: editButton
            objectName: "editShortcutButton"
            width: Dimensions.x(100)
            height: Dimensions.y(100)
            radius: Dimensions.x(12)
            iconWidth: Dimensions.x(60)
            iconHeight: Dimensions.y(60)
            iconSource: "qrc:/images/SettingsDialog/edit.svg"
            backgroundColor: root.editing ? Appearance.hoverColor : "transparent"
            hoverColor: Appearance.hoverColor
            onClicked: root.editing ? root.stopEditing() : root.startEditing()
            onEntered: root.showToolTip(editButton, "Edit")
            onExited: root.hideToolTip()
        }

        ButtonBase {
            id: resetButton
            objectName: "resetShortcutButton"
            width: Dimensions.x(100)
            height: Dimensions.y(100)
            radius: Dimensions.x(12)
            iconWidth: Dimensions.x(60)
            iconHeight: Dimensions.y(60)
            iconSource: "qrc:/images/SettingsDialog/reset.svg"
            hoverColor: Appearance.hoverColor
            onClicked: {
                root.stopEditing()
                root.resetToDefault()
            }
            onEntered: root.showToolTip(resetButton, "Reset to default")
            onExited: root.hideToolTip()
        }
    }
}
