import QtQuick
import QtTest
import ViewModel 1.0

// Placement of a 100x40 tool tip that stays on its screen, on two screens:
// left 1280x720 at (0,0), right 1024x768 at (1280,0).
TestCase {
    id: testCase
    name: "HelpToolTipViewModel"

    Component {
        id: vmComponent
        HelpToolTipViewModel {}
    }

    function test_updateMenuPos_data() {
        return [
            { tag: "above, centred", x: 600, y: 300, w: 20, h: 20,
              side: HelpToolTipViewModel.TOP, menuX: 560, menuY: 260, pointX: 40 },
            { tag: "near the top: below", x: 600, y: 10, w: 20, h: 20,
              side: HelpToolTipViewModel.BOTTOM, menuX: 560, menuY: 30, pointX: 40 },
            // The body stays on screen, the pointer under the anchor.
            { tag: "at the very left", x: 5, y: 300, w: 20, h: 20,
              side: HelpToolTipViewModel.TOP, menuX: 0, menuY: 260, pointX: 5 },
            { tag: "at the very right", x: 1270, y: 300, w: 10, h: 10,
              side: HelpToolTipViewModel.TOP, menuX: 1180, menuY: 260, pointX: 90 },
            // The screen is looked up at half of position plus size: an anchor
            // on the right screen at x 1500 is taken against the left one.
            { tag: "right screen, looked up on the left one", x: 1500, y: 300, w: 20, h: 20,
              side: HelpToolTipViewModel.TOP, menuX: 1180, menuY: 260, pointX: 320 }
        ]
    }

    function test_updateMenuPos(data) {
        const vm = createTemporaryObject(vmComponent, testCase)
        vm.updateMenuPos(data.x, data.y, data.w, data.h, 100, 40)
        compare(vm.side, data.side)
        compare(vm.menuXPos, data.menuX)
        compare(vm.menuYPos, data.menuY)
        compare(vm.pointXPos, data.pointX)
    }

    // With room neither above nor below, the vertical place stays as it was.
    function test_noRoomKeepsVerticalPlace() {
        const vm = createTemporaryObject(vmComponent, testCase)
        vm.updateMenuPos(600, 300, 20, 20, 100, 40)
        vm.updateMenuPos(600, 10, 20, 700, 100, 40)
        compare(vm.side, HelpToolTipViewModel.TOP)
        compare(vm.menuYPos, 260)
        compare(vm.menuXPos, 560)
    }
}
