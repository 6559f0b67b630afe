#pragma once

#include "FFmpegResources.h"
#include "HighlightPainter.h"
#include "MediaParams.h"

#include <QMutex>
#include <QString>
#include <QThread>
#include <QWaitCondition>

// Turns captured frames into H.264 packets. passVideoToEnc runs on the GUI
// thread and feeds the filter graph (at most 16 frames stand in it); the run
// loop drains the graph, encodes, and emits every packet by frameEncoded.
// With highlightMouse the highlight boxes a frame carries are painted onto it
// on its way into the graph.
class ffmpegVideoEnc : public QThread
{
    Q_OBJECT
public:
    explicit ffmpegVideoEnc(QObject* parent = nullptr);
    ~ffmpegVideoEnc() override;

    // 1, or a negative error. May change params.pixelFormat to what the encoder takes.
    int init_video_codec(QString preferVideoCodec, VideoParams& params, int quality, bool forceHWAccel);
    // 0, or a negative error. x, y, w, h: crop rectangle, all 0 for none.
    int init_video_filters(const VideoParams& in, VideoParams& out, int x, int y, int w, int h);
    // Adds the output stream and opens the encoder at the size of params. 1, or a negative error.
    int addToOutput(AVFormatContext* ctx, int streamIndex, VideoParams& params);
    int addToOutput_crop(AVFormatContext* ctx, int streamIndex, int width, int height);
    void freeUnused();

    bool highlightMouse = false;
    bool abort = false;
    int bitRate = 256000;
    int bitrateFactor = 1100;
    int maxWidth = 1920;
    int maxHeight = 1200;
    int streamIndex = 0;
    int running = 0;
    int started = 0;
    bool ready = false; // unused here; every worker carries the five flags
    bool go = false;    // unused here
    int queued = 0;
    int64_t inFrames = 0;
    int64_t outFrames = 0;
    int64_t lastFramePts = -1;
    int64_t lastPacketPts = -1;
    AVFilterContext* sinkContext = nullptr;
    AVFilterContext* sourceContext = nullptr;
    FilterGraphPtr filterGraph;
    int droppedFrames = 0;
    QString codecName;
    int quality = -1;
    bool forceHWAccel = false;
    QWaitCondition queueCondition;
    QMutex queueLock;
    CodecContextPtr codecContext;
    const AVCodec* codec = nullptr;

public slots:
    void passVideoToEnc(void* f, int stream_index);

signals:
    void frameEncoded(void* s);

protected:
    void run() override;

private:
    int encodeFrame(AVFrame* frame);
    bool takePacket(AVPacket* packet);
    void flushEncoder();

    HighlightPainter highlightPainter;
};
