// The session thread of one recording: open everything in a fixed order, wait
// for the sources, watch the data flow, and tear down in a fixed order.
#include "ffmpegMux.h"

#include "CrashReport.h"
#include "DesktopState.h"
#include "FFmpegResources.h"
#include "OutputState.h"
#include "ffmpegAudioCap.h"
#include "ffmpegAudioMixEnc.h"
#include "ffmpegVideoCap.h"
#include "ffmpegVideoEnc.h"
#include "pulseAudioLoopback.h"
#include "pulseAudioSilence.h"

#include <QDateTime>
#include <QDebug>
#include <QMutexLocker>

#include <algorithm>

namespace {

// One tick of the run loop, and the limits counted in ticks.
constexpr unsigned long kTickUs = 10000;
constexpr int kSourceWaitTicks = 299; // about 3 seconds for every source to deliver
constexpr int kFirstWatchdogTicks = 1000;
constexpr int kNextWatchdogTicks = 2000;

// The silence player must report within 50 polls of 100 ms.
constexpr int kSilencePolls = 50;

const char* const kSystemSoundLost = "<h1>WARNING: System Sound Recording is DISABLED!</h1>";

qint64 secondsOf(qint64 value, AVRational tb)
{
    return tb.den ? qint64(tb.num) * value / tb.den : 0;
}

void logStepFailure(const char* format, int ret)
{
    qWarning(format, ret, qPrintable(ffErrorString(ret)));
}

} // namespace

void ffmpegMux::run()
{
    videoEndPts = 0;
    std::fill(std::begin(streamDuration), std::end(streamDuration), 0);
    videoPackets = audioPackets = otherPackets = 0;
    startTimeMs = 0;
    outputContext = nullptr;
    runState = RunState{};
    qDebug() << "[MUX]: starting encoder...";
    // No COM on this platform: nothing to initialise, and nothing to undo later.
    comInitialised = false;

    if (!openSources() || !openVideoPath())
        return;

    int ret = open_output_dest(outputName, continueFileId);
    if (ret < 0) {
        logStepFailure("[MUX]: open_output_dest failed (%d  %s)", ret);
        runExit(ret, 2);
        return;
    }
    qDebug() << "[MUX]: opened output dest...";

    // Video is read and decoded from now on, but nothing leaves before `go`.
    vcap->start(QThread::InheritPriority);

    const int audioInputs = collectAudioInputs();
    const int filtersResult = amix->init_audio_filters(audioIn, audioInputs, audioOut);
    if (filtersResult < 0) {
        logStepFailure("[MUX]: enc->init_audio_filters failed (%d  %s)", filtersResult);
        runExit(filtersResult, 2);
        return;
    }
    qDebug().nospace() << "[MUX]: filters inited (" << vcap->streamCount + (audioInputs > 0 ? 1 : 0) << " streams)...";

    connectWorkers();
    running = 1;
    recordLoop(filtersResult);

    qDebug() << "[MUX]: finalize threads...";
    stopSources();
    QThread::msleep(100);
    const int mask = waitForWorkers();
    qDebug("[MUX]: wait threads result:0x%02x == 0?", mask);

    QThread::msleep(80);
    // Packets still queued on the GUI thread are dropped from here on.
    AVFormatContext* ctx = outputContext;
    outputContext = nullptr;
    QThread::msleep(40);
    if (ctx)
        finishOutput(ctx);

    started = 0;
    fileId = outputState.fileId;
    freeUnused();
    emit recordingDone(filtersResult);
    if (runState.reason < 2)
        emit recordingFailed(runState.reason);
    vcap->abort = false;
    venc->abort = false;
    amix->abort = false;
    acap->ready = false;
    asys->ready = false;
}

bool ffmpegMux::openSources()
{
    int ret = vcap->open_input_device(vcap->device);
    if (ret < 0) {
        logStepFailure("[MUX]: vcap->open_input_device failed (%d  %s)", ret);
        runExit(ret, 2);
        return false;
    }

    if (!disableSys)
        startSystemSound();

    qDebug() << "[MUX]: OPEN ADEV:" << acap->device;
    ret = acap->open_input_device(acap->device);
    if (ret < 0) {
        logStepFailure("[MUX]: arec->open_input_device failed (%d  %s)", ret);
        if (ret != -5) {
            runExit(ret, 2);
            return false;
        }
        // The recording goes on without the microphone.
        emit recordingAudioFails(1);
        acap->freeUnused();
        runState.micLost = true;
    } else {
        acap->mute = micMute;
        acap->level = micLevel;
        acap->start(QThread::TimeCriticalPriority);
    }
    return true;
}

void ffmpegMux::startSystemSound()
{
    // The silence player goes first so that the output renders before the
    // loopback capture begins.
    asil->start(QThread::TimeCriticalPriority);
    int polls = 0;
    while (polls < kSilencePolls && !asil->isFinished() && !asil->started) {
        QThread::msleep(100);
        ++polls;
    }
    if (polls >= kSilencePolls || asil->isFinished()) {
        const QString text =
            QString("ASIL: Silence player timeouted:%1/%2, isFinished:%3! Recording could be unstable!")
                .arg(polls)
                .arg(kSilencePolls)
                .arg(asil->isFinished() ? "true" : "false");
        qWarning() << "[MUX]" << text;
        sentryCaptureWarning("[MUX]", text);
    }
    runState.asilDied = asil->isFinished();
    qDebug() << "[MUX]: OPEN ASYS:" << asys->device;
    if (runState.asilDied) {
        runState.sysLost = true;
        handleAudioPopup(1, kSystemSoundLost);
    } else {
        asys->mute = sysMute;
        asys->level = sysLevel;
        asys->start(QThread::TimeCriticalPriority);
    }
}

bool ffmpegMux::openVideoPath()
{
    audioOut = AudioParams{};
    audioOut.sampleRate = 44100;
    audioOut.channels = 2;
    audioOut.channelLayout = 3;
    audioOut.timeBase = AVRational{1, 44100};
    audioOut.sampleFormat = AV_SAMPLE_FMT_S16;

    if (vcap->fillVideoParams(videoIn) < 1)
        return true;
    videoOut = videoIn;
    videoOut.timeBase = AVRational{1, 12800};
    videoOut.pixelFormat = AV_PIX_FMT_YUV420P;
    qDebug() << "[MUX]: FRAMERATE: " << videoIn.frameRate.num << "/" << videoIn.frameRate.den;
    limitVideoSize(videoOut.width, videoOut.height, venc->maxWidth, venc->maxHeight);

    int ret = venc->init_video_codec(vcodecName, videoOut, vcodecQuality, vcodecHwaccel);
    if (ret < 0) {
        logStepFailure("[MUX]: enc->init_video_codec failed (%d  %s)", ret);
        runExit(ret, 2);
        return false;
    }
    ret = venc->init_video_filters(videoIn, videoOut, 0, 0, 0, 0);
    if (ret < 0) {
        logStepFailure("[MUX]: enc->init_video_filters failed (%d  %s)", ret);
        runExit(ret, 2);
        return false;
    }
    return true;
}

int ffmpegMux::collectAudioInputs()
{
    int audioInputs = 0;
    if (!runState.micLost && acap->fillAudioParams(audioIn[0]) > 0)
        audioInputs = 1;
    if (runState.sysLost)
        return audioInputs;
    if (disableSys) {
        // Nothing to wait for from system sound.
        asys->ready = true;
    } else if (asys->fillAudioParams(audioIn[audioInputs]) < 1) {
        qWarning() << "[MUX]: waiting for asys->fillAudioParams() timed-out or other issue with system audio capture";
        waitThread(asys, 500, ASYS);
        asys->freeUnused();
        runState.sysLost = true;
    } else {
        ++audioInputs;
    }
    return audioInputs;
}

void ffmpegMux::connectWorkers()
{
    connect(venc, &ffmpegVideoEnc::frameEncoded, this, &ffmpegMux::handleEncodedFrame);
    connect(vcap, &ffmpegVideoCap::passVideoToEnc, venc, &ffmpegVideoEnc::passVideoToEnc);
    venc->start(QThread::InheritPriority);
    connect(vcap, &ffmpegVideoCap::passAudioToMixEnc, amix, &ffmpegAudioMixEnc::passAudioToMixEnc);
    if (!runState.micLost)
        connect(acap, &ffmpegAudioCap::passAudioToMixEnc, amix, &ffmpegAudioMixEnc::passAudioToMixEnc);
    if (!runState.sysLost)
        connect(asys, &pulseAudioLoopback::passAudioToMixEnc, amix, &ffmpegAudioMixEnc::passAudioToMixEnc);
    connect(amix, &ffmpegAudioMixEnc::frameEncoded, this, &ffmpegMux::handleEncodedFrame);
    amix->start(QThread::HighestPriority);
    qDebug() << "[MUX]:"
             << " av threads started...";
}

bool ffmpegMux::sourcesGo(int ticks)
{
    if (vcap->go)
        return true;
    // The microphone's readiness is required even when it was lost, so that
    // case ends here after the wait.
    if (acap->ready && (runState.sysLost || asys->ready) && vcap->ready) {
        qDebug() << "[MUX]: All streams are ready, encoding...";
        if (!runState.micLost)
            acap->go = true;
        if (!runState.sysLost)
            asys->go = true;
        vcap->go = true;
        return true;
    }
    if (ticks > kSourceWaitTicks) {
        qWarning() << "[MUX]: Waiting too long for data appears, failed!";
        runState.reason = 1;
        vcap->abort = true;
        acap->abort = true;
        asys->abort = true;
        running = 0;
    }
    return false;
}

void ffmpegMux::recordLoop(int filtersResult)
{
    int ticks = 0;
    int watchdog = kFirstWatchdogTicks;
    bool firstCheck = true;
    // A stop command is a 0 written to `running`; it takes effect at the next tick.
    while (running) {
        QThread::usleep(kTickUs);
        ++ticks;
        if (!sourcesGo(ticks))
            continue;

        if (!started && vcap->started && venc->started && amix->started) {
            started = 1;
            startTimeMs = QDateTime::currentMSecsSinceEpoch();
            emit recordingStarted(filtersResult);
        }
        if (started && outputContext && ticks > 3) {
            reportDuration();
            ticks = 0;
        }
        if (watchdog > 0)
            --watchdog;
        if (watchdog == 0) {
            watchdogCheck(firstCheck);
            firstCheck = false;
            watchdog = kNextWatchdogTicks;
        }
    }
}

void ffmpegMux::reportDuration()
{
    const qint64 wallSeconds = (QDateTime::currentMSecsSinceEpoch() - startTimeMs) / 1000;
    const qint64 mediaSeconds = secondsOf(videoEndPts, outputContext->streams[0]->time_base);
    emit updateLevelDuration(std::max(wallSeconds, mediaSeconds), acap ? acap->meanLevel : 0.0);
}

void ffmpegMux::watchdogCheck(bool firstCheck)
{
    // The text says 10 s although later periods are 2000 ticks; support reads it as is.
    qDebug().nospace() << "[MUX]: AV Watchdog(10s): V:" << videoPackets << "|" << venc->droppedFrames
                       << ", A:" << audioPackets << ", U:" << otherPackets;

    // Under heavy load the picture threads yield; they get their priority
    // back once the load has clearly dropped.
    if (vcap->priority() == QThread::NormalPriority && cpuLoad > 94) {
        vcap->setPriority(QThread::LowPriority);
        venc->setPriority(QThread::LowPriority);
    } else if (vcap->priority() == QThread::LowPriority && cpuLoad < 80) {
        vcap->setPriority(QThread::NormalPriority);
        venc->setPriority(QThread::NormalPriority);
    }
    venc->droppedFrames = 0;

    if (firstCheck) {
        // The first period includes encoder start-up; nothing is judged.
    } else if (videoPackets < 5 && !g_desktopSwitched) {
        qWarning() << "[MUX]: Video capture is too slow, ending!";
        runState.reason = 0;
        vcap->abort = true;
        venc->abort = true;
        acap->abort = true;
        asys->abort = true;
        running = 0;
    } else if (audioPackets < 20) {
        qWarning() << "[MUX]: Audio capture is too slow, ending!";
        runState.reason = 1;
        vcap->abort = true;
        venc->abort = true;
        amix->abort = true;
        running = 0;
    }
    videoPackets = 0;
    audioPackets = 0;
    otherPackets = 0;
}

void ffmpegMux::stopSources()
{
    acap->running = 0;
    asys->running = 0;
    asys->stopCapture(); // returns once its loop has ended
    asil->running = 0;
    asil->stopPlayer();
    vcap->running = 0;
}

template <class Encoder>
int ffmpegMux::stopEncoder(Encoder* encoder, unsigned long ms, int bit)
{
    encoder->running = 0;
    {
        QMutexLocker lock(&encoder->queueLock);
        encoder->queueCondition.wakeAll();
    }
    const int result = waitThread(encoder, ms, bit);
    disconnect(encoder, &Encoder::frameEncoded, this, &ffmpegMux::handleEncodedFrame);
    return result;
}

int ffmpegMux::waitForWorkers()
{
    const int reason = runState.reason;
    qDebug() << "[MUX]: wait threads reason:" << reason << "... AVG CPU:" << cpuLoad;
    // After a watchdog end the threads get short waits, longer under load; an
    // ordinary stop allows each one its full drain.
    unsigned long waitSource = 2000, waitAmix = 5000, waitVcap = 5000, waitVenc = 10000, waitAsil = 1000;
    if (reason < 2) {
        const unsigned long base = cpuLoad >= 95 ? 2000 : cpuLoad >= 90 ? 1000 : 500;
        waitSource = waitVcap = waitAsil = base;
        waitAmix = waitVenc = 2 * base;
    }

    // Sources end first, then each encoder drains after its sources are gone,
    // and sound ends before the picture.
    int mask = waitThread(acap, waitSource, ACAP);
    disconnect(acap, &ffmpegAudioCap::passAudioToMixEnc, amix, &ffmpegAudioMixEnc::passAudioToMixEnc);
    mask |= waitThread(asys, waitSource, ASYS);
    disconnect(asys, &pulseAudioLoopback::passAudioToMixEnc, amix, &ffmpegAudioMixEnc::passAudioToMixEnc);
    mask |= stopEncoder(amix, waitAmix, AMIX);
    mask |= waitThread(vcap, waitVcap, VCAP);
    disconnect(vcap, &ffmpegVideoCap::passVideoToEnc, venc, &ffmpegVideoEnc::passVideoToEnc);
    disconnect(vcap, &ffmpegVideoCap::passAudioToMixEnc, amix, &ffmpegAudioMixEnc::passAudioToMixEnc);
    mask |= stopEncoder(venc, waitVenc, VENC);
    if (!runState.asilDied)
        mask |= waitThread(asil, waitAsil, ASIL);
    return mask;
}
