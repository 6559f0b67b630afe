#pragma once

#include "FFmpegResources.h"
#include "MediaParams.h"

#include <QString>
#include <QThread>

// Captures the microphone: opens an input, decodes it, regroups the sound in
// blocks of 4096 samples, applies mute and level, measures the mean level and
// hands the blocks to the mixer once the session has set `go`.
//
// Input names: "audio=<source>" is a PulseAudio source; a name beginning with
// "anullsrc" is the silent substitute; "lavfi:<graph>" opens a lavfi graph
// (a test tone, paced to real time unless the graph already holds
// "arealtime"). A source that cannot be opened counts as disabled (-5): the
// user gets audioPopup and the silent substitute takes its place.
class ffmpegAudioCap : public QThread {
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
    double meanLevel = 0.0;   // 0..1, of the last block, after mute and level
    bool mute = false;
    int level = 100;          // percent
    QString name = QStringLiteral("[ACAP]:");
    bool ready = false;
    bool go = false;
    InputFormatContextPtr inputContext;
    CodecContextPtr decoder;
    FilterGraphPtr filterGraph;
    AVFilterContext* sourceContext = nullptr;
    AVFilterContext* sinkContext = nullptr;

signals:
    // Stream index 1 when `name` is "[ASYS]:", else 0.
    void passAudioToMixEnc(void* frame, int stream_index);
    void audioPopup(int devid, QString msg);

protected:
    void run() override;

private:
    int openInput(const char* format, const char* url, bool substitute);
    int openDecoder();
    int initFilters();
    int feedFrame(AVFrame* frame);
    int getFrameFromFilter(AVFrame** outFrame);
    int streamIndexOut() const;
};
