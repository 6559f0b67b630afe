import QtQuick
import ViewModel 1.0

// The tool tip that stays on its screen: above its anchor when there is room,
// else below, its body pushed back from the screen's sides while the pointer
// stays under the anchor.
HelpToolTip {
    id: root

    readonly property HelpToolTipViewModel vm: HelpToolTipViewModel {}

    // The anchor's rectangle on the virtual desktop.
    function showToolTipByScreen(text, posX, posY, itemWidth, itemHeight) {
        root.text = text
        vm.updateMenuPos(posX, posY, itemWidth, itemHeight, width, height)
        pointerAtTop = vm.side === HelpToolTipViewModel.BOTTOM
        pointerLeft = vm.pointXPos + Dimensions.x(6)
        x = vm.menuXPos
        y = vm.menuYPos
        scheduleShow()
    }

    title: "helpToolTipByScreen"
}
