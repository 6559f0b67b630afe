#include "pulseAudioLoopback.h"

#include "AudioSampleLevel.h"
#include "CaptureInputName.h"
#include "FFmpegResources.h"
#include "LavfiSoundSource.h"
#include "PulseMonitorSource_pulse.h"

#include <QDebug>
#include <QMutexLocker>

namespace {
const char* const kDisabledMessage = "<h1>WARNING: System Sound Recording is DISABLED!</h1>";
constexpr int kOpenPolls = 100;
constexpr unsigned long kOpenPollMs = 5;
constexpr unsigned long kEmptyReadUs = 1000;
} // namespace

pulseAudioLoopback::pulseAudioLoopback(QObject* parent)
    : QThread(parent)
{
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

// Runs on this thread: the sound server connection lives and dies here.
int pulseAudioLoopback::openDevice()
{
    qDebug() << "[WASA]: Open device";
    if (deviceOpen && source)
        return 0;
    const QByteArray input(device ? device : "");
    // The session's name for system sound is not a device: the default sink's monitor is read.
    if (CaptureInputName::isLavfi(input))
        source = std::make_unique<LavfiSoundSource>(input);
    else
        source = std::make_unique<PulseMonitorSource>();
    if (source->open(format) < 0) {
        source.reset();
        emit audioPopup(1, QString::fromLatin1(kDisabledMessage));
        return -1;
    }
    deviceOpen = true;
    qDebug() << "[WASA]: SR:" << format.sampleRate << "CH:" << format.channels << "TB:" << format.timeBase.num << "/"
             << format.timeBase.den;
    return 1;
}

int pulseAudioLoopback::fillAudioParams(AudioParams& out)
{
    for (int i = 0; i < kOpenPolls && !deviceOpen; ++i)
        QThread::msleep(kOpenPollMs);
    if (!deviceOpen || format.sampleRate <= 0)
        return 0;
    out.channels = format.channels;
    out.channelLayout = ffDefaultChannelMask(format.channels);
    out.timeBase = AVRational{1, format.sampleRate};
    out.sampleFormat = AV_SAMPLE_FMT_S16;
    out.sampleRate = format.sampleRate;
    return 1;
}

int pulseAudioLoopback::stopCapture()
{
    // run holds the lock for its whole life: taking it waits for the loop's
    // end, and run has closed the stream by then.
    QMutexLocker lock(&clientLock);
    clientStarted = false;
    return 0;
}

void pulseAudioLoopback::freeUnused()
{
    qDebug() << "[WASA]: "
             << "freeUnused";
    ready = false;
    go = false;
    deviceOpen = false;
}

// Hands on every block that is waiting. The stream keeps running while muted
// or at level 0, and zeros go on, so the track stays in step. Negative when
// the source has failed.
int pulseAudioLoopback::packetStep()
{
    for (;;) {
        FramePtr frame(av_frame_alloc());
        if (!frame) {
            qWarning() << "[WASA]: can't allocate frame";
            return 0;
        }
        const int ret = source->read(frame.get(), mute || level == 0);
        if (ret < 0) {
            qWarning() << "[WASA]: Faild to get next data packet size.";
            return ret;
        }
        if (ret == 0) {
            QThread::usleep(kEmptyReadUs);
            return 0;
        }
        started = 1;
        ready = true;
        // The samples are final here: measured only, never scaled.
        if (AudioSampleLevel::apply(frame.get(), false, 100, meanLevel) < 0)
            qWarning().noquote() << name << "Unknown sample format "
                                 << av_get_sample_fmt_name(static_cast<AVSampleFormat>(frame->format))
                                 << " MUTE[<<<<]:" << mute;
        if (go && receivers(SIGNAL(passAudioToMixEnc(void*, int))) > 0)
            emit passAudioToMixEnc(frame.release(), 1);
        if (!running)
            return 0;
    }
}

void pulseAudioLoopback::run()
{
    ready = false;
    go = false;
    openResult = -1;
    running = 1;
    QMutexLocker lock(&clientLock);
    openResult = openDevice();
    if (source) {
        clientStarted = true;
        while (running && clientStarted && packetStep() >= 0) {
        }
    }
    source.reset();
    started = 0;
    clientStarted = false;
}
