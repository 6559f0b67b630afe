#include "ffmpegAudioMixEnc.h"

#include "CrashReport.h"
#include "EncoderPackets.h"

#include <QDebug>
#include <QMutexLocker>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace {
constexpr int kBlockSamples = 1024;
constexpr int kFiltersPerInput = 5;
} // namespace

ffmpegAudioMixEnc::ffmpegAudioMixEnc(QObject* parent)
    : QThread(parent)
{
}

ffmpegAudioMixEnc::~ffmpegAudioMixEnc()
{
    running = 0;
    {
        QMutexLocker lock(&queueLock);
        queueCondition.wakeAll();
    }
    wait();
}

int ffmpegAudioMixEnc::addToOutput(AVFormatContext* ctx, int index, AudioParams& params)
{
    streamIndex = index;
    qDebug() << "[AMIX]: addToOutput: " << index;
    AVStream* stream = avformat_new_stream(ctx, nullptr);
    if (!stream) {
        qCritical() << "[AMIX]:"
                    << "addToOutput"
                    << "Failed allocating output stream";
        sentryCaptureFatal("[AMIX]", "Failed allocating output stream");
        return AVERROR_UNKNOWN;
    }
    stream->id = index;
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!codec) {
        qCritical() << "[AMIX]:"
                    << "addToOutput"
                    << "Necessary encoder not found";
        sentryCaptureFatal("[AMIX]", "Necessary encoder not found");
        return AVERROR_INVALIDDATA;
    }
    qDebug() << "[AMIX]: sr=" << params.sampleRate << ", ch(l)=" << params.channelLayout << " ch=" << params.channels
             << " time_base=" << params.timeBase.num << "/" << params.timeBase.den;
    codecContext.reset(avcodec_alloc_context3(codec));
    if (!codecContext) {
        av_log(nullptr, AV_LOG_ERROR, "Failed to allocate the encoder context\n");
        return AVERROR(ENOMEM);
    }
    AVCodecContext* enc = codecContext.get();
    enc->bit_rate = bitRate;
    if (const AVSampleFormat* fmts = ffEncoderSampleFormats(codec)) {
        QStringList names;
        bool supported = false;
        for (const AVSampleFormat* f = fmts; *f != AV_SAMPLE_FMT_NONE; ++f) {
            names << av_get_sample_fmt_name(*f);
            supported = supported || *f == params.sampleFormat;
        }
        qDebug() << "fmt supports sample formats:" << names.join(' ');
        if (!supported) {
            params.sampleFormat = fmts[0];
            qDebug() << "[AMIX]: encoder does not matching requested sample format, using"
                     << av_get_sample_fmt_name(fmts[0]) << "instead";
        }
    }
    enc->sample_rate = params.sampleRate;
    ffSetCodecChannels(enc, params.channelLayout, params.channels);
    enc->sample_fmt = params.sampleFormat;
    enc->time_base = params.timeBase;
    AVDictionary* opts = nullptr;
    av_dict_set(&opts, "strict", "experimental", 0);
    qDebug() << "[AMIX]: sample format: " << av_get_sample_fmt_name(enc->sample_fmt) << ", bitrate=" << enc->bit_rate;
    if (ctx->oformat->flags & AVFMT_GLOBALHEADER) {
        qDebug() << "[AMIX]: enable global header for format: " << ctx->oformat->name << ", codec: " << codec->name;
        enc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    if (enc->flags & AV_CODEC_FLAG_GLOBAL_HEADER)
        qDebug() << "[AMIX]: codec enabled global header";
    int ret = avcodec_open2(enc, codec, &opts);
    av_dict_free(&opts);
    if (ret < 0) {
        qCritical() << "[AMIX]: Cannot open encoder for stream " << index << ffErrorString(ret);
        sentryCaptureFatal("[AMIX]", "Cannot open encoder");
        return ret;
    }
    ret = avcodec_parameters_from_context(stream->codecpar, enc);
    if (ret < 0) {
        qCritical() << "[AMIX]: Failed to copy encoder parameters to output stream";
        return ret;
    }
    stream->time_base = enc->time_base;
    qDebug() << "[AMIX]: 2 time_base=" << stream->time_base.num << "/" << stream->time_base.den;
    return 1;
}

int ffmpegAudioMixEnc::init_audio_filters(const AudioParams* inputs, int count, const AudioParams& out)
{
    QMutexLocker lock(&queueLock);
    sinkContext = nullptr;
    sourceContexts[0] = sourceContexts[1] = nullptr;
    inputCount = count;
    filterGraph.reset(avfilter_graph_alloc());
    if (!filterGraph) {
        qCritical() << "[AMIX]: Cannot allocate filter graph.";
        sentryCaptureFatal("[AMIX]", "Cannot allocate graph");
        return AVERROR(ENOMEM);
    }
    qDebug() << "[AMIX]: Init filters for " << count << "streams";
    const QString outLayout = ffChannelLayoutName(out.channelLayout, out.channels);
    // Each source starts at zero, is resampled to the output rate with drift
    // correction, and brought to the output layout before the mix.
    QString graph;
    for (int i = 0; i < count; ++i) {
        const AudioParams& in = inputs[i];
        graph += QString::asprintf(
            "abuffer=time_base=%d/%d:sample_rate=%d:sample_fmt=%s:channel_layout=%s,afifo,asetpts=PTS-STARTPTS,"
            "aresample=%d:async=2000,aformat=channel_layouts=%s [in_%d];",
            in.timeBase.num, in.timeBase.den, in.sampleRate, av_get_sample_fmt_name(in.sampleFormat),
            qPrintable(ffChannelLayoutName(in.channelLayout, in.channels)), out.sampleRate, qPrintable(outLayout), i);
    }
    for (int i = 0; i < count; ++i)
        graph += QString::asprintf(" [in_%d]", i);
    graph += QString::asprintf(
        "amix=inputs=%d,aformat=channel_layouts=%s:sample_rates=%d:sample_fmts=%s,afifo,asetnsamples=n=%d:p=0,"
        "asettb=expr=%d/%d,abuffersink",
        count, qPrintable(outLayout), out.sampleRate, av_get_sample_fmt_name(out.sampleFormat), kBlockSamples,
        out.timeBase.num, out.timeBase.den);
    const QByteArray graphText = graph.left(4095).toUtf8();
    qDebug() << "[AMIX]: graph string: " << graphText;

    int ret = ffParseGraph(filterGraph.get(), graphText);
    if (ret < 0) {
        qCritical() << "[AMIX]: Cannot parse graph ret=" << ret << ffErrorString(ret);
        sentryCaptureError("[AMIX]", "Cannot parse graph");
        return ret;
    }
    ret = avfilter_graph_config(filterGraph.get(), nullptr);
    if (ret < 0) {
        qCritical() << "[AMIX]: Cannot configure graph ret=" << ret << ffErrorString(ret);
        sentryCaptureError("[AMIX]", "Cannot configure graph");
        return ret;
    }
    for (int i = 0; i < count && i < 2; ++i) {
        const QByteArray filterName = "Parsed_abuffer_" + QByteArray::number(i * kFiltersPerInput);
        sourceContexts[i] = avfilter_graph_get_filter(filterGraph.get(), filterName.constData());
        if (!sourceContexts[i])
            return AVERROR_UNKNOWN;
    }
    const QByteArray sinkName = "Parsed_abuffersink_" + QByteArray::number((count + 1) * kFiltersPerInput);
    sinkContext = avfilter_graph_get_filter(filterGraph.get(), sinkName.constData());
    return sinkContext ? 0 : AVERROR_UNKNOWN;
}

void ffmpegAudioMixEnc::freeUnused()
{
    qDebug() << "[AMIX]:"
             << "freeUnused";
    QMutexLocker lock(&queueLock);
    filterGraph.reset();
    codecContext.reset();
    sinkContext = nullptr;
    sourceContexts[0] = sourceContexts[1] = nullptr;
}

void ffmpegAudioMixEnc::passAudioToMixEnc(void* f, int stream_index)
{
    AVFrame* frame = static_cast<AVFrame*>(f);
    if (running == 0 || stream_index < 0 || stream_index >= inputCount || stream_index > 1) {
        av_frame_free(&frame);
        return;
    }
    if (frame && (frame->nb_samples == 0 || !frame->data[0])) {
        qWarning("[AMIX]: frame:%p, data:%p, samples:%d", static_cast<void*>(frame), static_cast<void*>(frame->data[0]),
                 frame->nb_samples);
        if (QObject* s = sender())
            qWarning() << "[AMIX]: sender: " << s->objectName();
        else
            qWarning() << "[AMIX]: sender: none";
        av_frame_free(&frame);
        return;
    }
    {
        // A null frame reaches the source as the end of that input.
        QMutexLocker lock(&queueLock);
        if (AVFilterContext* source = sourceContexts[stream_index]) {
            const int ret = av_buffersrc_add_frame(source, frame);
            if (ret < 0)
                qCritical() << "[AMIX]: Error while feeding the filtergraph ret:" << ret
                            << "errstr:" << ffErrorString(ret);
        }
        queueCondition.wakeAll();
    }
    av_frame_free(&frame);
}

int ffmpegAudioMixEnc::encodeFrame(AVFrame* frame)
{
    AVCodecContext* ctx = codecContext.get();
    if (frame)
        frame->time_base = ctx->time_base;
    const int ret = EncoderPackets::encode(ctx, frame, [this](AVPacket* p) { return takePacket(p); });
    if (ret < 0)
        qWarning("ENCPKT[A]: ret=%d", ret);
    return ret;
}

// The encoder's own duration stands; true when the packet went to the session.
bool ffmpegAudioMixEnc::takePacket(AVPacket* packet)
{
    packet->stream_index = streamIndex;
    if (receivers(SIGNAL(frameEncoded(void*))) == 0)
        return false;
    emit frameEncoded(packet);
    return true;
}

void ffmpegAudioMixEnc::flushEncoder()
{
    EncoderPackets::flush(codecContext.get(), "[AMIX]", [this](AVPacket* p) { return takePacket(p); });
}

void ffmpegAudioMixEnc::run()
{
    FramePtr frame(av_frame_alloc());
    if (frame && filterGraph && sinkContext && codecContext) {
        running = 1;
        while (running) {
            {
                QMutexLocker lock(&queueLock);
                queueCondition.wait(&queueLock, 20);
            }
            for (;;) {
                int ret;
                {
                    QMutexLocker lock(&queueLock);
                    ret = sinkContext ? av_buffersink_get_samples(sinkContext, frame.get(), kBlockSamples)
                                      : AVERROR(EINVAL);
                }
                if (ret < 0) {
                    if (ret == AVERROR_EOF)
                        running = 0;
                    break;
                }
                frame->pict_type = AV_PICTURE_TYPE_NONE;
                ret = encodeFrame(frame.get());
                av_frame_unref(frame.get());
                if (ret < 0)
                    break;
            }
            started = 1;
        }
        if (!filterGraph)
            qCritical() << "[AMIX]: No FilterGraph";
        else if (!abort)
            flushEncoder();
    }
    qDebug() << "[AMIX]: exit";
    started = 0;
}
