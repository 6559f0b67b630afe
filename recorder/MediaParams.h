#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
#include <libavutil/samplefmt.h>
}
#include <cstdint>

// Picture parameters handed between capture, session and encoder.
struct VideoParams
{
    int width = 0;
    int height = 0;
    AVRational timeBase{0, 1};
    AVRational frameRate{0, 1};
    AVRational sampleAspectRatio{0, 1};
    AVPixelFormat pixelFormat = AV_PIX_FMT_NONE;
};

// Sound parameters handed between the sources, the session and the mixer.
struct AudioParams
{
    int sampleRate = 0;
    int channels = 0;
    uint64_t channelLayout = 0; // classic channel mask; 0 means "default for channels"
    AVRational timeBase{0, 1};
    AVSampleFormat sampleFormat = AV_SAMPLE_FMT_NONE;
};
