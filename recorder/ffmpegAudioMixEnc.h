#pragma once

#include "FFmpegResources.h"
#include "MediaParams.h"

#include <QMutex>
#include <QThread>
#include <QWaitCondition>

// Mixes up to two sound sources and encodes one AAC track. passAudioToMixEnc
// runs on the GUI thread and feeds the graph; the run loop takes blocks of
// 1024 samples out of it, encodes them and emits the packets by frameEncoded.
class ffmpegAudioMixEnc : public QThread
{
    Q_OBJECT
public:
    explicit ffmpegAudioMixEnc(QObject* parent = nullptr);
    ~ffmpegAudioMixEnc() override;

    // Adds the output stream and opens the AAC encoder. 1, or a negative
    // error. Replaces params.sampleFormat by the encoder's when it differs.
    int addToOutput(AVFormatContext* ctx, int streamIndex, AudioParams& params);
    // Builds the mix of `count` inputs into `out`. 0, or a negative error.
    int init_audio_filters(const AudioParams* inputs, int count, const AudioParams& out);
    void freeUnused();

    bool abort = false;
    int bitRate = 64000;
    int streamIndex = 1;
    int running = 0;
    int started = 0;
    bool ready = false; // unused here; every worker carries the five flags
    bool go = false;    // unused here
    AVFilterContext* sinkContext = nullptr;
    AVFilterContext* sourceContexts[2] = {nullptr, nullptr};
    int inputCount = 0;
    FilterGraphPtr filterGraph;
    QWaitCondition queueCondition;
    QMutex queueLock;
    CodecContextPtr codecContext;

public slots:
    void passAudioToMixEnc(void* f, int stream_index);

signals:
    void frameEncoded(void* s);

protected:
    void run() override;

private:
    int encodeFrame(AVFrame* frame);
    bool takePacket(AVPacket* packet);
    void flushEncoder();
};
