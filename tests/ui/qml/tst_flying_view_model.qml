import QtQuick
import QtTest
import ViewModel 1.0

// The floating menu's view model on two screens: left 1280x720 at (0,0),
// right 1024x768 at (1280,0). A vertical bar is 26x126, a horizontal one 126x26.
TestCase {
    id: testCase
    name: "FlyingViewModel"

    readonly property int vertical: FlyingViewModel.VERTICAL
    readonly property int horizontal: FlyingViewModel.HORIZONTAL

    Component {
        id: vmComponent
        FlyingViewModel {}
    }

    function init() {
        settingsManager.writeSetting("bubble_horizontal", false)
        settingsManager.writeSetting("bubble_side", 0)
        settingsManager.writeSetting("bubble_ishstuck", false)
        settingsManager.writeSetting("bubble_isvstuck", false)
        settingsManager.writeSetting("bubble_pin", true)
    }

    function makeVm(orientation) {
        const vm = createTemporaryObject(vmComponent, testCase)
        vm.orientation = orientation
        return vm
    }

    function test_startValues_data() {
        return [
            { tag: "defaults", horizontal: false, side: 0, ishstuck: false, isvstuck: false, pin: true,
              orientation: vertical, expectedSide: FlyingViewModel.NONE, hStuck: 0, vStuck: 0 },
            // The stuck flags become the held coordinates 0 or 1; the bar itself starts free.
            { tag: "saved", horizontal: true, side: 3, ishstuck: true, isvstuck: false, pin: false,
              orientation: horizontal, expectedSide: FlyingViewModel.LEFT, hStuck: 1, vStuck: 0 },
            { tag: "side out of range", horizontal: false, side: 9, ishstuck: false, isvstuck: true, pin: true,
              orientation: vertical, expectedSide: FlyingViewModel.NONE, hStuck: 0, vStuck: 1 }
        ]
    }

    function test_startValues(data) {
        settingsManager.writeSetting("bubble_horizontal", data.horizontal)
        settingsManager.writeSetting("bubble_side", data.side)
        settingsManager.writeSetting("bubble_ishstuck", data.ishstuck)
        settingsManager.writeSetting("bubble_isvstuck", data.isvstuck)
        settingsManager.writeSetting("bubble_pin", data.pin)
        if (data.side > FlyingViewModel.RIGHT)
            ignoreWarning("[UIC]: bubble_side out of range, taken as NONE: " + data.side)
        const vm = createTemporaryObject(vmComponent, testCase)
        compare(vm.orientation, data.orientation)
        compare(vm.side, data.expectedSide)
        compare(vm.hStuck, data.hStuck)
        compare(vm.vStuck, data.vStuck)
        compare(vm.isPinned, data.pin)
        verify(!vm.isHStuck && !vm.isVStuck)
        compare(vm.sizeAnimationDuration, 50)
    }

    // One move of a free bar: turn, stick, or nothing. held is hStuck for a
    // horizontal hold, vStuck for a vertical one, -1 when not stuck.
    function test_canStuck_data() {
        return [
            { tag: "vertical at the top turns horizontal and sticks there", orientation: vertical,
              x: 600, y: 10, w: 26, h: 126, dx: 0, dy: 5, turned: horizontal, hs: false, vs: true,
              side: FlyingViewModel.TOP, held: 0 },
            { tag: "vertical at the bottom turns horizontal, stays free", orientation: vertical,
              x: 600, y: 584, w: 26, h: 126, dx: 0, dy: 5, turned: horizontal, hs: false, vs: false,
              side: FlyingViewModel.NONE, held: -1 },
            { tag: "horizontal over the right edge turns vertical, sticks right", orientation: horizontal,
              x: 1174, y: 300, w: 126, h: 26, dx: 50, dy: 0, turned: vertical, hs: true, vs: false,
              side: FlyingViewModel.RIGHT, held: 1154 },
            { tag: "horizontal at the left edge turns vertical, sticks left", orientation: horizontal,
              x: 10, y: 300, w: 126, h: 26, dx: 5, dy: 0, turned: vertical, hs: true, vs: false,
              side: FlyingViewModel.LEFT, held: 0 },
            { tag: "horizontal too low to turn sticks to the bottom", orientation: horizontal,
              x: 600, y: 700, w: 126, h: 26, dx: 0, dy: 5, turned: horizontal, hs: false, vs: true,
              side: FlyingViewModel.BOTTOM, held: 694 },
            { tag: "vertical in the middle stays free", orientation: vertical,
              x: 600, y: 300, w: 26, h: 126, dx: 5, dy: 0, turned: vertical, hs: false, vs: false,
              side: FlyingViewModel.NONE, held: -1 },
            { tag: "second screen: vertical at its left edge sticks there", orientation: vertical,
              x: 1285, y: 300, w: 26, h: 126, dx: 5, dy: 0, turned: vertical, hs: true, vs: false,
              side: FlyingViewModel.LEFT, held: 1280 },
            { tag: "second screen: vertical past its right edge sticks right", orientation: vertical,
              x: 2290, y: 300, w: 26, h: 126, dx: 5, dy: 0, turned: vertical, hs: true, vs: false,
              side: FlyingViewModel.RIGHT, held: 2278 },
            { tag: "second screen: horizontal at its top sticks there", orientation: horizontal,
              x: 1500, y: 10, w: 126, h: 26, dx: 0, dy: 5, turned: horizontal, hs: false, vs: true,
              side: FlyingViewModel.TOP, held: 0 },
            { tag: "second screen: horizontal over its bottom sticks to it", orientation: horizontal,
              x: 1500, y: 747, w: 126, h: 26, dx: 0, dy: 5, turned: horizontal, hs: false, vs: true,
              side: FlyingViewModel.BOTTOM, held: 742 },
            { tag: "no screen at the probe point: nothing", orientation: vertical,
              x: 3000, y: 10, w: 26, h: 126, dx: 5, dy: 0, turned: vertical, hs: false, vs: false,
              side: FlyingViewModel.NONE, held: -1 }
        ]
    }

    function test_canStuck(data) {
        const vm = makeVm(data.orientation)
        vm.canStuck(data.x, data.y, data.w, data.h, data.dx, data.dy)
        compare(vm.orientation, data.turned)
        // A turn happens at once, without the size animation.
        compare(vm.sizeAnimationDuration, data.turned !== data.orientation ? 0 : 50)
        compare(vm.isHStuck, data.hs)
        compare(vm.isVStuck, data.vs)
        compare(vm.side, data.side)
        if (data.hs)
            compare(vm.hStuck, data.held)
        if (data.vs)
            compare(vm.vStuck, data.held)
    }

    // A stuck bar comes free only after a pull of more than 1.5 times its
    // size, in the window's own mouse coordinates.
    function test_release_data() {
        return [
            { tag: "left, pull of exactly 1.5 widths holds", orientation: vertical, x: 5, y: 300,
              w: 26, h: 126, dx: 39, dy: 0, free: false },
            { tag: "left, longer pull frees", orientation: vertical, x: 5, y: 300,
              w: 26, h: 126, dx: 40, dy: 0, free: true },
            { tag: "left, a pull backwards frees too", orientation: vertical, x: 5, y: 300,
              w: 26, h: 126, dx: -40, dy: 0, free: true },
            { tag: "top, pull of exactly 1.5 heights holds", orientation: horizontal, x: 600, y: 5,
              w: 126, h: 26, dx: 0, dy: 39, free: false },
            { tag: "top, longer pull frees", orientation: horizontal, x: 600, y: 5,
              w: 126, h: 26, dx: 0, dy: 40, free: true }
        ]
    }

    function test_release(data) {
        const vm = makeVm(data.orientation)
        vm.canStuck(data.x, data.y, data.w, data.h, 1, 1)
        verify(vm.isHStuck || vm.isVStuck)
        vm.canStuck(data.x, data.y, data.w, data.h, data.dx, data.dy)
        compare(!(vm.isHStuck || vm.isVStuck), data.free)
    }

    // The release test of a vertical hold lies behind the vertical branches:
    // a vertical bar held vertically is never let go by a pull.
    function test_verticalBarKeepsVerticalHold() {
        const vm = makeVm(horizontal)
        vm.canStuck(600, 5, 126, 26, 0, 1)
        verify(vm.isVStuck)
        vm.orientation = vertical
        vm.canStuck(600, 300, 26, 126, 0, 1000)
        verify(vm.isVStuck)
    }

    // A stuck bar that changes size keeps its outer edge on the screen's edge.
    function test_updateStuck_data() {
        return [
            { tag: "right, wider", orientation: vertical, x: 1270, y: 300, w: 19, h: 90,
              newW: 26, newH: 126, side: FlyingViewModel.RIGHT, before: 1261, after: 1254 },
            { tag: "left, wider", orientation: vertical, x: 3, y: 300, w: 19, h: 90,
              newW: 26, newH: 126, side: FlyingViewModel.LEFT, before: 0, after: 0 },
            { tag: "bottom, taller", orientation: horizontal, x: 600, y: 710, w: 90, h: 19,
              newW: 126, newH: 26, side: FlyingViewModel.BOTTOM, before: 701, after: 694 },
            { tag: "second screen right, wider", orientation: vertical, x: 2290, y: 300, w: 19, h: 90,
              newW: 26, newH: 126, side: FlyingViewModel.RIGHT, before: 2285, after: 2278 }
        ]
    }

    function test_updateStuck(data) {
        const vm = makeVm(data.orientation)
        vm.canStuck(data.x, data.y, data.w, data.h, 1, 1)
        compare(vm.side, data.side)
        const held = () => vm.isHStuck ? vm.hStuck : vm.vStuck
        compare(held(), data.before)
        vm.updateStuck(data.orientation === vertical ? held() : data.x,
                       data.orientation === vertical ? data.y : held(), data.newW, data.newH)
        compare(held(), data.after)
        // A hold on a side it can't have stays where it is.
        vm.side = FlyingViewModel.NONE
        vm.updateStuck(data.x, data.y, data.newW + 10, data.newH + 10)
        compare(held(), data.after)
    }

    // The free position follows the mouse from the press point, bounded to
    // the virtual desktop of both screens (2304x768).
    function test_freePosition() {
        const vm = makeVm(vertical)
        vm.previousX = 10
        vm.previousY = 20
        compare(vm.getXPos(100, 26, 15), 105)
        compare(vm.getXPos(0, 26, 0), 0)
        compare(vm.getXPos(2290, 26, 30), 2278)
        compare(vm.getYPos(300, 126, 25), 305)
        compare(vm.getYPos(5, 126, 0), 0)
        compare(vm.getYPos(700, 126, 200), 642)
    }
}
