#include "AudioSampleLevel.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace {

// Per-format rules: the value of silence, how a sample is scaled, and what it
// adds to the level sum.
struct U8Rule
{
    using T = uint8_t;
    static T zero() { return 128; }
    static T scale(T s, int level) { return static_cast<T>(std::clamp((s - 128) * level / 100, -128, 127) + 128); }
    static double weight(T s) { return std::abs(s - 128) * (1.0 / 128); }
};
struct S16Rule
{
    using T = int16_t;
    static T zero() { return 0; }
    static T scale(T s, int level) { return static_cast<T>(std::clamp(s * level / 100, -32768, 32767)); }
    static double weight(T s) { return std::abs(static_cast<int>(s)) * (1.0 / 32768); }
};
struct S32Rule
{
    using T = int32_t;
    static T zero() { return 0; }
    static T scale(T s, int level)
    {
        return static_cast<T>(std::clamp<int64_t>(int64_t(s) * level / 100, INT32_MIN, INT32_MAX));
    }
    // Half of full scale per unit: 2^-32, not 2^-31.
    static double weight(T s) { return std::fabs(static_cast<double>(s)) * std::ldexp(1.0, -32); }
};
template <typename F>
struct FloatRule
{
    using T = F;
    static T zero() { return 0; }
    static T scale(T s, int level) { return s * level / 100; }
    static double weight(T s) { return std::fabs(static_cast<double>(s)); }
};

template <typename Rule>
double processPlanes(AVFrame* frame, int planes, int samplesPerPlane, bool mute, int level)
{
    using T = typename Rule::T;
    double sum = 0;
    for (int p = 0; p < planes; ++p) {
        T* samples = reinterpret_cast<T*>(frame->extended_data[p]);
        if (mute)
            std::fill(samples, samples + samplesPerPlane, Rule::zero());
        for (int i = 0; i < samplesPerPlane; ++i) {
            if (!mute && level != 100)
                samples[i] = Rule::scale(samples[i], level);
            sum += Rule::weight(samples[i]);
        }
    }
    const double count = double(samplesPerPlane) * planes;
    return count > 0 ? sum / count : 0.0;
}

} // namespace

int AudioSampleLevel::apply(AVFrame* frame, bool mute, int level, double& meanLevel)
{
    const AVSampleFormat format = static_cast<AVSampleFormat>(frame->format);
    const int channels = frame->ch_layout.nb_channels;
    const bool planar = av_sample_fmt_is_planar(format);
    const int planes = planar ? channels : 1;
    const int samplesPerPlane = planar ? frame->nb_samples : frame->nb_samples * channels;
    // Samples are changed in place, so a buffer shared with another frame is copied first.
    if ((mute || level != 100) && av_frame_make_writable(frame) < 0)
        return -1;
    switch (av_get_packed_sample_fmt(format)) {
    case AV_SAMPLE_FMT_U8: meanLevel = processPlanes<U8Rule>(frame, planes, samplesPerPlane, mute, level); return 0;
    case AV_SAMPLE_FMT_S16: meanLevel = processPlanes<S16Rule>(frame, planes, samplesPerPlane, mute, level); return 0;
    case AV_SAMPLE_FMT_S32: meanLevel = processPlanes<S32Rule>(frame, planes, samplesPerPlane, mute, level); return 0;
    case AV_SAMPLE_FMT_FLT:
        meanLevel = processPlanes<FloatRule<float>>(frame, planes, samplesPerPlane, mute, level);
        return 0;
    case AV_SAMPLE_FMT_DBL:
        meanLevel = processPlanes<FloatRule<double>>(frame, planes, samplesPerPlane, mute, level);
        return 0;
    default: return -1;
    }
}
