import QtQuick
import QtQuick.Window
import Singletons 1.0
import ViewModel 1.0

// The floating menu's window: dragged anywhere on the virtual desktop, stuck
// to a screen edge when brought near one, expanded while the pointer is over
// it or when pinned, and kept on screen when monitors come and go.
Window {
    id: root

    property var helpToolTip: null
    readonly property FlyingViewModel vm: FlyingViewModel {
        onHStuckChanged: {
            root.x = root.vm.hStuck
            root.savePosition()
        }
        onVStuckChanged: {
            root.y = root.vm.vStuck
            root.savePosition()
        }
        onOrientationChanged: settingsManager.writeSetting("bubble_horizontal",
                                                           root.vm.orientation === FlyingViewModel.HORIZONTAL)
        onIsPinnedChanged: settingsManager.writeSetting("bubble_pin", root.vm.isPinned)
        onSideChanged: settingsManager.writeSetting("bubble_side", root.vm.side)
        onIsHStuckChanged: settingsManager.writeSetting("bubble_ishstuck", root.vm.isHStuck)
        onIsVStuckChanged: settingsManager.writeSetting("bubble_isvstuck", root.vm.isVStuck)
    }
    readonly property real windowRadius: flyingMenu.localX(15)
    property bool isFlyingMouseEnted: false
    property var currentScreen: null

    // The window is the menu's size collapsed, 20 local units larger expanded.
    property real calculatedWidth: flyingMenu.expanded ? flyingMenu.menuWidth + flyingMenu.localX(20) : flyingMenu.menuWidth
    property real calculatedHeight: flyingMenu.expanded ? flyingMenu.menuHeight + flyingMenu.localX(20)
                                                        : flyingMenu.menuHeight

    Behavior on calculatedWidth {
        NumberAnimation {
            duration: root.vm.sizeAnimationDuration
            easing.type: Easing.InOutQuad
        }
    }
    Behavior on calculatedHeight {
        NumberAnimation {
            duration: root.vm.sizeAnimationDuration
            easing.type: Easing.InOutQuad
        }
    }

    function savePosition() {
        settingsManager.writeSetting("bubble_pos", Qt.point(root.x, root.y))
    }

    // The union of all screens, which on this platform is the primary
    // screen's virtual geometry.
    function virtualGeometry() {
        const screens = Qt.application.screens
        if (screens.length === 0)
            return Qt.rect(0, 0, 0, 0)
        let left = screens[0].virtualX, top = screens[0].virtualY
        let right = left + screens[0].width, bottom = top + screens[0].height
        for (let i = 1; i < screens.length; ++i) {
            left = Math.min(left, screens[i].virtualX)
            top = Math.min(top, screens[i].virtualY)
            right = Math.max(right, screens[i].virtualX + screens[i].width)
            bottom = Math.max(bottom, screens[i].virtualY + screens[i].height)
        }
        return Qt.rect(left, top, right - left, bottom - top)
    }

    function bounded(p, low, high) {
        return Math.max(low, Math.min(p, high))
    }

    function isInsideVirtualGeometry() {
        const v = virtualGeometry()
        return root.x >= v.x && root.y >= v.y && root.x + root.width <= v.x + v.width
                && root.y + root.height <= v.y + v.height
    }

    // Moves the window back into the virtual desktop; true when it moved.
    function boundPosition() {
        const v = virtualGeometry()
        const nx = bounded(root.x, v.x, v.x + v.width - root.width)
        const ny = bounded(root.y, v.y, v.y + v.height - root.height)
        if (nx === root.x && ny === root.y)
            return false
        console.log("FlyingMenuDialog: Position corrected from", root.x, root.y, "to", nx, ny)
        root.x = nx
        root.y = ny
        return true
    }

    function updateStuckIfStuck() {
        if (vm.isHStuck || vm.isVStuck)
            vm.updateStuck(root.x, root.y, root.width, root.height)
    }

    // The saved position, bounded to the virtual desktop.
    function placeAtSavedPosition() {
        const saved = settingsManager.readSettingPoint("bubble_pos")
        const v = virtualGeometry()
        root.x = bounded(saved.x, v.x, v.x + v.width - root.width)
        root.y = bounded(saved.y, v.y, v.y + v.height - root.height)
        updateStuckIfStuck()
    }

    function unlockSize() {
        minimumWidth = 0
        minimumHeight = 0
        maximumWidth = 16777215
        maximumHeight = 16777215
    }

    function lockSize() {
        minimumWidth = width
        maximumWidth = width
        minimumHeight = height
        maximumHeight = height
    }

    function applySize() {
        unlockSize()
        width = Math.round(calculatedWidth)
        height = Math.round(calculatedHeight)
        lockSize()
    }

    function applyMask() {
        if (!uiController.dwmIsCompositionEnabled && visible)
            uiController.setDialogMask(root, root.windowRadius)
    }

    // A drag by the background, the dots, the pin or any button.
    function dragPressed(mouseX, mouseY) {
        vm.previousX = mouseX
        vm.previousY = mouseY
    }

    function dragMovedX(mouseX) {
        vm.canStuck(root.x, root.y, root.width, root.height, mouseX, 0)
        if (vm.isHStuck)
            root.setX(vm.hStuck)
        else
            root.setX(vm.getXPos(root.x, root.width, mouseX))
    }

    function dragMovedY(mouseY) {
        vm.canStuck(root.x, root.y, root.width, root.height, 0, mouseY)
        if (vm.isVStuck)
            root.setY(vm.vStuck)
        else
            root.setY(vm.getYPos(root.y, root.height, mouseY))
    }

    title: "flyingMenuDialog"
    flags: Qt.ToolTip | Qt.WindowStaysOnTopHint | Qt.FramelessWindowHint | Qt.NoDropShadowWindowHint
    color: "transparent"

    onCalculatedWidthChanged: {
        applySize()
        applyMask()
        if (vm.isHStuck)
            vm.updateStuck(root.x, root.y, root.width, root.height)
    }
    onCalculatedHeightChanged: {
        applySize()
        applyMask()
        if (vm.isVStuck)
            vm.updateStuck(root.x, root.y, root.width, root.height)
    }
    onIsFlyingMouseEntedChanged: expandCollapseTimer.restart()
    onScreenChanged: {
        console.log("FlyingMenuDialog: Screen changed from", currentScreen ? currentScreen.name : "none", "to",
                    screen ? screen.name : "none")
        currentScreen = screen
        applySize()
        screenChangeTimer.restart()
    }
    onVisibleChanged: {
        if (visible) {
            applyMask()
            screenChangeTimer.restart()
        }
    }

    Component.onCompleted: {
        currentScreen = screen
        expandCollapseTimer.restart()
        applySize()
        placeAtSavedPosition()
    }

    Rectangle {
        anchors.fill: parent
        color: Appearance.flyingBackground
        radius: root.windowRadius
    }

    MouseArea {
        id: backgroundArea
        anchors.fill: parent
        onPressed: mouse => root.dragPressed(mouse.x, mouse.y)
        onMouseXChanged: {
            if (pressed)
                root.dragMovedX(mouseX)
        }
        onMouseYChanged: {
            if (pressed)
                root.dragMovedY(mouseY)
        }
        onReleased: root.savePosition()
    }

    FlyingMenu {
        id: flyingMenu
        anchors.fill: parent
        vm: root.vm
        dialog: root
        helpToolTip: root.helpToolTip
        onDragPressed: (mouseX, mouseY) => root.dragPressed(mouseX, mouseY)
        onDragMovedX: mouseX => root.dragMovedX(mouseX)
        onDragMovedY: mouseY => root.dragMovedY(mouseY)
        onDragReleased: root.savePosition()
    }

    // Polls the pointer: is it over the window? Only a comparison, ten times a second.
    Timer {
        id: cursorPositioTimer
        interval: Configuration.cursorPollInterval
        repeat: true
        running: root.visible
        onTriggered: {
            const p = uiController.cursorPos()
            const inside = p.x >= root.x && p.x < root.x + root.width && p.y >= root.y && p.y < root.y + root.height
            if (inside)
                root.isFlyingMouseEnted = true
            else if (!flyingMenu.dotsPressed)
                root.isFlyingMouseEnted = false
        }
    }

    Timer {
        id: expandCollapseTimer
        interval: 100
        onTriggered: {
            root.vm.sizeAnimationDuration = 50
            if (root.isFlyingMouseEnted)
                flyingMenu.state = "expandState"
            else if (!root.vm.isPinned)
                flyingMenu.state = "collapseState"
        }
    }

    // After a change of screens: back into the virtual desktop.
    Timer {
        id: screenChangeTimer
        interval: 100
        onTriggered: {
            root.boundPosition()
            root.updateStuckIfStuck()
            root.savePosition()
            delayedScreenCheckTimer.restart()
        }
    }

    // The geometry of a new screen set may arrive late: look again after 5 s.
    Timer {
        id: delayedScreenCheckTimer
        interval: 5000
        onTriggered: {
            if (!root.isInsideVirtualGeometry()) {
                console.log("FlyingMenuDialog: Delayed position correction needed")
                screenChangeTimer.restart()
            }
        }
    }

    Timer {
        id: positionValidationTimer
        interval: 10000
        repeat: true
        running: root.visible
        onTriggered: {
            if (!root.isInsideVirtualGeometry()) {
                console.log("FlyingMenuDialog: Periodic check detected invalid position")
                screenChangeTimer.restart()
            }
        }
    }

    // Shows the menu again when something hid it. Raising is left to the
    // stays-on-top hint except on Windows; a visible menu is not touched, so
    // an idle second costs nothing.
    Timer {
        id: autoShowTimer
        interval: 1000
        repeat: true
        running: true
        onTriggered: {
            if (!root.visible) {
                root.unlockSize()
                root.show()
                root.lockSize()
            }
            if (AppHelper.isWindows)
                root.raise()
        }
    }
}
