#include "ffThumbCreator.h"

#include "gifWriter.h"

#include <QDebug>
#include <QFile>
#include <QMutexLocker>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace {
constexpr int kGifBitDepth = 8;
constexpr unsigned long kPauseMs = 100;
constexpr unsigned long kStopWaitMs = 500;
} // namespace

QSize ffThumbCreator::previewSize(int width, int height)
{
    if (width / 2 > 1024 || height / 2 > 800)
        return QSize(width / 3, height / 3);
    return QSize(width / 2, height / 2);
}

ffThumbCreator::ffThumbCreator(QObject* parent, int maxFrames_, int width, int height, AVPixelFormat format)
    : QThread(parent)
    , srcWidth(width)
    , srcHeight(height)
    , srcFormat(format)
    , maxFrames(maxFrames_)
{
    const QSize size = previewSize(width, height);
    dstWidth = size.width();
    dstHeight = size.height();
    av_image_fill_linesizes(dstLinesize, AV_PIX_FMT_RGBA, dstWidth);

    if (width > 0 && height > 0 && dstWidth > 0 && dstHeight > 0)
        scaler.reset(sws_getContext(srcWidth, srcHeight, srcFormat, dstWidth, dstHeight, AV_PIX_FMT_RGBA, SWS_BICUBIC,
                                    nullptr, nullptr, nullptr));
    if (!scaler)
        qWarning() << "[TC]: no scaler for" << width << "x" << height << "format" << int(format);

    image = QImage(qMax(dstWidth, 1), qMax(dstHeight, 1), QImage::Format_RGBA8888);
    image.fill(Qt::black);
    frames.resize(size_t(qMax(maxFrames, 0)) + 2);
    gifWriter = std::make_unique<::gifWriter>();
}

ffThumbCreator::~ffThumbCreator()
{
    if (isRunning()) {
        finish();
        if (!wait(kStopWaitMs)) {
            terminate();
            wait();
        }
    }
    // A terminated thread leaves the animation open: close it so that it
    // stays a valid file with the frames written so far.
    if (isFinished() && gifWriter && gifWriter->isOpen()) {
        running = 0;
        qDebug().nospace() << "[TC]:"
                           << "~ffThumbCreator"
                           << " terminated, but gif not finalized, fixing that";
        gifWriter->end();
    }
    qDebug().nospace() << "[TC]:"
                       << "~ffThumbCreator"
                       << " destroying...";
}

void ffThumbCreator::finish()
{
    running = 0;
    QMutexLocker locker(&lock);
    condition.wakeAll();
}

QString ffThumbCreator::gifPath() const
{
    return dir + "/" + gifName;
}

void ffThumbCreator::passFrameToThumbCreator(void* f)
{
    auto* frame = static_cast<AVFrame*>(f);
    if (!running || collected > maxFrames || !isRunning())
        return;
    if (!frame || !frame->data[0] || frame->width != srcWidth || frame->height != srcHeight) {
        qDebug("[TC]: frame:%p, data:%p, width:%d, height:%d", static_cast<void*>(frame),
               frame ? static_cast<void*>(frame->data[0]) : nullptr, frame ? frame->width : 0,
               frame ? frame->height : 0);
        if (QObject* from = sender())
            qDebug().noquote().nospace() << "[TC]: sender: " << from->objectName();
        else
            qDebug() << "[TC]: sender: none";
        return;
    }

    QMutexLocker locker(&lock);
    if (collected > maxFrames)
        return;
    frames[size_t(collected)].reset(av_frame_clone(frame));
    ++collected;
    condition.wakeAll();
}

// The still image is taken only when the first frame is processed while it
// is the only one collected; a thread that wakes late makes no JPEG.
void ffThumbCreator::processFrame(FramePtr frame, bool saveStill)
{
    if (scaler) {
        uint8_t* dstData[4] = {image.bits(), nullptr, nullptr, nullptr};
        sws_scale(scaler.get(), frame->data, frame->linesize, 0, srcHeight, dstData, dstLinesize);
    }
    frame.reset();
    if (!scaler)
        return;

    if (saveStill && !jpgName.isEmpty()) {
        if (!image.save(dir + "/" + jpgName, "jpg"))
            qDebug() << "[TC]: image.save() error!";
    }
    gifWriter->writeFrame(image.constBits(), dstWidth, dstHeight, kFrameDelay, kGifBitDepth, true);
}

void ffThumbCreator::run()
{
    const QString path = gifPath();
    if (!gifWriter->begin(QFile::encodeName(path).constData(), dstWidth, dstHeight))
        qWarning().noquote() << "[TC]: cannot create" << path;

    running = 1;
    bool capped = false;
    while (running && !capped) {
        {
            QMutexLocker locker(&lock);
            if (collected > maxFrames)
                running = 0;
            else if (running && processed >= collected)
                condition.wait(&lock);
        }
        while (processed < collected) {
            qDebug() << "[TC]:"
                     << "run"
                     << "processed:" << processed << "collected:" << collected;
            FramePtr frame;
            bool onlyFrame = false;
            {
                QMutexLocker locker(&lock);
                frame = std::move(frames[size_t(processed)]);
                onlyFrame = collected == 1;
            }
            processFrame(std::move(frame), onlyFrame);
            ++processed;
            if (gifWriter->size() > kMaxGifBytes) {
                running = 0;
                capped = true;
                break;
            }
            msleep(kPauseMs);
        }
    }

    running = 0;
    gifWriter->end();
    qDebug().nospace() << "[TC]: preview is saved with " << processed << " frames to" << ' ' << path;
    freeFrames();
}

void ffThumbCreator::freeFrames()
{
    QMutexLocker locker(&lock);
    for (FramePtr& frame : frames)
        frame.reset();
}
