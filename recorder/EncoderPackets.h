#pragma once

#include "CrashReport.h"
#include "FFmpegResources.h"

// The encoders' common steps: a frame in, every packet that is ready out.
namespace EncoderPackets {

// Sends `frame` (null drains the encoder) and hands each packet to `take`,
// which returns true when it kept the packet. Returns 0, or the first error
// other than "needs more input" and "end of stream".
template <typename Take>
int encode(AVCodecContext* ctx, AVFrame* frame, Take&& take)
{
    int ret = avcodec_send_frame(ctx, frame);
    if (ret < 0)
        return ret;
    AVPacket* packet = nullptr;
    for (;;) {
        if (!packet && !(packet = av_packet_alloc()))
            return AVERROR(ENOMEM);
        ret = avcodec_receive_packet(ctx, packet);
        if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF) {
            ret = 0;
            break;
        }
        if (ret < 0)
            break;
        packet->time_base = ctx->time_base;
        if (take(packet))
            packet = nullptr;
        else
            av_packet_unref(packet);
    }
    av_packet_free(&packet);
    return ret;
}

// Drains an encoder that holds frames back, logging a failure under `tag`
// ("[VENC]", "[AMIX]") the way both encoders report it.
template <typename Take>
void flush(AVCodecContext* ctx, const char* tag, Take&& take)
{
    qDebug("%s: Flushing stream", tag);
    if (!ctx || !(ctx->codec->capabilities & AV_CODEC_CAP_DELAY))
        return;
    const int ret = encode(ctx, nullptr, take);
    if (ret < 0 && ret != AVERROR(EAGAIN) && ret != AVERROR_EOF) {
        qCritical("%s: Flushing stream failed", tag);
        sentryCaptureError(tag, "Flushing stream failed");
        qCritical("%s: Flushing encoder failed", tag);
    }
}

} // namespace EncoderPackets
