#pragma once

#include "FFmpegResources.h"
#include "MediaParams.h"
#include "SoundInput.h"

#include <QString>
#include <QThread>

// Captures the microphone: opens an input, decodes it, regroups the sound in
// blocks of 4096 samples, applies mute and level, measures the mean level and
// hands the blocks to the mixer once the session has set `go`.
//
// Input names as SoundInput opens them: "audio=<source>" is a source of the
// sound server, captured in its own format (the graph maps more than two
// channels to the first two and resamples above 48000 Hz); a name beginning
// with "anullsrc" is the silent substitute; "lavfi:<graph>" a test tone. A
// source that is missing or refused counts as disabled (-5): the user gets
// audioPopup and the silent substitute takes its place.
class ffmpegAudioCap : public QThread
{
    Q_OBJECT
public:
    explicit ffmpegAudioCap(QObject* parent = nullptr);
    ~ffmpegAudioCap() override;

    // The stream count (1), or a negative error; -5 only when even the
    // silent substitute could not be opened.
    int open_input_device(const char* device);
    // 1 with the parameters of the blocks that leave this thread, 0 when no input is open.
    int fillAudioParams(AudioParams& out);
    void freeUnused();

    // Duplicates the input name into `device`.
    void setDevice(const char* name);
    // Clears the PTS state and the mean level.
    void clearCounters();

    bool abort = false;
    int running = 0;
    int started = 0;
    char* device = nullptr;
    uint64_t lastPts = 0;
    bool ptsSeen = false;
    int64_t firstPts = 0;
    double meanLevel = 0.0; // 0..1, of the last block, after mute and level
    bool mute = false;
    int level = 100; // percent
    QString name = QStringLiteral("[ACAP]:");
    bool ready = false;
    bool go = false;
    InputFormatContextPtr inputContext;
    CodecContextPtr decoder;
    FilterGraphPtr filterGraph;
    AVFilterContext* sourceContext = nullptr;
    AVFilterContext* sinkContext = nullptr;
    SoundInput::SampleClock sampleClock; // timestamps of a sound server source

signals:
    // Stream index 1 when `name` is "[ASYS]:", else 0.
    void passAudioToMixEnc(void* frame, int stream_index);
    void audioPopup(int devid, QString msg);

protected:
    void run() override;

private:
    int openInput(const char* deviceName);
    int openDecoder();
    int initFilters();
    int feedFrame(AVFrame* frame);
    int getFrameFromFilter(AVFrame** outFrame);
    int streamIndexOut() const;
};
