#include "pulseAudioSilence.h"

#include <QDebug>
#include <QMutexLocker>

namespace {
constexpr unsigned long kPeriodMs = 10;
} // namespace

pulseAudioSilence::pulseAudioSilence(QObject* parent)
    : QThread(parent)
{
}

pulseAudioSilence::~pulseAudioSilence()
{
    running = 0;
    wait();
}

void pulseAudioSilence::stopPlayer()
{
    clientStarted = false;
}

void pulseAudioSilence::freeUnused()
{
    qDebug() << "[WPLY]: "
             << "freeUnused";
    QMutexLocker lock(&clientLock);
    deviceOpen = false;
}

// The monitor source delivers during silence by itself; this thread only
// holds its place in the start and stop order of a recording.
void pulseAudioSilence::run()
{
    running = 1;
    started = 0;
    openResult = -1;
    QMutexLocker lock(&clientLock);
    deviceOpen = true;
    openResult = 1;
    qDebug() << "[WPLY]: Running...";
    clientStarted = true;
    unsigned long long runs = 0;
    while (running && clientStarted) {
        started = 1;
        ++runs;
        QThread::msleep(kPeriodMs);
    }
    qDebug("[WPLY]: Stopped after %llu runs...", runs);
    started = 0;
    clientStarted = false;
}
