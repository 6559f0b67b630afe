#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

struct AVFrame;

// Paints the pointer highlight that MouseHighlight attached to a frame: each
// detection bounding box is a circle centred on x, y with radius w, filled
// when h is 0 and otherwise an outline h pixels wide, in yellow at half
// opacity. Works on packed 8-bit RGB pictures (the screen inputs deliver
// bgr0 or bgra); other formats pass unpainted.
class HighlightPainter
{
public:
    // True when the frame carried boxes and they were painted. The boxes are
    // removed from the frame in any case, so that nothing paints them twice.
    bool paint(AVFrame* frame);

    static bool canPaint(AVPixelFormat format);

private:
    bool warned = false; // an unpaintable format is reported once
};
