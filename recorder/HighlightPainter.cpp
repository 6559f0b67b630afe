#include "HighlightPainter.h"

#include <QDebug>
#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/detection_bbox.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

namespace {
constexpr float kOpacity = 0.5f;
const uint8_t kYellow[3] = {255, 255, 0};

// Byte places of red, green and blue in one pixel, and the pixel's size.
struct PackedRgb
{
    int offset[3] = {0, 0, 0};
    int step = 0;
};

bool packedRgbLayout(AVPixelFormat format, PackedRgb& layout)
{
    const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(format);
    if (!desc || !(desc->flags & AV_PIX_FMT_FLAG_RGB) || desc->nb_components < 3
        || (desc->flags & (AV_PIX_FMT_FLAG_PLANAR | AV_PIX_FMT_FLAG_BITSTREAM | AV_PIX_FMT_FLAG_PAL)))
        return false;
    for (int c = 0; c < 3; ++c) {
        const AVComponentDescriptor& comp = desc->comp[c];
        if (comp.depth != 8 || comp.shift != 0 || comp.plane != 0 || comp.step != desc->comp[0].step)
            return false;
        layout.offset[c] = comp.offset;
    }
    layout.step = desc->comp[0].step;
    return layout.step >= 3;
}

float clamp01(float v)
{
    return std::min(1.0f, std::max(0.0f, v));
}

// One circle, its edge softened over a pixel so that small rings stay round.
void paintCircle(AVFrame* frame, const PackedRgb& layout, int cx, int cy, int radius, int outline)
{
    if (radius < 1)
        return;
    const float outer = float(radius);
    const float inner = outline > 0 ? float(radius - outline) : -1.0f;
    const int x0 = std::max(0, cx - radius - 1), x1 = std::min(frame->width - 1, cx + radius + 1);
    const int y0 = std::max(0, cy - radius - 1), y1 = std::min(frame->height - 1, cy + radius + 1);
    for (int y = y0; y <= y1; ++y) {
        uint8_t* row = frame->data[0] + ptrdiff_t(y) * frame->linesize[0];
        for (int x = x0; x <= x1; ++x) {
            const float d = std::hypot(float(x - cx), float(y - cy));
            float cover = clamp01(outer + 0.5f - d);
            if (inner >= 0.0f)
                cover *= clamp01(d - inner + 0.5f);
            if (cover <= 0.0f)
                continue;
            const float a = kOpacity * cover;
            uint8_t* px = row + ptrdiff_t(x) * layout.step;
            for (int c = 0; c < 3; ++c) {
                uint8_t& v = px[layout.offset[c]];
                v = uint8_t(std::lround(v + (kYellow[c] - v) * a));
            }
        }
    }
}

// The box list, or null when the side data is missing or not well formed.
const AVDetectionBBoxHeader* boxes(const AVFrame* frame)
{
    const AVFrameSideData* sd = av_frame_get_side_data(frame, AV_FRAME_DATA_DETECTION_BBOXES);
    if (!sd || sd->size < sizeof(AVDetectionBBoxHeader))
        return nullptr;
    const auto* header = reinterpret_cast<const AVDetectionBBoxHeader*>(sd->data);
    if (header->bbox_size < sizeof(AVDetectionBBox) || header->bboxes_offset > sd->size
        || header->nb_bboxes > (sd->size - header->bboxes_offset) / header->bbox_size)
        return nullptr;
    return header;
}
} // namespace

bool HighlightPainter::canPaint(AVPixelFormat format)
{
    PackedRgb layout;
    return packedRgbLayout(format, layout);
}

bool HighlightPainter::paint(AVFrame* frame)
{
    if (!av_frame_get_side_data(frame, AV_FRAME_DATA_DETECTION_BBOXES))
        return false;
    PackedRgb layout;
    bool painted = false;
    if (!packedRgbLayout(AVPixelFormat(frame->format), layout)) {
        if (!warned)
            qWarning() << "[VENC]: mouse highlight cannot be painted on pixel format"
                       << av_get_pix_fmt_name(AVPixelFormat(frame->format));
        warned = true;
    } else if (av_frame_make_writable(frame) >= 0) {
        // Making the frame writable may copy it, side data included: look
        // the boxes up only now.
        if (const AVDetectionBBoxHeader* header = boxes(frame)) {
            for (uint32_t i = 0; i < header->nb_bboxes; ++i) {
                const AVDetectionBBox* box = av_get_detection_bbox(header, i);
                paintCircle(frame, layout, box->x, box->y, box->w, box->h);
            }
            painted = header->nb_bboxes > 0;
        }
    }
    av_frame_remove_side_data(frame, AV_FRAME_DATA_DETECTION_BBOXES);
    return painted;
}
