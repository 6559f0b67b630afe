#include "pulseAudioLoopback.h"

#include "AudioSampleLevel.h"
#include "AudioStreamDecoder.h"
#include "CaptureInputName.h"

#include <QDebug>
#include <QMutexLocker>

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace {
// The sound server resolves this to the monitor of whatever sink is the default.
const char* const kDefaultMonitor = "@DEFAULT_MONITOR@";
const char* const kDisabledMessage = "<h1>WARNING: System Sound Recording is DISABLED!</h1>";
constexpr int kOpenPolls = 100;
constexpr unsigned long kOpenPollMs = 5;
} // namespace

pulseAudioLoopback::pulseAudioLoopback(QObject* parent) : QThread(parent)
{
    avdevice_register_all();
}

pulseAudioLoopback::~pulseAudioLoopback()
{
    running = 0;
    wait();
    av_freep(&device);
}

void pulseAudioLoopback::setDevice(const char* deviceName)
{
    ffReplaceString(device, deviceName);
}

int pulseAudioLoopback::openDevice()
{
    qDebug() << "[WASA]: Open device";
    if (deviceOpen && inputContext)
        return 0;
    const QByteArray input(device ? device : "");
    const bool lavfi = CaptureInputName::isLavfi(input);
    const QByteArray url = lavfi ? CaptureInputName::pacedLavfiGraph(input, "arealtime") : QByteArray(kDefaultMonitor);
    AVFormatContext* ctx = nullptr;
    int ret = avformat_open_input(&ctx, url.constData(), av_find_input_format(lavfi ? "lavfi" : "pulse"), nullptr);
    if (ret < 0) {
        qWarning() << "[WASA]: Failed to activate device." << url << ffErrorString(ret);
    } else {
        inputContext.reset(ctx);
        ret = AudioStreamDecoder::open(name, inputContext.get(), decoder, lavfi);
    }
    if (ret < 0) {
        closeDevice();
        emit audioPopup(1, QString::fromLatin1(kDisabledMessage));
        return -1;
    }
    format.sampleRate = decoder->sample_rate;
    format.channels = ffCodecChannels(decoder.get());
    format.channelLayout = ffChannelMask(decoder->ch_layout);
    format.timeBase = decoder->time_base;
    format.sampleFormat = decoder->sample_fmt;
    deviceOpen = true;
    qDebug() << "[WASA]: SR:" << format.sampleRate << "CH:" << format.channels << "TB:" << format.timeBase.num << "/"
             << format.timeBase.den;
    return 1;
}

void pulseAudioLoopback::closeDevice()
{
    decoder.reset();
    inputContext.reset();
}

int pulseAudioLoopback::fillAudioParams(AudioParams& out)
{
    for (int i = 0; i < kOpenPolls && !deviceOpen; ++i)
        QThread::msleep(kOpenPollMs);
    if (!deviceOpen || format.sampleRate <= 0)
        return 0;
    out = format;
    return 1;
}

int pulseAudioLoopback::stopCapture()
{
    // run holds the lock for its whole life: taking it waits for the loop's end.
    QMutexLocker lock(&clientLock);
    clientStarted = false;
    return 0;
}

void pulseAudioLoopback::freeUnused()
{
    qDebug() << "[WASA]: " << "freeUnused";
    ready = false;
    go = false;
    deviceOpen = false;
}

// The stream keeps running while muted, so the track stays in step: a muted
// block goes on as zeros.
void pulseAudioLoopback::deliver(AVFrame* frame)
{
    started = 1;
    ready = true;
    if (AudioSampleLevel::apply(frame, mute || level == 0, 100, meanLevel) < 0)
        qWarning() << name << "Unknown sample format " << av_get_sample_fmt_name(static_cast<AVSampleFormat>(frame->format))
                   << " MUTE[<<<<]:" << mute;
    if (go && receivers(SIGNAL(passAudioToMixEnc(void*, int))) > 0) {
        AVFrame* out = av_frame_clone(frame);
        if (out)
            emit passAudioToMixEnc(out, 1);
    }
    av_frame_unref(frame);
}

// Reads one packet and delivers what it decodes to. Negative on a fatal error.
int pulseAudioLoopback::captureStep(AVPacket* packet, AVFrame* frame)
{
    int ret = av_read_frame(inputContext.get(), packet);
    if (ret == AVERROR(EAGAIN)) {
        QThread::usleep(1000);
        return 0;
    }
    if (ret < 0) {
        qWarning() << "[WASA]: Failed to get buffer." << ffErrorString(ret);
        return ret;
    }
    ret = AudioStreamDecoder::sendPacket(inputContext.get(), decoder.get(), packet);
    av_packet_unref(packet);
    if (ret < 0 && ret != AVERROR(EAGAIN))
        return ret;
    while ((ret = avcodec_receive_frame(decoder.get(), frame)) >= 0) {
        frame->time_base = decoder->time_base;
        deliver(frame);
    }
    return ret == AVERROR(EAGAIN) || ret == AVERROR_EOF ? 0 : ret;
}

void pulseAudioLoopback::run()
{
    ready = false;
    go = false;
    openResult = -1;
    running = 1;
    QMutexLocker lock(&clientLock);
    openResult = openDevice();
    PacketPtr packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    if (inputContext && decoder && packet && frame) {
        clientStarted = true;
        while (running && clientStarted) {
            if (captureStep(packet.get(), frame.get()) < 0)
                break;
        }
    }
    closeDevice();
    started = 0;
    clientStarted = false;
}
