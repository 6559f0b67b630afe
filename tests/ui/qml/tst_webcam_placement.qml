import QtQuick
import QtTest
import ViewModel 1.0
import "../../../qml/Modules/WebCamDialog/WebCamGeometry.js" as Geometry

// The webcam window inside the recording frame, and its menu (200x50, dots
// 20 high) on two screens: left 1280x720 at (0,0), right 1024x768 at (1280,0).
TestCase {
    id: testCase
    name: "WebCamPlacement"

    // Design units to pixels, as Dimensions.x does it.
    function units(v) {
        return Math.ceil(v * 0.4)
    }

    Component {
        id: vmComponent
        WebCamViewModel {}
    }

    // The size choices need a frame of their size (SMALL, 410 units) or larger
    // than it (LARGE, 600 units); a refusal is -1, and the window turns CUSTOM.
    function test_sizeChoice_data() {
        return [
            { tag: "300x300 units refuses SMALL", size: Geometry.SMALL, w: units(300), h: units(300), side: -1 },
            { tag: "exactly 410 units takes SMALL", size: Geometry.SMALL, w: units(410), h: units(410), side: units(410) },
            { tag: "SMALL in a wide but low frame", size: Geometry.SMALL, w: 1000, h: units(410) - 1, side: -1 },
            { tag: "exactly 600 units refuses LARGE", size: Geometry.LARGE, w: units(600), h: 700, side: -1 },
            { tag: "LARGE in a larger frame", size: Geometry.LARGE, w: units(600) + 1, h: 700, side: units(600) },
            { tag: "FULL is no fixed side", size: Geometry.FULL, w: 1000, h: 700, side: -1 }
        ]
    }

    function test_sizeChoice(data) {
        compare(Geometry.sideForSize(data.size, data.w, data.h, units(410), units(600)), data.side)
    }

    function test_startSize() {
        compare(Geometry.sideForPercentage(1000, 500, 20), 100)
        compare(Geometry.sideForPercentage(500, 1000, 5), 25)
        compare(Geometry.sideForPercentage(640, 480, 100), 480)
    }

    // Start from the saved corner or relative position, then updateX(0):
    // a place outside a smaller frame is pulled back in.
    function test_startPosition_data() {
        return [
            { tag: "top left corner", corner: Geometry.CORNER_TOP_LEFT, rel: 50, start: 100, frame: 200, len: 100, pos: 100 },
            { tag: "bottom right corner", corner: Geometry.CORNER_BOTTOM_RIGHT, rel: 0, start: 100, frame: 200, len: 100, pos: 200 },
            { tag: "relative inside", corner: Geometry.CORNER_SOMEWHERE, rel: 25, start: 100, frame: 400, len: 100, pos: 200 },
            { tag: "middle uses the relative place", corner: Geometry.CORNER_MIDDLE_CENTER, rel: 25, start: 100, frame: 400, len: 100, pos: 200 },
            { tag: "relative beyond a smaller frame", corner: Geometry.CORNER_SOMEWHERE, rel: 90, start: 100, frame: 200, len: 100, pos: 200 },
            { tag: "window larger than the frame", corner: Geometry.CORNER_SOMEWHERE, rel: 10, start: 100, frame: 80, len: 100, pos: 80 }
        ]
    }

    function test_startPosition(data) {
        const p = Geometry.cornerPosition(data.corner, data.start, data.frame, data.len, data.rel)
        compare(Geometry.moved(p, data.len, 0, data.start, data.frame), data.pos)
    }

    function test_drag() {
        // Inside: moves; past the far edge: on it; past the near edge: on it.
        compare(Geometry.moved(150, 50, 20, 100, 200), 170)
        compare(Geometry.moved(150, 50, 200, 100, 200), 250)
        compare(Geometry.moved(150, 50, -200, 100, 200), 100)
    }

    // What is saved, and the corner each axis reads as. The vertical far-edge
    // test uses the frame's x: here (0,200,400,300), so y + height >= 300.
    function test_savedState_data() {
        return [
            { tag: "top left", x: 0, y: 200, w: 100, h: 100, pct: 33.333333333333336, relX: 0, relY: 0,
              cornerX: Geometry.CORNER_TOP_LEFT, cornerY: Geometry.CORNER_TOP_LEFT },
            { tag: "bottom right", x: 300, y: 400, w: 100, h: 100, pct: 33.333333333333336, relX: 75,
              relY: 66.66666666666667, cornerX: Geometry.CORNER_BOTTOM_RIGHT, cornerY: Geometry.CORNER_BOTTOM_RIGHT },
            { tag: "middle, but below frame x + height", x: 100, y: 250, w: 60, h: 60, pct: 20, relX: 25,
              relY: 16.666666666666668, cornerX: Geometry.CORNER_SOMEWHERE, cornerY: Geometry.CORNER_BOTTOM_RIGHT },
            { tag: "middle", x: 100, y: 210, w: 60, h: 60, pct: 20, relX: 25,
              relY: 3.3333333333333335, cornerX: Geometry.CORNER_SOMEWHERE, cornerY: Geometry.CORNER_SOMEWHERE }
        ]
    }

    function test_savedState(data) {
        const s = Geometry.savedState(data.x, data.y, data.w, data.h, 0, 200, 400, 300)
        fuzzyCompare(s.percentage, data.pct, 1e-9)
        fuzzyCompare(s.relativeX, data.relX, 1e-9)
        fuzzyCompare(s.relativeY, data.relY, 1e-9)
        compare(s.cornerX, data.cornerX)
        compare(s.cornerY, data.cornerY)
    }

    function test_menuPosition_data() {
        return [
            { tag: "room above", x: 500, y: 300, w: 100, h: 100, menuX: 450, menuY: 250 },
            { tag: "near the top: below the dots", x: 500, y: 20, w: 100, h: 100, menuX: 450, menuY: 40 },
            { tag: "whole screen: on its top", x: 0, y: 0, w: 1280, h: 720, menuX: 540, menuY: 0 },
            { tag: "right edge", x: 1200, y: 300, w: 80, h: 80, menuX: 1080, menuY: 250 },
            { tag: "second screen, right edge", x: 2250, y: 300, w: 50, h: 50, menuX: 2104, menuY: 250 },
            { tag: "second screen, near its top", x: 1500, y: 30, w: 200, h: 200, menuX: 1500, menuY: 50 }
        ]
    }

    function test_menuPosition(data) {
        const vm = createTemporaryObject(vmComponent, testCase)
        vm.updateMenuPos(data.x, data.y, data.w, data.h, 200, 50, 20)
        compare(vm.menuXPos, data.menuX)
        compare(vm.menuYPos, data.menuY)
    }

    function test_viewModelEnumsMatchGeometry() {
        compare(WebCamViewModel.SMALL, Geometry.SMALL)
        compare(WebCamViewModel.LARGE, Geometry.LARGE)
        compare(WebCamViewModel.FULL, Geometry.FULL)
        compare(WebCamViewModel.CUSTOM, Geometry.CUSTOM)
        compare(WebCamViewModel.CORNER_BOTTOM_RIGHT, Geometry.CORNER_BOTTOM_RIGHT)
        compare(WebCamViewModel.CORNER_SOMEWHERE, Geometry.CORNER_SOMEWHERE)
    }
}
