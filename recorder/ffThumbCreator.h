#pragma once

#include "FFmpegResources.h"

#include <QImage>
#include <QMutex>
#include <QSize>
#include <QString>
#include <QThread>
#include <QWaitCondition>
#include <memory>
#include <vector>

struct gifWriter;

// Makes the two previews of a recording while it runs: a JPEG of the first
// frame it processes and a looping animated GIF of all frames it is given,
// both in `dir` under `jpgName` and `gifName`. The capture thread hands it
// frames by a direct call; this thread scales, quantises and compresses them
// at low priority with a pause after each, so that capture never waits.
class ffThumbCreator : public QThread
{
    Q_OBJECT

public:
    // The animation file stops growing once it passes this many bytes.
    static constexpr long kMaxGifBytes = 1900000;
    // Hundredths of a second each animation frame is shown.
    static constexpr int kFrameDelay = 20;

    ffThumbCreator(QObject* parent, int maxFrames, int width, int height, AVPixelFormat format);
    ~ffThumbCreator() override;

    // Preview size for a capture size: half of it, or a third when half
    // would be wider than 1024 or taller than 800.
    static QSize previewSize(int width, int height);

    // Asks the thread to finish after the frames it holds: clears `running`
    // and wakes it under `lock`.
    void finish();

    int srcWidth = 0;
    int srcHeight = 0;
    int running = 0;
    AVPixelFormat srcFormat = AV_PIX_FMT_NONE;
    QString jpgName;
    QString gifName;
    QString dir;
    int processed = 0;
    QWaitCondition condition;
    QMutex lock;
    SwsContextPtr scaler;
    std::unique_ptr<::gifWriter> gifWriter;
    QImage image;
    int maxFrames = 15;
    int collected = 0;
    std::vector<FramePtr> frames; // maxFrames + 2 entries
    int dstWidth = 0;
    int dstHeight = 0;
    int dstLinesize[4] = {0, 0, 0, 0};

public slots:
    // Takes a copy of an AVFrame of the capture size; the caller keeps f.
    void passFrameToThumbCreator(void* f);

protected:
    void run() override;

private:
    void processFrame(FramePtr frame, bool saveStill);
    void freeFrames();
    QString gifPath() const;
};
