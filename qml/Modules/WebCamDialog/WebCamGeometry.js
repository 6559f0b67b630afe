.pragma library

// Placement of the webcam window inside the recording frame. Pure functions
// on pixel values, so the window and its tests compute the same.

// WebCamViewModel.SizeEnum and CameraCornerEnum.
const CUSTOM = 0
const SMALL = 1
const LARGE = 2
const FULL = 3
const CORNER_TOP_LEFT = 0
const CORNER_MIDDLE_CENTER = 1
const CORNER_BOTTOM_RIGHT = 2
const CORNER_SOMEWHERE = 3

// The side of the round window: percentage p of the frame's shorter side.
function sideForPercentage(frameWidth, frameHeight, p) {
    return Math.min(frameWidth * p / 100, frameHeight * p / 100)
}

// The window's start along one axis for the saved corner of that axis.
function cornerPosition(corner, frameStart, frameLength, length, relativePos) {
    if (corner === CORNER_TOP_LEFT)
        return frameStart
    if (corner === CORNER_BOTTOM_RIGHT)
        return frameStart + frameLength - length
    return frameStart + relativePos * frameLength / 100
}

// The window's start after a move by delta along one axis: the move when both
// edges stay in the frame, else the far edge or the near edge on the frame's.
function moved(start, length, delta, frameStart, frameLength) {
    const p = start + delta
    if (p >= frameStart && p + length <= frameStart + frameLength)
        return p
    if (p + length > frameStart + frameLength)
        return frameStart + frameLength - length
    return frameStart
}

// The side for a size choice in this frame: smallSide for SMALL (refused,
// -1, by a frame narrower than it), largeSide for LARGE (refused by a frame
// of at most largeSide in either direction), -1 for any other choice.
function sideForSize(size, frameWidth, frameHeight, smallSide, largeSide) {
    if (size === SMALL)
        return frameWidth < smallSide || frameHeight < smallSide ? -1 : smallSide
    if (size === LARGE)
        return frameWidth <= largeSide || frameHeight <= largeSide ? -1 : largeSide
    return -1
}

// What is saved of the window: its size as a percentage of the frame, its
// position relative to the frame, and the corner it sits in per axis. The
// vertical far-edge test compares with the frame's x plus its height, not
// its y: that is the rule the saved corners follow.
function savedState(x, y, width, height, frameX, frameY, frameWidth, frameHeight) {
    let cornerX = CORNER_SOMEWHERE
    if (x <= frameX)
        cornerX = CORNER_TOP_LEFT
    else if (x + width >= frameX + frameWidth)
        cornerX = CORNER_BOTTOM_RIGHT
    let cornerY = CORNER_SOMEWHERE
    if (y <= frameY)
        cornerY = CORNER_TOP_LEFT
    else if (y + height >= frameX + frameHeight)
        cornerY = CORNER_BOTTOM_RIGHT
    return {
        "percentage": Math.max(width * 100 / frameWidth, height * 100 / frameHeight),
        "relativeX": (x - frameX) * 100 / frameWidth,
        "relativeY": (y - frameY) * 100 / frameHeight,
        "cornerX": cornerX,
        "cornerY": cornerY
    }
}
