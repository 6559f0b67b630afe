#include "ffmpegVideoEnc.h"

#include "CrashReport.h"
#include "EncoderPackets.h"

#include <QDebug>
#include <QMutexLocker>
#include <cmath>

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace {
constexpr int kMaxQueuedFrames = 16;
constexpr int kMaxEncoderThreads = 8;
const char* const kFallbackEncoders[] = {"h264_mf", "libopenh264", "libx264"};

int encoderThreadCount()
{
    return std::min(QThread::idealThreadCount(), kMaxEncoderThreads);
}

const char* x264Preset(int quality)
{
    if (quality >= 1 && quality <= 9)
        return "ultrafast";
    if (quality >= 75)
        return "medium";
    if (quality >= 30)
        return "fast";
    return "veryfast";
}

// Encoder options given at open time, by encoder.
AVDictionary* encoderOptions(const QString& codecName, int quality, bool forceHWAccel)
{
    AVDictionary* opts = nullptr;
    if (codecName == "libx264") {
        av_dict_set(&opts, "rc-lookahead", "40", 0);
        av_dict_set(&opts, "chromaoffset", "0", 0);
        av_dict_set(&opts, "x264-params", "weightp=2", 0);
        av_dict_set(&opts, "level", "3.0", 0);
        av_dict_set(&opts, "vprofile", "main", 0);
        av_dict_set(&opts, "profile", "main", 0);
        av_dict_set(&opts, "preset", x264Preset(quality), 0);
        av_dict_set(&opts, "pixel_format", "yuv420p", 0);
    } else if (codecName == "h264_mf") {
        av_dict_set(&opts, "rate_control", "quality", 0);
        av_dict_set(&opts, "scenario", "archive", 0);
        av_dict_set_int(&opts, "quality", quality, 0);
        if (forceHWAccel)
            av_dict_set(&opts, "hw_encoding", "1", 0);
        av_dict_set(&opts, "level", "30", 0);
        av_dict_set(&opts, "coder", quality < 51 ? "0" : "1", 0);
    } else if (codecName == "libopenh264") {
        av_dict_set(&opts, "loopfilter", "0", 0);
        const char* profile = (quality >= 1 && quality <= 9) ? "constrained_baseline" : quality >= 81 ? "high" : "main";
        av_dict_set(&opts, "profile", profile, 0);
        av_dict_set(&opts, "allow_skip_frames", "1", 0);
        av_dict_set(&opts, "coder", "cavlc", 0);
        av_dict_set(&opts, "rc_mode", "quality", 0);
        av_dict_set(&opts, "rc", "vbr", 0);
        if (quality > 0)
            av_dict_set_int(&opts, "qp", std::clamp(51 - quality * 51 / 100, 0, 51), 0);
    }
    return opts;
}
} // namespace

ffmpegVideoEnc::ffmpegVideoEnc(QObject* parent)
    : QThread(parent)
{
}

ffmpegVideoEnc::~ffmpegVideoEnc()
{
    running = 0;
    {
        QMutexLocker lock(&queueLock);
        queueCondition.wakeAll();
    }
    wait();
}

int ffmpegVideoEnc::init_video_codec(QString preferVideoCodec, VideoParams& params, int quality_, bool forceHWAccel_)
{
    qDebug() << "[VENC]:"
             << "init_video_codec"
             << "preferVideoCodec:" << preferVideoCodec << "quality: " << quality_;
    codecName = preferVideoCodec.isEmpty() ? QStringLiteral("libx264") : preferVideoCodec;
    quality = quality_ < -1 ? 40 : std::min(quality_, 100);
    forceHWAccel = forceHWAccel_;

    codec = avcodec_find_encoder_by_name(codecName.toUtf8().constData());
    if (!codec) {
        qDebug() << "[VENC]:"
                 << "init_video_codec"
                 << "Necessary encoder " << codecName << " - is not found";
        for (const char* candidate : kFallbackEncoders) {
            qDebug() << "[VENC]:"
                     << "init_video_codec"
                     << "Trying" << candidate;
            codecName = QString::fromLatin1(candidate);
            codec = avcodec_find_encoder_by_name(candidate);
            if (codec) {
                qDebug() << "[VENC]:"
                         << "init_video_codec"
                         << "Using another encoder instead: " << codec->name << codec->long_name;
                break;
            }
        }
        if (!codec) {
            qCritical() << "[VENC]:"
                        << "init_video_codec"
                        << "No video encoder is found!";
            sentryCaptureFatal("[VENC]", "Necessary encoder not found");
            return AVERROR_INVALIDDATA;
        }
    }
    qDebug() << "[VENC]: time_base=" << params.timeBase.num << "/" << params.timeBase.den
             << ", framerate=" << params.frameRate.num << "/" << params.frameRate.den << ", name:" << codec->name
             << ", long_name:" << codec->long_name << ", preferVideoQuality:" << quality
             << ", forceHWAccel:" << forceHWAccel;

    codecContext.reset(avcodec_alloc_context3(codec));
    if (!codecContext) {
        av_log(nullptr, AV_LOG_ERROR, "Failed to allocate the encoder context\n");
        return AVERROR(ENOMEM);
    }
    AVCodecContext* ctx = codecContext.get();
    ctx->codec_id = AV_CODEC_ID_H264;
    if (codecName == "h264_mf")
        params.pixelFormat = AV_PIX_FMT_NV12;
    ctx->pix_fmt = params.pixelFormat;
    if (const AVPixelFormat* fmts = ffEncoderPixelFormats(codec)) {
        QStringList names;
        bool supported = false;
        for (const AVPixelFormat* f = fmts; *f != AV_PIX_FMT_NONE; ++f) {
            names << av_get_pix_fmt_name(*f);
            supported = supported || *f == params.pixelFormat;
        }
        qDebug() << "fmt supports pixel formats:" << names.join(' ');
        if (!supported) {
            params.pixelFormat = fmts[0];
            ctx->pix_fmt = fmts[0];
            qDebug() << "[VENC]: encoder does not matching requested pixel format, using"
                     << av_get_pix_fmt_name(fmts[0]) << "instead";
        }
    }

    ctx->sample_aspect_ratio = params.sampleAspectRatio;
    ctx->time_base = params.timeBase;
    ctx->framerate = AVRational{25, 1};
    ctx->profile = FF_PROFILE_H264_MAIN;
    ctx->thread_count = encoderThreadCount();
    if (params.width && params.height) {
        ctx->width = params.width;
        ctx->height = params.height;
    }

    // Bit rate grows with the edge of the picture, not its area.
    bitRate = static_cast<int>(static_cast<float>(std::sqrt(static_cast<double>(params.width) * params.height))
                               * static_cast<float>(bitrateFactor));
    const int tolerance = bitRate * 30 / 100;
    ctx->bit_rate = bitRate;
    ctx->max_b_frames = 0;
    ctx->has_b_frames = 0;
    ctx->gop_size = 100;
    ctx->keyint_min = 25;

    if (codecName == "libx264" || codecName == "libopenh264") {
        ctx->qmin = 10;
        ctx->qmax = 51;
        ctx->max_qdiff = 10;
        ctx->refs = 1;
        ctx->me_cmp = 1;
        ctx->me_subpel_quality = 5;
        ctx->trellis = 0;
        ctx->rc_buffer_size = bitRate + 2 * tolerance;
        ctx->rc_max_rate = bitRate + tolerance;
        if (quality >= 1) {
            if (codecName == "libopenh264" && quality < 10)
                ctx->profile = FF_PROFILE_H264_CONSTRAINED_BASELINE;
            const int q = std::max(51 - quality * 41 / 100, 0);
            ctx->qmax = std::min(q + 20, 51);
            ctx->qmin = std::max(q - 5, 10);
            ctx->max_qdiff = 5;
            qDebug() << "[VENC]: Setting H264 qmin/qmax to" << ctx->qmin << "/" << ctx->qmax << "for quality"
                     << quality;
        }
    }
    qDebug() << "[VENC]: pixel format: " << av_get_pix_fmt_name(ctx->pix_fmt) << ", bitrate=" << bitRate
             << ", WxH:" << ctx->width << "x" << ctx->height;
    return 1;
}

int ffmpegVideoEnc::addToOutput(AVFormatContext* ctx, int index, VideoParams& params)
{
    return addToOutput_crop(ctx, index, params.width, params.height);
}

int ffmpegVideoEnc::addToOutput_crop(AVFormatContext* ctx, int index, int width, int height)
{
    qDebug() << "[VENC]: addToOutput for stream: " << index << "target WxH: " << width << "x" << height;
    streamIndex = index;
    if (!codecContext || !codec)
        return AVERROR(EINVAL);
    AVStream* stream = avformat_new_stream(ctx, nullptr);
    if (!stream) {
        qCritical() << "[VENC]:"
                    << "addToOutput_crop"
                    << "Failed allocating output stream";
        sentryCaptureFatal("[VENC]", "Failed allocating output stream");
        return AVERROR_UNKNOWN;
    }
    stream->id = index;
    AVCodecContext* enc = codecContext.get();
    if (width && height) {
        enc->width = width;
        enc->height = height;
    }
    if (ctx->oformat->flags & AVFMT_GLOBALHEADER)
        enc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AVDictionary* opts = encoderOptions(codecName, quality, forceHWAccel);
    int ret = avcodec_open2(enc, codec, &opts);
    av_dict_free(&opts);
    if (ret < 0) {
        qCritical() << "[VENC]: Cannot open encoder for stream " << index << ". Error: " << ffErrorString(ret);
        sentryCaptureFatal("[VENC]", "Cannot open encoder");
        return ret;
    }
    qDebug() << "[VENC]: Successfully opened encoder for stream " << index << "with WxH: " << enc->width << "x"
             << enc->height;
    ret = avcodec_parameters_from_context(stream->codecpar, enc);
    if (ret < 0) {
        qCritical() << "[AMIX]: Failed to copy encoder parameters to output stream";
        return ret;
    }
    stream->time_base = enc->time_base;
    return 1;
}

int ffmpegVideoEnc::init_video_filters(const VideoParams& in, VideoParams& out, int x, int y, int w, int h)
{
    qDebug() << "[VENC]: Init filters for 1 streams";
    QMutexLocker lock(&queueLock);
    sourceContext = nullptr;
    sinkContext = nullptr;
    queued = 0;
    inFrames = 0;
    outFrames = 0;
    filterGraph.reset(avfilter_graph_alloc());
    if (!filterGraph) {
        qCritical() << "[VENC]: Cannot allocate filter graph.";
        sentryCaptureFatal("[VENC]", "Cannot allocate filter graph");
        return AVERROR(ENOMEM);
    }
    // The scaler cuts each picture into one slice per thread of the graph. Left
    // to itself the graph takes one thread more than there are cores, which on a
    // small machine only adds hand-overs beside the encoder's own threads.
    filterGraph->nb_threads = encoderThreadCount();
    QString graph =
        QString::asprintf("buffer=width=%d:height=%d:pix_fmt=%s:time_base=%d/%d:pixel_aspect=%d/%d:frame_rate=%d/"
                          "%d,fifo,setpts=PTS-STARTPTS,",
                          in.width, in.height, av_get_pix_fmt_name(in.pixelFormat), in.timeBase.num, in.timeBase.den,
                          in.sampleAspectRatio.num, in.sampleAspectRatio.den, in.frameRate.num, in.frameRate.den);
    int sinkNumber = 6;
    // The circle filter is not part of every build of the library; without it
    // passVideoToEnc paints the highlight before the frame enters the graph.
    if (highlightMouse && avfilter_get_by_name("drawcircle")) {
        graph += "drawcircle=circle_source=side_data_detection_bboxes:t=fill:c=yellow@0.5,";
        ++sinkNumber;
    }
    if (w && h) {
        graph += QString::asprintf("crop=w=%d:h=%d:x=%d:y=%d,", w, h, x, y);
        ++sinkNumber;
    }
    graph += QString::asprintf("scale=width=%d:height=%d,", out.width, out.height);
    graph += QString::asprintf("format=%s,settb=expr=%d/%d,buffersink", av_get_pix_fmt_name(out.pixelFormat),
                               out.timeBase.num, out.timeBase.den);
    const QByteArray graphText = graph.left(4095).toUtf8();

    int ret = ffParseGraph(filterGraph.get(), graphText);
    if (ret < 0) {
        qCritical() << "[VENC]: Cannot parse graph ret=" << ret << graphText;
        sentryCaptureFatal("[VENC]", "Cannot parse graph");
        return ret;
    }
    ret = avfilter_graph_config(filterGraph.get(), nullptr);
    if (ret < 0) {
        qCritical() << "[VENC]: Cannot configure graph ret=" << ret;
        sentryCaptureFatal("[VENC]", "Cannot configure graph");
        return ret;
    }
    sourceContext = avfilter_graph_get_filter(filterGraph.get(), "Parsed_buffer_0");
    if (!sourceContext) {
        qCritical() << "[VENC]: graph error: can't open filter_ctx.buffersrc_ctx";
        sentryCaptureFatal("[VENC]", "graph error: can't open filter_ctx.buffersrc_ctx");
        return AVERROR_UNKNOWN;
    }
    sinkContext =
        avfilter_graph_get_filter(filterGraph.get(), QByteArray("Parsed_buffersink_") + QByteArray::number(sinkNumber));
    if (!sinkContext) {
        qCritical() << "[VENC]: graph error: can't open filter_ctx.buffersink_ctx";
        sentryCaptureFatal("[VENC]", "graph error: can't open filter_ctx.buffersink_ctx");
        return AVERROR_UNKNOWN;
    }
    return 0;
}

void ffmpegVideoEnc::freeUnused()
{
    qDebug() << "[VENC]:"
             << "freeUnused";
    QMutexLocker lock(&queueLock);
    filterGraph.reset();
    sourceContext = nullptr;
    sinkContext = nullptr;
    queued = 0;
    codecContext.reset();
}

void ffmpegVideoEnc::passVideoToEnc(void* f, int)
{
    AVFrame* frame = static_cast<AVFrame*>(f);
    // Back-pressure: a frame beyond the queue limit is refused and counted.
    if (running == 0 || queued > kMaxQueuedFrames - 1) {
        if (frame)
            ++droppedFrames;
        av_frame_free(&frame);
        return;
    }
    if (!frame || frame->width < 1 || frame->height < 1 || !frame->data[0]) {
        qWarning("[VENC]: frame:%p, data:%p, width:%d, height:%d", static_cast<void*>(frame),
                 frame ? static_cast<void*>(frame->data[0]) : nullptr, frame ? frame->width : 0,
                 frame ? frame->height : 0);
        if (QObject* s = sender())
            qWarning() << "[VENC]: sender: " << s->objectName();
        else
            qWarning() << "[VENC]: sender: none";
        av_frame_free(&frame);
        return;
    }
    if (highlightMouse)
        highlightPainter.paint(frame);
    {
        QMutexLocker lock(&queueLock);
        if (queued < kMaxQueuedFrames && sourceContext) {
            const int ret = av_buffersrc_add_frame_flags(sourceContext, frame, 0);
            if (ret < 0)
                qCritical() << "[VENC]: Error while feeding the filtergraph ret:" << ret
                            << "errstr:" << ffErrorString(ret);
            ++queued;
        } else {
            qWarning() << "[VENC]: queue is full! postedEvents: " << 0;
        }
        ++inFrames;
        queueCondition.wakeAll();
    }
    av_frame_free(&frame);
}

int ffmpegVideoEnc::encodeFrame(AVFrame* frame)
{
    AVCodecContext* ctx = codecContext.get();
    if (frame) {
        frame->key_frame = 0;
        frame->time_base = ctx->time_base;
    }
    return EncoderPackets::encode(ctx, frame, [this](AVPacket* p) { return takePacket(p); });
}

// Gives a packet its stream and, when the encoder left it out, a duration;
// true when it went to the session.
bool ffmpegVideoEnc::takePacket(AVPacket* packet)
{
    packet->stream_index = streamIndex;
    if (packet->duration == 0) {
        if (lastPacketPts == -1)
            packet->duration = av_rescale_q(1, av_inv_q(codecContext->framerate), packet->time_base);
        else
            packet->duration = packet->pts - lastPacketPts;
    }
    lastPacketPts = packet->pts;
    if (receivers(SIGNAL(frameEncoded(void*))) == 0)
        return false;
    emit frameEncoded(packet);
    return true;
}

void ffmpegVideoEnc::flushEncoder()
{
    EncoderPackets::flush(codecContext.get(), "[VENC]", [this](AVPacket* p) { return takePacket(p); });
}

void ffmpegVideoEnc::run()
{
    lastFramePts = -1;
    droppedFrames = 0;
    lastPacketPts = -1;
    FramePtr frame(av_frame_alloc());
    running = 1;
    bool haveGraph = true;
    bool firstRound = true;
    for (;;) {
        bool signalled = false;
        {
            // With frames waiting the loop naps up to 20 ms for more. With none
            // it sleeps until passVideoToEnc or a stop wakes it, instead of
            // spinning on the empty queue: a fed frame still wakes it at once.
            // The first round goes straight on, so that started gets set.
            QMutexLocker lock(&queueLock);
            if (queued > 0)
                signalled = queueCondition.wait(&queueLock, 20);
            else if (running && !firstRound)
                signalled = queueCondition.wait(&queueLock);
        }
        firstRound = false;
        while (filterGraph && frame) {
            int ret;
            {
                QMutexLocker lock(&queueLock);
                ret = sinkContext ? av_buffersink_get_frame(sinkContext, frame.get()) : AVERROR(EINVAL);
                if (ret >= 0) {
                    --queued;
                    ++outFrames;
                }
            }
            if (ret < 0) {
                if (ret == AVERROR_EOF)
                    running = 0;
                break;
            }
            if (frame->pts <= lastFramePts) {
                qDebug() << "[VENC]: OUT [" << queued << " S:" << (signalled ? "1" : "0") << "]: DUP/BWT " << frame->pts
                         << "/" << lastFramePts;
                av_frame_unref(frame.get());
                continue;
            }
            frame->pict_type = AV_PICTURE_TYPE_NONE;
            const int64_t pts = frame->pts;
            ret = encodeFrame(frame.get());
            lastFramePts = pts;
            av_frame_unref(frame.get());
            if (ret < 0)
                break;
        }
        started = 1;
        if (running == 0) {
            if (!filterGraph) {
                qCritical() << "[VENC]: No FilterGraph";
                haveGraph = false;
            }
            break;
        }
    }
    if (haveGraph && !abort)
        flushEncoder();
    qDebug() << "[VENC]: exit, in_frames:" << inFrames << ", out_frames:" << outFrames << ", queued_frames:" << queued;
    started = 0;
}
