#include "LavfiSoundSource.h"

#include "CaptureInputName.h"

#include <QDebug>

extern "C" {
#include <libavdevice/avdevice.h>
}

LavfiSoundSource::LavfiSoundSource(const QByteArray& name)
    : graph(CaptureInputName::pacedLavfiGraph(name, "arealtime") + ",aformat=sample_fmts=s16")
{
    avdevice_register_all();
}

int LavfiSoundSource::open(AudioParams& out)
{
    AVFormatContext* ctx = nullptr;
    const int ret = avformat_open_input(&ctx, graph.constData(), av_find_input_format("lavfi"), nullptr);
    if (ret < 0) {
        qWarning() << "[WASA]: Failed to activate device." << graph << ffErrorString(ret);
        return -1;
    }
    input.reset(ctx);
    packet.reset(av_packet_alloc());
    const AVCodecParameters* par = ctx->nb_streams == 1 ? ctx->streams[0]->codecpar : nullptr;
    if (!packet || !par || par->codec_id != AV_CODEC_ID_PCM_S16LE) {
        qWarning() << "[WASA]: Failed to get mix format." << graph;
        return -1;
    }
    format = AudioParams{};
    format.sampleRate = par->sample_rate;
    format.channels = par->ch_layout.nb_channels;
    format.channelLayout = ffDefaultChannelMask(format.channels);
    format.timeBase = AVRational{1, par->sample_rate};
    format.sampleFormat = AV_SAMPLE_FMT_S16;
    out = format;
    return 1;
}

int LavfiSoundSource::read(AVFrame* frame, bool zeroed)
{
    const int ret = av_read_frame(input.get(), packet.get());
    if (ret == AVERROR(EAGAIN))
        return 0;
    if (ret < 0)
        return ret;
    const int samples = packet->size / (format.channels * 2);
    const int filled = samples > 0 ? fillFrame(frame, format, samples, packet->data, zeroed) : 0;
    av_packet_unref(packet.get());
    if (filled < 0)
        return filled;
    return samples > 0 ? 1 : 0;
}
