#include "ffmpegAudioCap.h"

#include "AudioSampleLevel.h"
#include "AudioStreamDecoder.h"
#include "CrashReport.h"
#include "SoundInput.h"

#include <QDebug>
#include <algorithm>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

namespace {
const char* const kSilentSubstitute = "anullsrc=sample_rate=44100:channel_layout=stereo,arealtime";
constexpr unsigned long kReadSleepStartMs = 2;
constexpr unsigned long kReadSleepMaxMs = 10;
} // namespace

ffmpegAudioCap::ffmpegAudioCap(QObject* parent)
    : QThread(parent)
{
}

ffmpegAudioCap::~ffmpegAudioCap()
{
    running = 0;
    wait();
    av_freep(&device);
}

void ffmpegAudioCap::setDevice(const char* deviceName)
{
    ffReplaceString(device, deviceName);
}

void ffmpegAudioCap::clearCounters()
{
    lastPts = 0;
    ptsSeen = false;
    firstPts = 0;
    meanLevel = 0.0;
}

int ffmpegAudioCap::streamIndexOut() const
{
    return name == QLatin1String("[ASYS]:") ? 1 : 0;
}

// A disabled device (-5: missing, or refused by the sound server) is answered
// with a silent source, so that the recording keeps a sound track; every
// other failure goes back to the session. -5 leaves here only when the
// substitute could not be opened either.
int ffmpegAudioCap::openInput(const char* deviceName)
{
    int ret = SoundInput::open(deviceName, inputContext, name.toUtf8().constData());
    if (ret >= 0)
        return ret;
    qCritical().noquote() << name << " Cannot open input file:" << deviceName
                          << ", ctx: " << static_cast<void*>(inputContext.get());
    if (ret != AVERROR(EIO))
        return ret;

    const QString what =
        name == QLatin1String("[ASYS]:") ? QStringLiteral("System Sound") : QStringLiteral("Microphone");
    emit audioPopup(streamIndexOut(),
                    QString("<h2>WARNING! %1 recording is disabled.</h2><br/><p>To enable it go to Settings and click "
                            "on the input icon.</p>")
                        .arg(what));
    qWarning().noquote() << name << "Audio is disabled";
    inputContext.reset();
    ret = SoundInput::open(kSilentSubstitute, inputContext, name.toUtf8().constData());
    if (ret < 0) {
        qCritical().noquote() << name << " Cannot open null input, ctx: " << static_cast<void*>(inputContext.get());
        sentryCaptureFatal("[ACAP]", "Cannot open NULL dev");
        return AVERROR(EIO);
    }
    return ret;
}

int ffmpegAudioCap::open_input_device(const char* deviceName)
{
    qDebug().noquote() << name << "open_input_device";
    int ret = openInput(deviceName);
    if (ret < 0)
        return ret;
    if (!inputContext) {
        qCritical().noquote() << name << " Input format context is NULL!";
        sentryCaptureError("[ACAP]", "Input format context is NULL");
        return -1;
    }
    const bool probe = !SoundInput::isServerSource(inputContext.get());
    const int streams = AudioStreamDecoder::open(name, inputContext.get(), decoder, probe);
    if (streams < 0)
        return streams;
    ret = initFilters();
    if (ret < 0)
        return ret;
    qDebug().noquote() << name << " dump format";
    av_dump_format(inputContext.get(), 0, inputContext->url, 0);
    qDebug("%s Streams: %u, SR: %d, CH: %d, TB: %d/%d FMT:%s, P:%d", name.toUtf8().constData(),
           inputContext->nb_streams, decoder->sample_rate, ffCodecChannels(decoder.get()), decoder->time_base.num,
           decoder->time_base.den, av_get_sample_fmt_name(decoder->sample_fmt),
           av_sample_fmt_is_planar(decoder->sample_fmt));
    return streams;
}

int ffmpegAudioCap::initFilters()
{
    filterGraph.reset(avfilter_graph_alloc());
    sourceContext = nullptr;
    sinkContext = nullptr;
    if (!filterGraph) {
        qCritical().noquote() << name << " Cannot allocate filter graph";
        return AVERROR(ENOMEM);
    }
    const AVCodecContext* dec = decoder.get();
    const int channels = ffCodecChannels(dec);
    QString graph = QString::asprintf("abuffer=time_base=%d/%d:sample_rate=%d:sample_fmt=%s:channel_layout=%s,afifo,",
                                      dec->time_base.num, dec->time_base.den, dec->sample_rate,
                                      av_get_sample_fmt_name(dec->sample_fmt),
                                      qPrintable(ffChannelLayoutName(ffChannelMask(dec->ch_layout), channels)));
    int sinkNumber = 3;
    if (channels > 2) {
        graph += "channelmap=0|1,";
        ++sinkNumber;
    }
    if (dec->sample_rate > 48000) {
        graph += "aresample=48000,";
        ++sinkNumber;
    }
    graph += "asetnsamples=n=4096:p=0,abuffersink";
    const QByteArray graphText = graph.left(4095).toUtf8();
    qDebug().noquote() << name << " filters:" << graphText;

    int ret = ffParseGraph(filterGraph.get(), graphText);
    if (ret < 0) {
        qCritical() << "[AMIX]: Cannot parse graph ret=" << ret;
        sentryCaptureError("[AMIX]", "Cannot parse graph");
        return ret;
    }
    ret = avfilter_graph_config(filterGraph.get(), nullptr);
    if (ret < 0) {
        qCritical().noquote() << name << " Cannot configure graph ret=" << ret;
        sentryCaptureError("[ACAP]", "Cannot configure graph");
        return ret;
    }
    sourceContext = avfilter_graph_get_filter(filterGraph.get(), "Parsed_abuffer_0");
    sinkContext = avfilter_graph_get_filter(filterGraph.get(),
                                            QByteArray("Parsed_abuffersink_") + QByteArray::number(sinkNumber));
    if (!sourceContext || !sinkContext) {
        qCritical().noquote() << name << " Cannot configure graph ret=" << AVERROR(ENOMEM);
        sentryCaptureError("[ACAP]", "Cannot configure graph");
        return AVERROR(ENOMEM);
    }
    return 0;
}

int ffmpegAudioCap::fillAudioParams(AudioParams& out)
{
    if (!inputContext || !decoder)
        return 0;
    if (sinkContext) {
        out.channels = av_buffersink_get_channels(sinkContext);
        out.channelLayout = ffSinkChannelMask(sinkContext);
        out.timeBase = av_buffersink_get_time_base(sinkContext);
        out.sampleFormat = static_cast<AVSampleFormat>(av_buffersink_get_format(sinkContext));
        out.sampleRate = av_buffersink_get_sample_rate(sinkContext);
    } else {
        out.channels = ffCodecChannels(decoder.get());
        out.channelLayout = ffChannelMask(decoder->ch_layout);
        out.timeBase = decoder->time_base;
        out.sampleFormat = decoder->sample_fmt;
        out.sampleRate = decoder->sample_rate;
    }
    return 1;
}

void ffmpegAudioCap::freeUnused()
{
    qDebug().noquote() << name << "freeUnused";
    sourceContext = nullptr;
    sinkContext = nullptr;
    filterGraph.reset();
    decoder.reset();
    inputContext.reset();
    lastPts = 0;
    ptsSeen = false;
    firstPts = 0;
    ready = false;
    go = false;
}

// Hands every finished block of the graph on, after mute and level. Blocks
// before `go` are measured and dropped.
int ffmpegAudioCap::getFrameFromFilter(AVFrame** outFrame)
{
    if (!outFrame || !*outFrame) {
        sentryCaptureError("[ACAP]", "Output AVFrame** or AVFrame* is NULL in getFrameFromFilter");
        return AVERROR(EINVAL);
    }
    for (;;) {
        int ret = av_buffersink_get_frame(sinkContext, *outFrame);
        if (ret < 0)
            return ret;
        if (AudioSampleLevel::apply(*outFrame, mute, level, meanLevel) < 0) {
            qWarning().noquote() << name << "Unknown sample format "
                                 << av_get_sample_fmt_name(static_cast<AVSampleFormat>((*outFrame)->format))
                                 << " MUTE[<<<<]:" << mute;
            av_frame_unref(*outFrame);
            return -1;
        }
        if (go && receivers(SIGNAL(passAudioToMixEnc(void*, int))) > 0) {
            emit passAudioToMixEnc(*outFrame, streamIndexOut());
            *outFrame = av_frame_alloc();
            if (!*outFrame) {
                qCritical().noquote() << name << " Failed to allocate new AVFrame after emitting signal";
                return AVERROR(ENOMEM);
            }
        } else {
            av_frame_unref(*outFrame);
        }
    }
}

// PTS control and feeding of one decoded frame. A negative result ends the thread.
int ffmpegAudioCap::feedFrame(AVFrame* frame)
{
    if (frame->pts == AV_NOPTS_VALUE) {
        qDebug().noquote() << name << " no PTS [" << 0 << ", " << 0 << "], discard frame!";
        return 0;
    }
    if (lastPts != 0 && static_cast<uint64_t>(frame->pts) <= lastPts) {
        qDebug().noquote() << name << " bad PTS [" << 0 << ", " << 0 << "], discard fame! " << frame->pts
                           << " <=" << lastPts;
        return 0;
    }
    lastPts = static_cast<uint64_t>(frame->pts);
    if (!ptsSeen && frame->pts > 0) {
        ptsSeen = true;
        firstPts = frame->pts;
    }
    ready = true;
    if (av_buffersrc_add_frame(sourceContext, frame) < 0) {
        qCritical().noquote() << name << " Error feeding the filtergraph";
        return -1;
    }
    return 0;
}

void ffmpegAudioCap::run()
{
    AVFrame* outFrame = av_frame_alloc();
    FramePtr frame(av_frame_alloc());
    PacketPtr packet(av_packet_alloc());
    lastPts = 0;
    ptsSeen = false;
    ready = false;
    go = false;
    sampleClock.reset();
    if (!outFrame || !frame || !packet || !decoder || !sourceContext || !sinkContext) {
        sentryCaptureError("[ACAP]", "Buffer allocation failed");
        av_frame_free(&outFrame);
        return;
    }
    running = 1;
    unsigned long sleepMs = kReadSleepStartMs;
    bool fatal = false;
    while (!fatal) {
        int ret = av_read_frame(inputContext.get(), packet.get());
        if (ret == AVERROR(EAGAIN)) {
            QThread::msleep(sleepMs);
            sleepMs = std::min(sleepMs * 2, kReadSleepMaxMs);
        } else if (ret < 0) {
            qWarning().noquote() << name << " Error! Read frame returned " << ret << ffErrorString(ret);
            if (ret == AVERROR(EIO))
                QThread::msleep(40);
            break;
        } else {
            sleepMs = kReadSleepStartMs;
            if (inputContext->streams[packet->stream_index]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
                qWarning().noquote() << name << " frame type is not audio!";
            } else {
                sampleClock.restamp(packet.get(), inputContext.get());
                ret = AudioStreamDecoder::sendPacket(inputContext.get(), decoder.get(), packet.get());
                if (ret < 0 && ret != AVERROR(EAGAIN)) {
                    qCritical().noquote() << name << " Fatal error sending packet to decoder: " << ffErrorString(ret)
                                          << "(" << ret << ")";
                    sentryCaptureError("[ACAP]",
                                       QString("Error submitting packet to decoder: %1").arg(ffErrorString(ret)));
                    break;
                }
                while (running && !fatal) {
                    ret = avcodec_receive_frame(decoder.get(), frame.get());
                    if (ret == AVERROR(EAGAIN))
                        break;
                    if (ret == AVERROR_EOF) {
                        qDebug().noquote() << name << " Decoder EOF received during frame reception.";
                        running = 0;
                        break;
                    }
                    if (ret < 0) {
                        qCritical().noquote()
                            << name << " Decoding failed: " << ffErrorString(ret) << "(" << ret << ")";
                        sentryCaptureError("[ACAP]", QString("Decoding failed: %1").arg(ffErrorString(ret)));
                        running = 0;
                        fatal = true;
                        break;
                    }
                    if (feedFrame(frame.get()) < 0) {
                        fatal = true;
                        break;
                    }
                    av_frame_unref(frame.get());
                    ret = getFrameFromFilter(&outFrame);
                    if (ret == AVERROR_EOF) {
                        qDebug().noquote() << name << " Filter graph EOF after processing frame. Ending capture.";
                        running = 0;
                    } else if (ret != AVERROR(EAGAIN)) {
                        qCritical().noquote() << name << " Fatal error from filter graph: " << ffErrorString(ret);
                        sentryCaptureError("[ACAP]", QString("Filter graph error: %1").arg(ffErrorString(ret)));
                        fatal = true;
                    }
                }
            }
            av_packet_unref(packet.get());
            av_frame_unref(frame.get());
        }
        if (fatal)
            break;
        started = 1;
        if (running == 0)
            break;
        ret = getFrameFromFilter(&outFrame);
        if (ret == AVERROR_EOF) {
            qDebug().noquote() << name << " Filter graph EOF during idle. Ending capture.";
            running = 0;
        } else if (ret != AVERROR(EAGAIN)) {
            qCritical().noquote() << name << " Fatal error from filter graph during idle: " << ffErrorString(ret);
            sentryCaptureError("[ACAP]", QString("Filter graph error (idle): %1").arg(ffErrorString(ret)));
            break;
        }
    }
    av_frame_free(&outFrame);
    qDebug().noquote() << name << "exit";
    started = 0;
}
