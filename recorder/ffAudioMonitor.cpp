#include "ffAudioMonitor.h"

#include "AudioSampleLevel.h"
#include "AudioStreamDecoder.h"
#include "CrashReport.h"
#include "SoundInput.h"

#include <QDebug>
#include <algorithm>
#include <cmath>
#include <cstring>

namespace {
const char* const kName = "[AMON]:";
// A device that another user has just released needs a moment to be free.
constexpr unsigned long kOpenDelayMs = 200;
constexpr unsigned long kEmptyReadMs = 2;
} // namespace

ffAudioMonitor::ffAudioMonitor(QObject* parent)
    : QThread(parent)
{
}

ffAudioMonitor::~ffAudioMonitor()
{
    running = 0;
    abort = 0;
    started = 0;
    // The loop ends by itself at its next read; only a stuck thread is forced.
    wait(200);
    qDebug() << "[AMON]: destroyed:" << isFinished();
    if (isRunning()) {
        terminate();
        wait(500);
        qDebug() << "[AMON]: destroyed2:" << isFinished();
    }
    if (isRunning()) {
        exit();
        wait(500);
        qDebug() << "[AMON]: destroyed3:" << isFinished();
    }
}

void ffAudioMonitor::setDevice(const char* name)
{
    std::memset(device, 0, sizeof(device));
    if (name)
        std::strncpy(device, name, sizeof(device) - 1);
}

int ffAudioMonitor::levelPercent(double meanLevel)
{
    if (meanLevel <= 0.000001)
        return 0;
    const double db = 20 * std::log10(meanLevel);
    if (db < -60)
        return 0;
    if (db > 0.9999999)
        return 100;
    return std::clamp(int((db + 60) / 60 * 100), 0, 100);
}

void ffAudioMonitor::freeUnused()
{
    qDebug() << kName << "freeUnused";
    abort = 0;
    started = 0;
    mute = false;
    ready = false;
    level = 100;
}

int ffAudioMonitor::open_input_device(const char* name)
{
    if (name)
        setDevice(name);
    // Killing the thread inside a device open could leave the device held.
    const bool onOwnThread = QThread::currentThread() == this;
    if (onOwnThread)
        QThread::setTerminationEnabled(false);
    const int ret = openInput();
    if (onOwnThread)
        QThread::setTerminationEnabled(true);
    return ret;
}

int ffAudioMonitor::openInput()
{
    closeInput();
    QThread::msleep(kOpenDelayMs);
    int ret = SoundInput::open(device[0] ? device : nullptr, inputContext, kName);
    if (ret < 0) {
        qCritical() << "[AMON]: Cannot open input file:" << device
                    << ", ctx: " << static_cast<void*>(inputContext.get());
        if (ret == AVERROR(EIO))
            qCritical() << "[AMON]: Audio is disabled";
        return ret;
    }
    if (!inputContext) {
        qCritical() << "[AMON]: Can't open audio";
        return -1;
    }
    ret = AudioStreamDecoder::open(kName, inputContext.get(), decoder, !SoundInput::isServerSource(inputContext.get()),
                                   "[AMON]");
    if (ret < 0) {
        closeInput();
        return ret;
    }
    av_dump_format(inputContext.get(), 0, inputContext->url, 0);
    if (inputContext->nb_streams == 0) {
        qWarning() << "[AMON]: ERROR: streams not found!";
        return 0;
    }
    qDebug() << "[AMON]: STREAMS:" << inputContext->nb_streams << "SR:" << decoder->sample_rate
             << "CH:" << ffCodecChannels(decoder.get()) << "TB[s]:" << av_q2d(decoder->time_base);
    return int(inputContext->nb_streams);
}

void ffAudioMonitor::closeInput()
{
    decoder.reset();
    inputContext.reset();
}

void ffAudioMonitor::measure(AVFrame* frame)
{
    if (AudioSampleLevel::apply(frame, mute, level, meanLevel) < 0)
        qWarning("[AMON]: Unknown frame format: %d", frame->format);
}

void ffAudioMonitor::run()
{
    meanLevel = 0.0;
    running = 1;
    if ((!inputContext || !decoder) && open_input_device(nullptr) < 1) {
        running = 0;
        started = 0;
        return;
    }
    PacketPtr packet(av_packet_alloc());
    FramePtr frame(av_frame_alloc());
    bool fatal = !packet || !frame;
    while (running && !fatal) {
        int ret = av_read_frame(inputContext.get(), packet.get());
        if (ret == AVERROR(EAGAIN)) {
            QThread::msleep(kEmptyReadMs);
            continue;
        }
        if (ret < 0)
            break;
        if (inputContext->streams[packet->stream_index]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
            ret = AudioStreamDecoder::sendPacket(inputContext.get(), decoder.get(), packet.get());
            if (ret < 0) {
                sentryCaptureError("[AMON]", "Error submitting the packet to the decoder");
                fatal = true;
            }
            while (!fatal && (ret = avcodec_receive_frame(decoder.get(), frame.get())) >= 0) {
                ready = true;
                measure(frame.get());
                av_frame_unref(frame.get());
            }
            if (!fatal && ret != AVERROR(EAGAIN) && ret != AVERROR_EOF) {
                sentryCaptureError("[AMON]", "Error during decoding\n");
                fatal = true;
            }
        }
        av_packet_unref(packet.get());
        started = 1;
    }
    closeInput();
    abort = 0;
    mute = false;
    started = 0;
    level = 100;
}
