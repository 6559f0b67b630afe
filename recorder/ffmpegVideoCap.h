#pragma once

#include "FFmpegResources.h"
#include "MediaParams.h"
#include "MouseHighlight.h"
#include "PointerProbe_x11.h"

#include <QPoint>
#include <QRect>
#include <QString>
#include <QThread>
#include <vector>

class ffThumbCreator;

// Reads screen frames from a capture input, decodes them and hands them to the
// video encoder. The session opens the input on its own thread, then starts
// this one; frames leave only once the session has set `go`.
//
// Input names: "lavfi:<graph>" opens a filter graph of the lavfi device (a
// test picture, paced to real time unless the graph already holds
// "realtime"); any other name is an X display for x11grab (":0.0"), capturing
// the rectangle of setCaptureParams, cut to the screen where it runs over.
// With `useDdagrab` set a Desktop Duplication pass is tried first and falls
// back to x11grab. Frames of an X display carry the pointer's position and
// buttons, asked of the X server per frame, for the mouse highlight.
class ffmpegVideoCap : public QThread
{
    Q_OBJECT
public:
    explicit ffmpegVideoCap(QObject* parent = nullptr);
    ~ffmpegVideoCap() override;

    // Negative error on failure, else 0 or above.
    int open_input_device(const char* device);
    // 1 with the first video decoder's parameters, 0 when there is none.
    int fillVideoParams(VideoParams& out);
    // Releases decoders and input, resets the PTS state between recordings.
    void freeUnused();

    // Duplicates the input name into `device` (the session passes it back to
    // open_input_device).
    void setDevice(const char* name);
    // Clears the per-recording counters and PTS state.
    void clearCounters();
    void setPreviewPaths(const QString& dir, const QString& gifName, const QString& jpgName);
    void setCaptureParams(int x, int y, int w, int h);

    QString previewJpgName;
    QString previewGifName;
    QString previewDir;
    int captureX = 0;
    int captureY = 0;
    int captureW = 0;
    int captureH = 0;
    bool highlightMouse = false;
    bool abort = false;
    int running = 0;
    int started = 0;
    int streamCount = 0;
    InputFormatContextPtr inputContext;
    char* device = nullptr;
    int64_t lastPts = 0;
    bool ptsSeen = false;
    int64_t firstPts = 0;
    uint64_t videoFrameCount = 0;
    bool ready = false;
    int readyCountdown = 10;
    bool go = false;
    int videoStreamIndex = -1;
    ffThumbCreator* thumbCreator = nullptr; // owned; runs only during run()
    std::vector<CodecContextPtr> decoders;  // by stream; null for streams not opened
    bool useDdagrab = false;

signals:
    void passVideoToEnc(void* frame, int stream_index);
    void passAudioToMixEnc(void* frame, int stream_index);
    void frameEncoded(void* s);

protected:
    void run() override;

private:
    QString ddagrabFilter() const;
    // The capture rectangle cut to the root window of the display.
    QRect x11grabRegion(const QByteArray& display) const;
    AVDictionary* x11grabOptions(const QRect& region) const;
    int openStreams();
    // Returns true when the frame was emitted (ownership given away).
    bool handleFrame(AVFrame* frame, int streamIndex);
    void passFrameToThumbCreator(const AVFrame* frame);
    void startThumbCreator();
    void feedThumbCreator(const AVFrame* frame);
    void stopThumbCreator();
    void markPointer(AVFrame* frame);

    QByteArray x11Display; // the X display opened; empty for other inputs
    QPoint grabOrigin;     // top left of what x11grab captures
    PointerProbe pointer;
    bool pointerWarned = false;
    MouseHighlight mouseHighlight;
};
