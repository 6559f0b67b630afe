import QtQuick
import QtTest
import ViewModel 1.0

// Where the recording panel (300x68) goes beside the recorded area, on two
// screens: left 1280x720 at (0,0), right 1024x768 at (1280,0).
TestCase {
    id: testCase
    name: "VideoViewModel"

    Component {
        id: vmComponent
        VideoViewModel {}
    }

    SignalSpy {
        id: sideSpy
        signalName: "sideChanged"
    }

    function test_updateMenuPos_data() {
        return [
            { tag: "room below", x: 100, y: 100, w: 400, h: 300,
              side: VideoViewModel.BOTTOM, menuX: 100, menuY: 400 },
            // The room below must exceed the panel's height.
            { tag: "exactly the panel's height below goes above", x: 100, y: 100, w: 400, h: 552,
              side: VideoViewModel.TOP, menuX: 100, menuY: 32 },
            { tag: "whole screen: inside", x: 0, y: 0, w: 1280, h: 720,
              side: VideoViewModel.INSIDE, menuX: 0, menuY: 0 },
            { tag: "no room above or below: inside", x: 200, y: 60, w: 400, h: 600,
              side: VideoViewModel.INSIDE, menuX: 200, menuY: 60 },
            { tag: "at the right edge the panel ends there", x: 1100, y: 100, w: 180, h: 200,
              side: VideoViewModel.BOTTOM, menuX: 980, menuY: 300 },
            { tag: "second screen, no room below", x: 1400, y: 600, w: 400, h: 150,
              side: VideoViewModel.TOP, menuX: 1400, menuY: 532 },
            { tag: "second screen, at its right edge", x: 2200, y: 100, w: 104, h: 100,
              side: VideoViewModel.BOTTOM, menuX: 2004, menuY: 200 },
            { tag: "second screen, area taller than the first screen", x: 1300, y: 0, w: 1004, h: 740,
              side: VideoViewModel.INSIDE, menuX: 1300, menuY: 0 }
        ]
    }

    function test_updateMenuPos(data) {
        const vm = createTemporaryObject(vmComponent, testCase)
        vm.updateMenuPos(data.x, data.y, data.w, data.h, 300, 68)
        compare(vm.side, data.side)
        compare(vm.menuXPos, data.menuX)
        compare(vm.menuYPos, data.menuY)
    }

    // The side is signalled on every placement, the panel re-reads it each
    // time; an area centred where no screen lies changes nothing.
    function test_sideSignalAndNoScreen() {
        const vm = createTemporaryObject(vmComponent, testCase)
        sideSpy.target = vm
        sideSpy.clear()
        vm.updateMenuPos(100, 100, 400, 300, 300, 68)
        vm.updateMenuPos(100, 100, 400, 300, 300, 68)
        compare(sideSpy.count, 2)
        vm.updateMenuPos(2400, 100, 400, 300, 300, 68)
        compare(sideSpy.count, 2)
        compare(vm.side, VideoViewModel.BOTTOM)
        compare(vm.menuXPos, 100)
        compare(vm.menuYPos, 400)
    }
}
