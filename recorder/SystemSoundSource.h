#pragma once

#include "FFmpegResources.h"
#include "MediaParams.h"

#include <cstring>

// Where the system sound thread reads from: blocks of interleaved 16-bit
// samples as the output plays them. Used by one thread only.
class SystemSoundSource
{
public:
    virtual ~SystemSoundSource() = default;

    // Opens the source and gives its format (always AV_SAMPLE_FMT_S16). 1, or
    // -1 after logging why.
    virtual int open(AudioParams& format) = 0;
    // Fills `frame` (freshly allocated) with the next block: 1 when filled,
    // 0 when nothing is waiting, negative when the source has failed. With
    // `zeroed` the block is silence whatever was played.
    virtual int read(AVFrame* frame, bool zeroed) = 0;

protected:
    // Shapes `frame` as `samples` samples of `format` and fills it from `data`
    // (null or `zeroed`: silence). 0, or a negative error.
    static int fillFrame(AVFrame* frame, const AudioParams& format, int samples, const void* data, bool zeroed)
    {
        ffSetFrameChannels(frame, 0, format.channels);
        frame->sample_rate = format.sampleRate;
        frame->format = AV_SAMPLE_FMT_S16;
        frame->nb_samples = samples;
        // No timestamp: the mixer's graph times this input by its arrival.
        frame->pts = AV_NOPTS_VALUE;
        const int ret = av_frame_get_buffer(frame, 1);
        if (ret < 0)
            return ret;
        const size_t bytes = size_t(samples) * format.channels * 2;
        if (data && !zeroed)
            std::memcpy(frame->data[0], data, bytes);
        else
            std::memset(frame->data[0], 0, bytes);
        return 0;
    }
};
