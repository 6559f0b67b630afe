#pragma once

#include <QMutex>
#include <QThread>

// Keeps the system sound stream alive while nothing plays. A PulseAudio
// monitor source delivers during silence by itself, so this thread only
// reports `started` and waits for stopPlayer; it keeps its place in the
// session's start and stop order.
class pulseAudioSilence : public QThread
{
    Q_OBJECT
public:
    explicit pulseAudioSilence(QObject* parent = nullptr);
    ~pulseAudioSilence() override;

    void stopPlayer();
    void freeUnused();

    int running = 0;
    int started = 0;
    bool ready = false; // unused here; every worker carries the five flags
    bool go = false;    // unused here
    bool abort = false; // unused here
    bool deviceOpen = false;
    bool clientStarted = false;
    QMutex clientLock;
    int openResult = -1;

protected:
    void run() override;
};
