#include "ffmpegMux.h"

#include "OutputState.h"
#include "ffmpegAudioCap.h"
#include "ffmpegAudioMixEnc.h"
#include "ffmpegVideoCap.h"
#include "ffmpegVideoEnc.h"
#include "pulseAudioLoopback.h"
#include "pulseAudioSilence.h"

#include <QDebug>

namespace {
// System sound is always the default output's monitor; the name only tells
// the worker which capture to use.
const char* const kSystemSoundInput = "audio={8E146464-DB61-4309-AFA1-3578E927E935}";
} // namespace

ffmpegMux::ffmpegMux()
{
    qDebug() << "[MUX]: ffmpegEncode::ffmpegEncode()...";
    vcap = new ffmpegVideoCap();
    acap = new ffmpegAudioCap();
    asys = new pulseAudioLoopback();
    asil = new pulseAudioSilence();
    amix = new ffmpegAudioMixEnc();
    venc = new ffmpegVideoEnc();
    connect(acap, &ffmpegAudioCap::audioPopup, this, &ffmpegMux::handleAudioPopup);
    connect(asys, &pulseAudioLoopback::audioPopup, this, &ffmpegMux::handleAudioPopup);
    asys->setDevice(kSystemSoundInput);
    asys->name = QStringLiteral("[ASYS]:");
}

ffmpegMux::~ffmpegMux()
{
    qDebug() << "[MUX]: thread destroying...";
    wait();
    for (QThread* worker : std::initializer_list<QThread*>{vcap, acap, asys, asil, amix, venc})
        worker->wait();
    delete venc;
    delete amix;
    delete asil;
    delete asys;
    delete acap;
    delete vcap;
}

ffmpegMux::QualityClass ffmpegMux::qualityClass(int hd_rec)
{
    switch (hd_rec) {
    case 1: return {2100, 128000, 1920, 1200, true};
    case 2: return {3200, 128000, 3840, 2400, true};
    default: return {1100, 64000, 1280, 800, false};
    }
}

void ffmpegMux::limitVideoSize(int& width, int& height, int maxWidth, int maxHeight)
{
    if (width > maxWidth) {
        const int oldW = width, oldH = height;
        height = int(qint64(height) * maxWidth / width);
        width = maxWidth;
        qDebug("[MUX]: video W scaled %dx%d => %dx%d", oldW, oldH, width, height);
    }
    if (height > maxHeight) {
        const int oldW = width, oldH = height;
        width = int(qint64(width) * maxHeight / height);
        height = maxHeight;
        qDebug("[MUX]: video H scaled %dx%d => %dx%d", oldW, oldH, width, height);
    }
    // The encoder's 4:2:0 picture needs even sizes.
    if (width % 2)
        width -= 1;
    if (height % 2)
        height -= 1;
}

void ffmpegMux::setInputOutput(const char* vdev, const char* adev, const QString& out, unsigned int fileId, QString dir,
                               int hd_rec)
{
    qDebug().nospace() << "[MUX]: vdev: " << vdev << "(ddagrab:" << ddagrabInput << "), adev: " << adev
                       << " out: " << out << " hd_rec:" << hd_rec;
    vcap->setDevice(vdev);
    acap->setDevice(adev);
    vcap->clearCounters();
    acap->clearCounters();
    vcap->useDdagrab = ddagrabInput;
    vcap->highlightMouse = highlightMouse;
    venc->highlightMouse = highlightMouse;
    outputDir = dir;
    outputName = out;
    continueFileId = fileId;
    started = 0;
    firstPacketWritten = false;
    vcap->setPreviewPaths(dir, out + ".gif", out + ".jpg");
    outputFormat = {};
    outputFormat.mp4 = true;

    const QualityClass quality = qualityClass(hd_rec);
    venc->bitrateFactor = quality.bitrateFactor;
    amix->bitRate = quality.audioBitRate;
    venc->maxWidth = quality.maxWidth;
    venc->maxHeight = quality.maxHeight;
    if (!quality.keepQuality)
        vcodecQuality = -1;
    qDebug() << "[MUX]: setInputOutput() done";
}

void ffmpegMux::setCaptureParams(int x, int y, int w, int h)
{
    vcap->setCaptureParams(x, y, w, h);
}

void ffmpegMux::setMute(bool val)
{
    micMute = val;
    if (acap)
        acap->mute = val;
    qDebug() << "[MUX]:"
             << "setMute"
             << " MUTE:" << val;
}

void ffmpegMux::setMikeLevel(int val)
{
    micLevel = val;
    if (acap)
        acap->level = val;
    qDebug() << "[MUX]:"
             << "setMikeLevel"
             << " MIKE:" << val;
}

void ffmpegMux::setSys(bool val)
{
    sysMute = val;
    if (asys)
        asys->mute = val;
}

void ffmpegMux::setSysLevel(int val)
{
    sysLevel = val;
    if (asys)
        asys->level = val;
}

void ffmpegMux::handleAudioPopup(int devid, QString msg)
{
    qDebug() << "[MUX]:"
             << "handleAudioPopup"
             << "devid:" << devid << ", msg:" << msg;
    emit AudioPopup(devid, msg);
}

const char* ffmpegMux::componentName(int bit)
{
    switch (bit) {
    case ACAP: return "ACAP";
    case ASYS: return "ASYS";
    case AMIX: return "AMIX";
    case VCAP: return "VCAP";
    case VENC: return "VENC";
    case ASIL: return "ASIL";
    default: return "UNKNOWN";
    }
}

int ffmpegMux::waitThread(QThread* thread, unsigned long ms, int bit)
{
    if (!thread || thread->wait(ms))
        return 0;
    thread->terminate();
    thread->wait();
    // A terminated run never reached the end where it clears its own flag.
    switch (bit) {
    case ACAP: acap->started = 0; break;
    case ASYS: asys->started = 0; break;
    case AMIX: amix->started = 0; break;
    case VCAP: vcap->started = 0; break;
    case VENC: venc->started = 0; break;
    case ASIL: asil->started = 0; break;
    default: break;
    }
    qWarning() << "[MUX]: finalizing" << componentName(bit) << "takes too long, terminating thread.";
    return bit;
}

void ffmpegMux::freeUnused()
{
    qDebug() << "[MUX]: freeUnused()...";
    outputName.clear();
    vcap->freeUnused();
    acap->freeUnused();
    asys->freeUnused();
    amix->freeUnused();
    venc->freeUnused();
    asil->freeUnused();
}

void ffmpegMux::stopStartedSources()
{
    // Sources already started when a later start-up step fails must end before
    // their media state is freed underneath them.
    stopSources();
    waitThread(acap, 2000, ACAP);
    waitThread(asys, 2000, ASYS);
    waitThread(asil, 1000, ASIL);
    waitThread(vcap, 5000, VCAP);
}

void ffmpegMux::runExit(int ret, int reason)
{
    qDebug() << "[MUX]:"
             << "runExit"
             << "ret:" << ret << ", reason:" << reason;
    disconnect(acap, &ffmpegAudioCap::audioPopup, this, &ffmpegMux::handleAudioPopup);
    disconnect(asys, &pulseAudioLoopback::audioPopup, this, &ffmpegMux::handleAudioPopup);
    stopStartedSources();
    releaseOutput();
    started = 0;
    fileId = outputState.fileId;
    emit recordingDone(ret);
    if (reason < 3 || ret == -5)
        emit recordingFailed(reason);
    freeUnused();
}
