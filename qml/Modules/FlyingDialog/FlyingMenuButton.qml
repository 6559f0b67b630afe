import QtQuick
import ComponentsBase 1.0
import Singletons 1.0

// A button of the floating menu. Pressing and moving on it drags the menu
// like its background does; a click counts only when the menu did not move.
// Under the pointer it shows its tool tip.
ButtonBase {
    id: root

    required property Item menu
    property string toolTipText
    property real iconSize: 95

    // A click that did not drag the menu.
    signal activated

    width: menu.localX(110)
    height: menu.localY(110)
    iconWidth: menu.localX(iconSize)
    iconHeight: menu.localY(iconSize)
    radius: menu.localX(15)
    backgroundColor: Appearance.flyingBackground
    hoverColor: Appearance.flyingHover

    onClicked: {
        if (!menu.isDragged)
            activated()
    }
    onEntered: {
        if (!pressed) {
            menu.mouseEnted()
            menu.showToolTip(root, toolTipText)
        }
    }
    onExited: {
        if (!pressed) {
            menu.mouseExited()
            menu.hideToolTip()
        }
    }
    onMousePressed: (mouseX, mouseY) => {
        menu.hideToolTip()
        const p = root.mapToItem(null, mouseX, mouseY)
        menu.dragPressed(p.x, p.y)
    }
    onPressedMoveX: mouseX => menu.dragMovedX(root.mapToItem(null, mouseX, 0).x)
    onPressedMoveY: mouseY => menu.dragMovedY(root.mapToItem(null, 0, mouseY).y)
    onMouseReleased: menu.dragReleased()
}
