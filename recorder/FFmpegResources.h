#pragma once

// Owners for the media library's objects, and the few helpers that depend on
// the library's version. Everything that touches a version-specific API lives
// here, so that the engine's classes stay free of version tests.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <memory>

// The engine speaks the channel-layout API of libavutil 57.24 (FFmpeg 5.1);
// older libraries lack AVChannelLayout.
#if LIBAVUTIL_VERSION_INT < AV_VERSION_INT(57, 24, 100)
#error "The recording engine needs FFmpeg 5.1 or newer"
#endif

struct AVFrameDeleter
{
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct AVPacketDeleter
{
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
// An input context is closed (it owns its I/O); an output context is only
// freed, since its custom I/O belongs to whoever created it.
struct AVInputFormatContextDeleter
{
    void operator()(AVFormatContext* c) const { avformat_close_input(&c); }
};
struct AVOutputFormatContextDeleter
{
    void operator()(AVFormatContext* c) const { avformat_free_context(c); }
};
struct AVCodecContextDeleter
{
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct AVFilterGraphDeleter
{
    void operator()(AVFilterGraph* g) const { avfilter_graph_free(&g); }
};
struct SwsContextDeleter
{
    void operator()(SwsContext* c) const { sws_freeContext(c); }
};
struct SwrContextDeleter
{
    void operator()(SwrContext* c) const { swr_free(&c); }
};
// Memory from av_malloc and av_calloc.
struct AVMemoryDeleter
{
    void operator()(void* p) const { av_free(p); }
};

using FramePtr = std::unique_ptr<AVFrame, AVFrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, AVPacketDeleter>;
using InputFormatContextPtr = std::unique_ptr<AVFormatContext, AVInputFormatContextDeleter>;
using OutputFormatContextPtr = std::unique_ptr<AVFormatContext, AVOutputFormatContextDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, AVCodecContextDeleter>;
using FilterGraphPtr = std::unique_ptr<AVFilterGraph, AVFilterGraphDeleter>;
using SwsContextPtr = std::unique_ptr<SwsContext, SwsContextDeleter>;
using SwrContextPtr = std::unique_ptr<SwrContext, SwrContextDeleter>;

// Text of a media library error, from a 64-byte buffer as the logs expect.
inline QString ffErrorString(int err)
{
    char buf[64] = {0};
    av_strerror(err, buf, sizeof(buf));
    return QString::fromUtf8(buf);
}

// Channel layouts travel through the engine as the classic 64-bit mask.
inline uint64_t ffDefaultChannelMask(int channels)
{
    AVChannelLayout layout;
    av_channel_layout_default(&layout, channels);
    uint64_t mask = layout.order == AV_CHANNEL_ORDER_NATIVE ? layout.u.mask : 0;
    av_channel_layout_uninit(&layout);
    return mask;
}

inline uint64_t ffChannelMask(const AVChannelLayout& layout)
{
    if (layout.order == AV_CHANNEL_ORDER_NATIVE)
        return layout.u.mask;
    return ffDefaultChannelMask(layout.nb_channels);
}

// Name of a layout as the filter graphs accept it ("stereo", "mono", ...).
inline QString ffChannelLayoutName(uint64_t mask, int channels)
{
    AVChannelLayout layout;
    if (mask == 0 || av_channel_layout_from_mask(&layout, mask) < 0)
        av_channel_layout_default(&layout, channels);
    char buf[128] = {0};
    av_channel_layout_describe(&layout, buf, sizeof(buf));
    av_channel_layout_uninit(&layout);
    return QString::fromLatin1(buf);
}

inline int ffFrameChannels(const AVFrame* frame)
{
    return frame->ch_layout.nb_channels;
}

// Sets a frame's layout from a mask, or the default one for the channel count.
inline void ffSetFrameChannels(AVFrame* frame, uint64_t mask, int channels)
{
    av_channel_layout_uninit(&frame->ch_layout);
    if (mask == 0 || av_channel_layout_from_mask(&frame->ch_layout, mask) < 0)
        av_channel_layout_default(&frame->ch_layout, channels);
}

inline int ffCodecChannels(const AVCodecContext* ctx)
{
    return ctx->ch_layout.nb_channels;
}

inline void ffSetCodecChannels(AVCodecContext* ctx, uint64_t mask, int channels)
{
    av_channel_layout_uninit(&ctx->ch_layout);
    if (mask == 0 || av_channel_layout_from_mask(&ctx->ch_layout, mask) < 0)
        av_channel_layout_default(&ctx->ch_layout, channels);
}

inline uint64_t ffSinkChannelMask(const AVFilterContext* sink)
{
    AVChannelLayout layout;
    if (av_buffersink_get_ch_layout(sink, &layout) < 0)
        return 0;
    uint64_t mask = ffChannelMask(layout);
    av_channel_layout_uninit(&layout);
    return mask;
}

// Lists of what an encoder accepts, terminated by -1; null when unknown.
inline const AVPixelFormat* ffEncoderPixelFormats(const AVCodec* codec)
{
    return codec->pix_fmts;
}

inline const AVSampleFormat* ffEncoderSampleFormats(const AVCodec* codec)
{
    return codec->sample_fmts;
}

// Parses a graph description that holds its own source and sink.
inline int ffParseGraph(AVFilterGraph* graph, const QByteArray& text)
{
    AVFilterInOut* inputs = nullptr;
    AVFilterInOut* outputs = nullptr;
    const int ret = avfilter_graph_parse2(graph, text.constData(), &inputs, &outputs);
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    return ret;
}

// Replaces an owned C string (an input name) by a copy of `value`, or null.
inline void ffReplaceString(char*& owned, const char* value)
{
    av_freep(&owned);
    if (value)
        owned = av_strdup(value);
}
