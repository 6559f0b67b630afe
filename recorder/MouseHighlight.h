#pragma once

struct AVFrame;

// Decides, frame by frame, how the pointer is highlighted, from the frame's
// metadata "cursor_x", "cursor_y" and "mouse_state" (decimal text; the
// position relative to the picture, button bits in the two low bits, and the
// bit of value 4 for a pointer that is drawn 10 pixels off its hot spot).
// The result goes onto the frame as detection bounding boxes, one circle
// each: x, y its centre, w its radius, h the width of its outline (0: filled).
//
//  - a pointer that moves, or whose buttons change, shows a filled circle of
//    24 that fades out after 12 unchanged frames;
//  - a button held shows a filled circle of 28 inside an outline of 34;
//  - on release an outline grows at the place of the click for 6 frames,
//    32 to 42.
class MouseHighlight
{
public:
    static constexpr int kIdleFrames = 12;
    static constexpr int kRingFrames = 6;
    static constexpr int kPlainRadius = 24;
    static constexpr int kPressedRadius = 28;
    static constexpr int kPressedRingRadius = 34;
    static constexpr int kOutlineWidth = 2;
    static constexpr int kHotSpotShift = 10;

    // Starting state of a recording.
    void reset();
    // Reads the pointer metadata of the frame and attaches the boxes.
    void apply(AVFrame* frame);

    // Writes the three metadata entries the way a capture input delivers them.
    static void setPointerMetadata(AVFrame* frame, int x, int y, int mouseState);

private:
    bool attachBoxes(AVFrame* frame, int x, int y, int buttons);

    int lastX = 0;
    int lastY = 0;
    int lastButtons = 0;
    int idle = kIdleFrames;
    int ringLeft = 0;
    int ringX = 0;
    int ringY = 0;
};
