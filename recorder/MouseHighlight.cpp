#include "MouseHighlight.h"

#include <cstdlib>

extern "C" {
#include <libavutil/detection_bbox.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
}

namespace {
constexpr int kButtonBits = 3;
constexpr int kHotSpotBit = 4;

int metadataValue(const AVFrame* frame, const char* key)
{
    const AVDictionaryEntry* e = av_dict_get(frame->metadata, key, nullptr, 0);
    return e ? atoi(e->value) : -1;
}

void setBox(AVDetectionBBoxHeader* header, unsigned index, int x, int y, int w, int h)
{
    AVDetectionBBox* box = av_get_detection_bbox(header, index);
    box->x = x;
    box->y = y;
    box->w = w;
    box->h = h;
}
} // namespace

void MouseHighlight::reset()
{
    *this = MouseHighlight();
}

void MouseHighlight::setPointerMetadata(AVFrame* frame, int x, int y, int mouseState)
{
    av_dict_set_int(&frame->metadata, "cursor_x", x, 0);
    av_dict_set_int(&frame->metadata, "cursor_y", y, 0);
    av_dict_set_int(&frame->metadata, "mouse_state", mouseState, 0);
}

void MouseHighlight::apply(AVFrame* frame)
{
    int x = -1, y = -1, state = -1;
    if (const AVDictionaryEntry* e = av_dict_get(frame->metadata, "cursor_x", nullptr, 0)) {
        x = atoi(e->value);
        y = metadataValue(frame, "cursor_y");
        state = metadataValue(frame, "mouse_state");
    }
    const int buttons = state & kButtonBits;
    if (x != lastX || y != lastY || buttons != lastButtons)
        idle = kIdleFrames;

    // A pointer past the right or bottom edge is as much outside the picture
    // as one left of or above it: a circle centred out there would show as a
    // stray arc on the border while the pointer itself is not recorded.
    const bool outside = x < 0 || y < 0 || x >= frame->width || y >= frame->height;
    if (outside || idle == 0) {
        if (x != lastX || y != lastY)
            return;
    } else {
        int drawX = x, drawY = y;
        if (state & kHotSpotBit) {
            drawX += kHotSpotShift;
            drawY += kHotSpotShift;
        }
        lastY = y;
        attachBoxes(frame, drawX, drawY, buttons);
    }
    lastX = x;
    lastButtons = buttons;
    if (idle > 0)
        --idle;
}

// A failed allocation attaches nothing and leaves the ring as it was.
bool MouseHighlight::attachBoxes(AVFrame* frame, int x, int y, int buttons)
{
    if (buttons == 0) {
        AVDetectionBBoxHeader* header = av_detection_bbox_create_side_data(frame, 1);
        if (!header)
            return false;
        if (ringLeft == 0) {
            setBox(header, 0, x, y, kPlainRadius, 0);
        } else {
            // Widths 32, 34, ... 42 as ringLeft counts down from 6.
            setBox(header, 0, ringX, ringY, (22 - ringLeft) * 2, kOutlineWidth);
            --ringLeft;
        }
        return true;
    }
    AVDetectionBBoxHeader* header = av_detection_bbox_create_side_data(frame, 2);
    if (!header)
        return false;
    setBox(header, 0, x, y, kPressedRadius, 0);
    setBox(header, 1, x, y, kPressedRingRadius, kOutlineWidth);
    ringLeft = kRingFrames;
    ringX = x;
    ringY = y;
    return true;
}
