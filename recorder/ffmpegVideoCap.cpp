#include "ffmpegVideoCap.h"

#include "CaptureInputName.h"
#include "CrashReport.h"
#include "X11Connection_x11.h"
#include "ffThumbCreator.h"

#include <QDebug>
#include <QGuiApplication>
#include <QScreen>
#include <algorithm>

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavutil/pixdesc.h>
}

namespace {
constexpr int kCaptureFrameRate = 25;
constexpr unsigned long kReadSleepStartUs = 15000;
constexpr unsigned long kReadSleepMaxUs = 40000;
constexpr int kPreviewFrames = 15;
constexpr unsigned long kPreviewStopWaitMs = 2000;

// Place of a screen when screens are numbered by area: the one at (0, 0)
// first, then top to bottom, left to right, then by name.
int screenOutputIndex(const QList<QScreen*>& screens, int index)
{
    if (index < 0 || index >= screens.size())
        return 0;
    QList<int> order;
    for (int i = 0; i < screens.size(); ++i)
        order << i;
    std::sort(order.begin(), order.end(), [&](int a, int b) {
        const QRect ga = screens[a]->geometry(), gb = screens[b]->geometry();
        const bool originA = ga.topLeft() == QPoint(0, 0), originB = gb.topLeft() == QPoint(0, 0);
        if (originA != originB)
            return originA;
        if (ga.y() != gb.y())
            return ga.y() < gb.y();
        if (ga.x() != gb.x())
            return ga.x() < gb.x();
        return screens[a]->name() < screens[b]->name();
    });
    const int place = order.indexOf(index);
    qDebug() << "[VCAP]: Qt screen" << index << "(" << screens[index]->name() << ")"
             << "mapped to ddagrab output_idx:" << place;
    return place;
}
} // namespace

ffmpegVideoCap::ffmpegVideoCap(QObject* parent)
    : QThread(parent)
{
    avdevice_register_all();
}

ffmpegVideoCap::~ffmpegVideoCap()
{
    running = 0;
    wait();
    delete thumbCreator;
    av_freep(&device);
}

void ffmpegVideoCap::setDevice(const char* name)
{
    ffReplaceString(device, name);
}

void ffmpegVideoCap::clearCounters()
{
    videoFrameCount = 0;
    lastPts = 0;
    ptsSeen = false;
    firstPts = 0;
}

void ffmpegVideoCap::setPreviewPaths(const QString& dir, const QString& gifName, const QString& jpgName)
{
    previewDir = dir;
    previewGifName = gifName;
    previewJpgName = jpgName;
}

void ffmpegVideoCap::setCaptureParams(int x, int y, int w, int h)
{
    captureX = x;
    captureY = y;
    captureW = w;
    captureH = h;
}

// Desktop Duplication filter for the screen under the capture origin, with
// offsets relative to that screen and the size cut to fit it.
QString ffmpegVideoCap::ddagrabFilter() const
{
    const QList<QScreen*> screens = QGuiApplication::screens();
    int display = 0;
    QPoint relative(captureX, captureY);
    for (int i = 0; i < screens.size(); ++i) {
        const QRect g = screens[i]->geometry();
        qDebug() << "[VCAP]: Checking screen" << i << "name:" << screens[i]->name() << "geometry:" << g
                 << "for capture point:" << QPoint(captureX, captureY);
        if (g.contains(captureX, captureY)) {
            display = i;
            relative = QPoint(captureX, captureY) - g.topLeft();
            qDebug() << "[VCAP]: Found capture area on display" << i << "screen name:" << screens[i]->name()
                     << "screen geometry:" << g << "virtual coords:" << QPoint(captureX, captureY)
                     << "relative coords:" << relative;
            break;
        }
    }
    int w = captureW, h = captureH;
    if (display < screens.size()) {
        const QRect g = screens[display]->geometry();
        if (relative.x() + w > g.width()) {
            const int reduced = g.width() - relative.x();
            qWarning() << "[VCAP]: Capture width reduced from" << w << "to" << reduced << "to fit within display"
                       << display;
            w = reduced;
        }
        if (relative.y() + h > g.height()) {
            const int reduced = g.height() - relative.y();
            qWarning() << "[VCAP]: Capture height reduced from" << h << "to" << reduced << "to fit within display"
                       << display;
            h = reduced;
        }
        qDebug() << "[VCAP]: Using ddagrab with display" << display << "offset:" << relative
                 << "adjusted size:" << QSize(w, h);
    } else {
        qWarning() << "[VCAP]: Display detection failed, using fallback settings";
    }
    const int output = screenOutputIndex(screens, display);
    const QString filter = QString::asprintf("ddagrab=video_size=%dx%d:offset_x=%d:offset_y=%d:draw_mouse=1:output_idx="
                                             "%d:framerate=%d,hwdownload,format=bgra",
                                             w, h, relative.x(), relative.y(), output, kCaptureFrameRate);
    qDebug() << "[VCAP]: Generated ddagrab filter:" << filter;
    qDebug() << "[VCAP]: Qt screen" << display << "-> ddagrab output_idx" << output;
    return filter;
}

// x11grab refuses a region that leaves the root window, so the rectangle is
// cut to it here, as the duplication path cuts it to its screen; the capture
// fields keep what the user chose. Without a size the whole screen is taken.
QRect ffmpegVideoCap::x11grabRegion(const QByteArray& display) const
{
    QRect region(captureX, captureY, captureW, captureH);
    if (captureW <= 0 || captureH <= 0)
        return region;
    X11Connection connection;
    if (!connection.open(display))
        return region; // the input's own open reports the display
    const QRect visible = region.intersected(QRect(QPoint(0, 0), connection.rootSize()));
    if (visible.isEmpty())
        return region; // nothing of it on the screen: x11grab says so
    if (visible.width() != region.width())
        qWarning() << "[VCAP]: Capture width reduced from" << region.width() << "to" << visible.width()
                   << "to fit within display" << display;
    if (visible.height() != region.height())
        qWarning() << "[VCAP]: Capture height reduced from" << region.height() << "to" << visible.height()
                   << "to fit within display" << display;
    return visible;
}

AVDictionary* ffmpegVideoCap::x11grabOptions(const QRect& region) const
{
    AVDictionary* options = nullptr;
    if (region.width() > 0 && region.height() > 0)
        av_dict_set(&options, "video_size",
                    QByteArray::number(region.width()) + "x" + QByteArray::number(region.height()), 0);
    av_dict_set(&options, "framerate", QByteArray::number(kCaptureFrameRate), 0);
    av_dict_set(&options, "show_region", "0", 0);
    av_dict_set(&options, "grab_x", QByteArray::number(region.x()), 0);
    av_dict_set(&options, "grab_y", QByteArray::number(region.y()), 0);
    av_dict_set(&options, "draw_mouse", "1", 0);
    return options;
}

int ffmpegVideoCap::open_input_device(const char* deviceName)
{
    const QByteArray name(deviceName ? deviceName : "");
    const bool lavfiInput = CaptureInputName::isLavfi(name);
    bool ddagrabPass = useDdagrab && !lavfiInput;
    for (;;) {
        const AVInputFormat* format = nullptr;
        AVDictionary* options = nullptr;
        QByteArray url;
        if (lavfiInput) {
            format = av_find_input_format("lavfi");
            url = CaptureInputName::pacedLavfiGraph(name, "realtime");
        } else if (ddagrabPass) {
            format = av_find_input_format("lavfi");
            url = ddagrabFilter().toUtf8();
        } else {
            format = av_find_input_format("x11grab");
            const QRect region = x11grabRegion(name);
            options = x11grabOptions(region);
            grabOrigin = region.topLeft();
            url = name;
        }
        AVFormatContext* ctx = nullptr;
        const int ret = avformat_open_input(&ctx, url.constData(), format, &options);
        av_dict_free(&options);
        if (ret < 0) {
            if (ddagrabPass) {
                qWarning() << "[VCAP]: Desktop Duplication API is not avaliable, using GDI instead: " << url
                           << ", ctx: " << ctx;
                useDdagrab = false;
                ddagrabPass = false;
                continue;
            }
            qCritical() << "[VCAP]: Cannot open input: " << url << ", ctx: " << ctx;
            sentryCaptureFatal("[VCAP]", "Cannot open input: " + QString::fromUtf8(url));
            if (ret == AVERROR(EIO))
                qCritical() << "[VCAP]: Video is disabled";
            return ret;
        }
        inputContext.reset(ctx);
        x11Display = (lavfiInput || ddagrabPass) ? QByteArray() : name;
        break;
    }
    inputContext->flags |= AVFMT_FLAG_GENPTS | AVFMT_FLAG_DISCARD_CORRUPT;
    int ret = avformat_find_stream_info(inputContext.get(), nullptr);
    if (ret < 0) {
        qCritical() << "[VCAP]: Cannot find stream information";
        sentryCaptureError("[VCAP]", "Cannot find stream information");
        return ret;
    }
    ret = openStreams();
    if (ret < 0)
        return ret;
    av_dump_format(inputContext.get(), 0, inputContext->url, 0);
    for (const CodecContextPtr& dec : decoders) {
        if (dec) {
            qDebug() << "[VCAP]: STREAMS:" << dec->width << "x" << dec->height << "fps:" << dec->framerate.num << "/"
                     << dec->framerate.den << "TB[s]:" << inputContext->streams[0]->time_base.num << "/"
                     << inputContext->streams[0]->time_base.den << "TB[c]:" << dec->time_base.num << "/"
                     << dec->time_base.den;
            break;
        }
    }
    qDebug() << "[VCAP]: num streams " << streamCount;
    return streamCount;
}

int ffmpegVideoCap::openStreams()
{
    streamCount = 0;
    videoStreamIndex = -1;
    decoders.clear();
    decoders.resize(inputContext->nb_streams);
    for (unsigned int i = 0; i < inputContext->nb_streams; ++i) {
        AVStream* stream = inputContext->streams[i];
        const AVCodec* dec = avcodec_find_decoder(stream->codecpar->codec_id);
        if (!dec) {
            qCritical("[VCAP]: Failed to find decoder for stream #%u\n", i);
            sentryCaptureError("[VCAP]", "Failed to find decoder for stream");
            return AVERROR_DECODER_NOT_FOUND;
        }
        CodecContextPtr ctx(avcodec_alloc_context3(dec));
        if (!ctx) {
            qCritical("[VCAP]: Failed to allocate the decoder context for stream #%u\n", i);
            sentryCaptureError("[VCAP]",
                               QString::asprintf("Failed to allocate the decoder context for stream #%u\n", i));
            return AVERROR(ENOMEM);
        }
        int ret = avcodec_parameters_to_context(ctx.get(), stream->codecpar);
        if (ret < 0) {
            av_log(nullptr, AV_LOG_ERROR, "Failed to copy decoder parameters to input decoder context for stream #%u\n",
                   i);
            return ret;
        }
        const AVMediaType type = ctx->codec_type;
        if (type == AVMEDIA_TYPE_VIDEO) {
            ctx->time_base = stream->time_base;
            ctx->framerate = stream->avg_frame_rate;
            if (ctx->framerate.den == 0)
                ctx->framerate = av_guess_frame_rate(inputContext.get(), stream, nullptr);
            if (ctx->framerate.den == 0) {
                qWarning()
                    << "[VCAP]: Unable to find framerate, giving-up by forcing it to 25/1, video timing could be wrong";
                ctx->framerate = AVRational{kCaptureFrameRate, 1};
            }
        }
        if (type != AVMEDIA_TYPE_VIDEO && type != AVMEDIA_TYPE_AUDIO)
            continue;
        ctx->pkt_timebase = stream->time_base;
        ret = avcodec_open2(ctx.get(), dec, nullptr);
        if (ret < 0) {
            qCritical("[VCAP]: Failed to open decoder for stream #%u\n", i);
            sentryCaptureError("[VCAP]", "Failed to open decoder for stream");
            return ret;
        }
        if (type == AVMEDIA_TYPE_VIDEO && videoStreamIndex < 0)
            videoStreamIndex = static_cast<int>(i);
        decoders[i] = std::move(ctx);
        ++streamCount;
    }
    return 0;
}

int ffmpegVideoCap::fillVideoParams(VideoParams& out)
{
    for (const CodecContextPtr& dec : decoders) {
        if (!dec || dec->codec_type != AVMEDIA_TYPE_VIDEO)
            continue;
        out.width = dec->width;
        out.height = dec->height;
        out.timeBase = dec->time_base;
        out.frameRate = dec->framerate;
        out.sampleAspectRatio = dec->sample_aspect_ratio;
        out.pixelFormat = dec->pix_fmt;
        qDebug() << "[VCAP]: time base!!!!!! " << out.timeBase.num << "/" << out.timeBase.den;
        return 1;
    }
    return 0;
}

void ffmpegVideoCap::freeUnused()
{
    qDebug() << "[VCAP]:"
             << "freeUnused";
    delete thumbCreator;
    thumbCreator = nullptr;
    decoders.clear();
    inputContext.reset();
    x11Display.clear();
    streamCount = 0;
    videoStreamIndex = -1;
    lastPts = 0;
    ptsSeen = false;
    firstPts = 0;
    ready = false;
    go = false;
    readyCountdown = 5;
}

// The preview maker keeps a copy; while none runs the frame is left alone.
void ffmpegVideoCap::passFrameToThumbCreator(const AVFrame* frame)
{
    if (thumbCreator)
        thumbCreator->passFrameToThumbCreator(const_cast<AVFrame*>(frame));
}

// One preview maker per recording, at the decoder's size and format. Without
// a folder there is nowhere to put the previews, and none is made.
void ffmpegVideoCap::startThumbCreator()
{
    if (videoStreamIndex < 0)
        return;
    if (previewDir.isEmpty()) {
        qDebug() << "[VCAP]: no preview folder, no preview";
        return;
    }
    qDebug() << "[VCAP]: thumbcreator create";
    const AVCodecContext* dec = decoders[videoStreamIndex].get();
    thumbCreator = new ffThumbCreator(nullptr, kPreviewFrames, dec->width, dec->height, dec->pix_fmt);
    thumbCreator->dir = previewDir;
    thumbCreator->gifName = previewGifName;
    thumbCreator->jpgName = previewJpgName;
    thumbCreator->start(QThread::LowPriority);
}

// Frames 15, 20, ... 90 feed the preview; after the last one the preview
// maker finishes on its own and is let go as soon as its thread has ended.
void ffmpegVideoCap::feedThumbCreator(const AVFrame* frame)
{
    if (videoFrameCount < 91 && videoFrameCount % 5 == 0) {
        const uint64_t quotient = videoFrameCount / 5;
        if (quotient >= 3 && quotient <= 18)
            passFrameToThumbCreator(frame);
        if (quotient == 18 && thumbCreator)
            thumbCreator->finish();
    }
    if (thumbCreator && thumbCreator->isFinished()) {
        delete thumbCreator;
        thumbCreator = nullptr;
    }
}

// A preview maker still at work at the end is hurried, then given up on.
void ffmpegVideoCap::stopThumbCreator()
{
    if (!thumbCreator)
        return;
    if (thumbCreator->isRunning())
        thumbCreator->setPriority(QThread::HighestPriority);
    thumbCreator->finish();
    qDebug() << "[VCAP]: waiting for thumbcreator to finish...";
    if (!thumbCreator->wait(kPreviewStopWaitMs)) {
        thumbCreator->terminate();
        thumbCreator->wait();
    }
    delete thumbCreator;
    thumbCreator = nullptr;
}

// Pointer position and buttons as the highlight reads them. A pointer the
// server cannot tell about leaves the frame without them: no highlight.
void ffmpegVideoCap::markPointer(AVFrame* frame)
{
    PointerProbe::State state;
    if (pointer.query(state))
        MouseHighlight::setPointerMetadata(frame, state.x, state.y, state.buttons);
}

bool ffmpegVideoCap::handleFrame(AVFrame* frame, int streamIndex)
{
    AVCodecContext* dec = decoders[streamIndex].get();
    const bool video = dec->codec_type == AVMEDIA_TYPE_VIDEO;
    frame->pts = frame->best_effort_timestamp;
    if (frame->pts == AV_NOPTS_VALUE) {
        qDebug() << "[VCAP]: no PTS [" << streamIndex << ", " << 0 << "], discard frame!";
        return false;
    }
    if (ptsSeen && frame->pts <= lastPts) {
        qDebug() << "[VCAP]: bad PTS [" << streamIndex << ", " << 0 << "], discard frame! " << frame->pts
                 << " <=" << lastPts;
        if (ready && go)
            qDebug("[VCAP]: Non-monolitic PTS [%d:%d], discard this frame! %lld <= %lld\n", streamIndex, 0,
                   static_cast<long long>(frame->pts), static_cast<long long>(lastPts));
        return false;
    }
    lastPts = frame->pts;
    if (!ptsSeen && frame->pts >= 0) {
        ptsSeen = true;
        firstPts = frame->pts;
    }
    if (video) {
        feedThumbCreator(frame);
        ++videoFrameCount;
    }
    frame->time_base = dec->time_base;
    if (video) {
        // The first frames of an input often come in a burst; they never count.
        if (readyCountdown > 0)
            --readyCountdown;
        if (readyCountdown < 1)
            ready = true;
        markPointer(frame);
        if (highlightMouse)
            mouseHighlight.apply(frame);
    }
    if (!go)
        return false;
    if (video && receivers(SIGNAL(passVideoToEnc(void*, int))) > 0) {
        emit passVideoToEnc(frame, 0);
        return true;
    }
    if (!video && receivers(SIGNAL(passAudioToMixEnc(void*, int))) > 0) {
        emit passAudioToMixEnc(frame, 0);
        return true;
    }
    return false;
}

void ffmpegVideoCap::run()
{
    FramePtr frame(av_frame_alloc());
    PacketPtr packet(av_packet_alloc());
    clearCounters();
    running = 1;
    ready = false;
    go = false;
    readyCountdown = 10;
    mouseHighlight.reset();
    if (!x11Display.isEmpty() && !pointer.open(x11Display, grabOrigin) && !pointerWarned) {
        qWarning() << "[VCAP]: pointer position not available from" << x11Display << ", no mouse highlight";
        pointerWarned = true;
    }
    startThumbCreator();
    unsigned long sleepUs = kReadSleepStartUs;
    bool failed = !inputContext || !frame || !packet;
    while (running && !failed) {
        int ret = av_read_frame(inputContext.get(), packet.get());
        if (ret == AVERROR(EAGAIN)) {
            QThread::usleep(sleepUs);
            sleepUs = std::min(sleepUs + 1000, kReadSleepMaxUs);
            continue;
        }
        if (ret < 0) {
            qDebug() << "[VCAP]: read frame returned " << ret << ffErrorString(ret);
            if (ret == AVERROR(EIO))
                QThread::msleep(40);
            break;
        }
        sleepUs = kReadSleepStartUs;
        const int index = packet->stream_index;
        AVCodecContext* dec = index < static_cast<int>(decoders.size()) ? decoders[index].get() : nullptr;
        if (!dec) {
            av_packet_unref(packet.get());
            continue;
        }
        const AVRational streamTb = inputContext->streams[index]->time_base;
        packet->time_base = streamTb;
        av_packet_rescale_ts(packet.get(), streamTb, dec->time_base);
        ret = avcodec_send_packet(dec, packet.get());
        av_packet_unref(packet.get());
        if (ret < 0) {
            av_log(nullptr, AV_LOG_ERROR, "Decoding failed\n");
            break;
        }
        for (;;) {
            ret = avcodec_receive_frame(dec, frame.get());
            if (ret == AVERROR(EAGAIN) || ret == AVERROR_EOF)
                break;
            if (ret < 0) {
                failed = true;
                break;
            }
            if (handleFrame(frame.get(), index)) {
                frame.release(); // the receiver owns it now
                frame.reset(av_frame_alloc());
                if (!frame) {
                    failed = true;
                    break;
                }
            } else {
                av_frame_unref(frame.get());
            }
        }
        started = 1;
    }
    frame.reset();
    packet.reset();
    stopThumbCreator();
    pointer.close();
    qDebug() << "[VCAP]: exit";
    started = 0;
}
