// The preview creator fed the way the capture thread feeds it: screen
// pictures in bgr0, every fifth frame from the fifteenth on.

#include "FFmpegResources.h"
#include "TestTools.h"
#include "ffThumbCreator.h"

#include <QElapsedTimer>
#include <QImageReader>
#include <QTemporaryDir>
#include <QtTest>

namespace {

void startCreator(ffThumbCreator& tc, const QString& dir, const char* gif = "rec.mp4.gif",
                  const char* jpg = "rec.mp4.jpg")
{
    tc.dir = dir;
    tc.gifName = gif;
    tc.jpgName = jpg;
    tc.start(QThread::LowPriority);
    QVERIFY(waitUntil([&] { return tc.running == 1; }, 5000));
}

// A screen picture in bgr0: with `noise`, pseudo-random colours seeded by `n`
// (the worst case for the animation's size), else a gradient shifted by `n`.
FramePtr picture(int w, int h, quint32 n, bool noise = false)
{
    FramePtr f(av_frame_alloc());
    f->width = w;
    f->height = h;
    f->format = AV_PIX_FMT_BGR0;
    av_frame_get_buffer(f.get(), 0);
    quint32 seed = n;
    for (int y = 0; y < h; ++y) {
        uint8_t* row = f->data[0] + y * f->linesize[0];
        for (int x = 0; x < w * 4; ++x) {
            seed = seed * 1664525u + 1013904223u;
            row[x] =
                noise ? uint8_t(seed >> 24) : uint8_t(x % 4 == 1 ? quint32(y * 255 / h) : (x / 4 + n * 8) * 255 / w);
        }
    }
    return f;
}

bool endsWithTrailer(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) && f.size() > 0 && f.readAll().endsWith(';');
}

// Frames of a GIF as Qt's decoder reads them; -1 when the file does not end with its trailer.
int gifFrames(const QString& path)
{
    if (!endsWithTrailer(path))
        return -1;
    QImageReader reader(path, "gif");
    int frames = 0;
    while (reader.canRead() && !reader.read().isNull())
        ++frames;
    return frames;
}

} // namespace

class TestThumbCreator : public QObject
{
    Q_OBJECT

private slots:
    // Every case gets a folder of its own.
    void init()
    {
        tempDir.reset(new QTemporaryDir());
        QVERIFY(tempDir->isValid());
    }

    void sizeRule_data()
    {
        QTest::addColumn<QSize>("capture");
        QTest::addColumn<QSize>("preview");
        QTest::newRow("4k") << QSize(3840, 2160) << QSize(1280, 720);
        QTest::newRow("full hd") << QSize(1920, 1080) << QSize(960, 540);
        QTest::newRow("largest half") << QSize(2048, 1600) << QSize(1024, 800);
        QTest::newRow("too wide for half") << QSize(2050, 1600) << QSize(683, 533);
        QTest::newRow("too tall for half") << QSize(1000, 1602) << QSize(333, 534);
        QTest::newRow("odd") << QSize(1365, 767) << QSize(682, 383);
    }
    void sizeRule()
    {
        QFETCH(QSize, capture);
        QFETCH(QSize, preview);
        QCOMPARE(ffThumbCreator::previewSize(capture.width(), capture.height()), preview);
    }

    void previewsOfARecording()
    {
        auto* tc = new ffThumbCreator(nullptr, 15, 640, 360, AV_PIX_FMT_BGR0);
        startCreator(*tc, dir().path());

        // Like the capture thread at 25 frames per second.
        for (int n = 0; n <= 90; ++n) {
            if (n % 5 == 0 && n / 5 >= 3 && n / 5 <= 18)
                tc->passFrameToThumbCreator(picture(640, 360, n).get());
            if (n == 90)
                tc->finish();
            QThread::msleep(40);
        }
        tc->setPriority(QThread::HighestPriority);
        QVERIFY(tc->wait(10000));
        delete tc;

        QImageReader jpg(dir().filePath("rec.mp4.jpg"));
        QCOMPARE(jpg.format(), QByteArray("jpeg"));
        const QImage still = jpg.read();
        QCOMPARE(still.size(), QSize(320, 180));

        const QString gifPath = dir().filePath("rec.mp4.gif");
        QCOMPARE(gifFrames(gifPath), 16);
        QImageReader gif(gifPath, "gif");
        QCOMPARE(gif.size(), QSize(320, 180));
        const QImage firstFrame = gif.read().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(gif.nextImageDelay(), 200);

        // The still and the first animation frame show the same picture.
        const QImage stillRgb = still.convertToFormat(QImage::Format_RGB32);
        long long diff = 0;
        for (int y = 0; y < 180; ++y)
            for (int x = 0; x < 320; ++x) {
                const QRgb a = stillRgb.pixel(x, y), b = firstFrame.pixel(x, y);
                diff += qAbs(qRed(a) - qRed(b)) + qAbs(qGreen(a) - qGreen(b)) + qAbs(qBlue(a) - qBlue(b));
            }
        QVERIFY2(diff / (320 * 180 * 3) < 20, qPrintable(QString::number(diff / (320 * 180 * 3))));
        for (int i = 1; i < 16; ++i) {
            QVERIFY(!gif.read().isNull());
            QCOMPARE(gif.nextImageDelay(), 200);
        }
    }

    void wrongFramesAreIgnored()
    {
        ffThumbCreator tc(nullptr, 15, 640, 480, AV_PIX_FMT_BGR0);
        // Before the thread runs nothing is taken.
        tc.passFrameToThumbCreator(picture(640, 480, 0).get());
        startCreator(tc, dir().path());
        tc.passFrameToThumbCreator(picture(320, 240, 0).get()); // into a 640x480 creator
        FramePtr empty(av_frame_alloc());
        empty->width = 640;
        empty->height = 480;
        tc.passFrameToThumbCreator(empty.get()); // no data
        tc.finish();
        QVERIFY(tc.wait(5000));
        // No frames: a GIF of no frames and no JPEG.
        QVERIFY(!QFile::exists(dir().filePath("rec.mp4.jpg")));
        QCOMPARE(gifFrames(dir().filePath("rec.mp4.gif")), 0);
    }

    void largeNoisyFrames()
    {
        const int w = 1920, h = 1080;
        const QString gifPath = dir().filePath("rec.mp4.gif");
        auto* tc = new ffThumbCreator(nullptr, 15, w, h, AV_PIX_FMT_BGR0);
        startCreator(*tc, dir().path());
        for (int i = 0; i < 16; ++i) {
            tc->passFrameToThumbCreator(picture(w, h, quint32(i + 1), true).get());
            if (i == 0)
                QVERIFY(waitUntil([&] { return tc->processed == 1; }, 10000));
        }
        tc->finish();
        QVERIFY(tc->wait(60000));
        const int processed = tc->processed;
        delete tc;
        const qint64 size = QFileInfo(gifPath).size();
        QVERIFY2(processed > 1 && processed < 16, qPrintable(QString::number(processed)));
        QVERIFY2(size > ffThumbCreator::kMaxGifBytes, qPrintable(QString::number(size)));
        // It stops at the first frame that crosses the limit.
        QVERIFY(size - qint64(size / processed) <= ffThumbCreator::kMaxGifBytes);
        QCOMPARE(gifFrames(gifPath), processed);
        QVERIFY(QFile::exists(dir().filePath("rec.mp4.jpg")));

#ifdef __SANITIZE_ADDRESS__
        return; // its stack checks can't follow the unwinding of a terminated thread
#endif
        // These frames keep the thread busy longer than the destructor waits,
        // so it is terminated and the file is closed for it.
        QVERIFY(QFile::remove(gifPath));
        tc = new ffThumbCreator(nullptr, 15, w, h, AV_PIX_FMT_BGR0);
        startCreator(*tc, dir().path());
        for (int i = 0; i < 6; ++i)
            tc->passFrameToThumbCreator(picture(w, h, quint32(100 + i), true).get());
        QVERIFY(waitUntil([&] { return tc->processed >= 1; }, 10000));
        delete tc;
        QVERIFY(endsWithTrailer(gifPath));
    }

    void deletedWhileRunningLeavesValidFiles()
    {
        auto* tc = new ffThumbCreator(nullptr, 15, 400, 300, AV_PIX_FMT_BGR0);
        startCreator(*tc, dir().path());
        tc->passFrameToThumbCreator(picture(400, 300, 0).get());
        QVERIFY(waitUntil([&] { return tc->processed == 1; }, 10000));
        tc->passFrameToThumbCreator(picture(400, 300, 1).get());
        delete tc; // deleted before anyone asked it to finish

        const QString gifPath = dir().filePath("rec.mp4.gif");
        QVERIFY(gifFrames(gifPath) >= 1);
        QCOMPARE(QImageReader(dir().filePath("rec.mp4.jpg")).size(), QSize(200, 150));
    }

    void unwritableGifStillGivesJpeg()
    {
        ffThumbCreator tc(nullptr, 15, 320, 200, AV_PIX_FMT_BGR0);
        startCreator(tc, dir().path(), "no/such/folder/rec.gif", "rec.jpg");
        tc.passFrameToThumbCreator(picture(320, 200, 0).get());
        QVERIFY(waitUntil([&] { return tc.processed == 1; }, 10000));
        tc.finish();
        QVERIFY(tc.wait(5000));
        QCOMPARE(QImageReader(dir().filePath("rec.jpg")).size(), QSize(160, 100));
    }

private:
    std::unique_ptr<QTemporaryDir> tempDir;
    QTemporaryDir& dir()
    {
        return *tempDir;
    }
};

QTEST_GUILESS_MAIN(TestThumbCreator)
#include "test_thumbcreator.moc"
