#pragma once

#include "FFmpegResources.h"

#include <QThread>

// Live microphone level while no recording runs: opens an audio input,
// decodes it and measures the mean level of every frame into `meanLevel`,
// which a polling timer reads without a lock (levelPercent turns it into the
// percent shown). The microphone must be free for a recording, so the owner
// stops this thread before a session starts.
//
// Use: setDevice (or open_input_device with the name), start; stop by
// clearing `running` and waiting. run opens the input itself when the owner
// has not opened it yet.
class ffAudioMonitor : public QThread
{
    Q_OBJECT
public:
    explicit ffAudioMonitor(QObject* parent = nullptr);
    // Clears the flags and makes sure the thread has ended.
    ~ffAudioMonitor() override;

    // Copies the input name ("audio=<source>", or one beginning "anullsrc").
    void setDevice(const char* name);
    // Opens the input named by `name` (null: the stored device). Result: the
    // stream count, 0 without streams, or a negative error.
    int open_input_device(const char* name = nullptr);
    // Clears abort, started, mute, ready, and sets level back to 100.
    void freeUnused();

    // The level shown for a mean level: 0 at or below -60 dB (and for 0.000001
    // or less), 100 above 0 dB, linear in dB between; truncated, 0..100.
    static int levelPercent(double meanLevel);

    qint64 abort = 0;
    int running = 0;
    int started = 0;
    double meanLevel = 0.0; // 0..1, written by this thread only
    bool mute = false;
    int level = 100; // percent
    bool ready = false;
    char device[1024] = {0};
    InputFormatContextPtr inputContext;
    CodecContextPtr decoder;

protected:
    void run() override;

private:
    int openInput();
    void closeInput();
    void measure(AVFrame* frame);
};
