#pragma once

#include "MediaParams.h"

#include <QMutex>
#include <QString>
#include <QThread>
#include <memory>

class SystemSoundSource;

// Records what the machine plays, the monitor of the sound server's default
// sink as 16-bit samples at the sink's rate, and hands it to the mixer as
// input 1 in blocks as they arrive (about 10 ms). A name beginning with
// "lavfi:" reads a lavfi graph instead (a test tone, paced to real time).
// When the source cannot be opened the user gets audioPopup, `deviceOpen`
// stays clear and fillAudioParams gives 0 after 500 ms, so the session goes
// on without system sound.
class pulseAudioLoopback : public QThread
{
    Q_OBJECT
public:
    explicit pulseAudioLoopback(QObject* parent = nullptr);
    ~pulseAudioLoopback() override;

    // Waits up to 500 ms for the device to open. 1 with its parameters, else 0.
    int fillAudioParams(AudioParams& out);
    // Blocks until run has left its loop. 0, or -1.
    int stopCapture();
    void freeUnused();
    // Duplicates the input name into `device`.
    void setDevice(const char* name);

    double meanLevel = 0.0;
    bool mute = false;
    int level = 100; // percent; only 0 versus not 0 counts here
    int started = 0;
    bool abort = false;
    QString name = QStringLiteral("[ASYS]:");
    bool ready = false;
    bool go = false;
    int running = 0;
    char* device = nullptr;
    bool deviceOpen = false;
    bool clientStarted = false;
    QMutex clientLock; // held by run for its whole life
    int openResult = -1;
    AudioParams format; // what the opened source delivers

signals:
    // Always stream index 1.
    void passAudioToMixEnc(void* frame, int stream_index);
    // Always device 1.
    void audioPopup(int devid, QString msg);

protected:
    void run() override;

private:
    int openDevice();
    int packetStep();

    std::unique_ptr<SystemSoundSource> source;
};
