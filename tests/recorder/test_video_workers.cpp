// The video capture and encoder threads driven directly: a lavfi test
// picture through the filter graph into libx264, the queue limit between the two, the choice of
// encoder and the table of those that open here, and the X display input (whose frames the screen
// capture test records).

#include "RecorderTestSupport.h"
#include "ffmpegVCodecTest.h"
#include "ffmpegVideoCap.h"
#include "ffmpegVideoEnc.h"

#include <QFile>
#include <QGuiApplication>
#include <QScreen>
#include <QTemporaryDir>
#include <QtTest>

namespace {
const char* const kTestPicture = "lavfi:testsrc2=size=320x240:rate=25";
constexpr AVRational kOutputTimeBase{1, 12800};

// The capture opened on the test picture, and an encoder set up for it the way a recording sets them up.
struct VideoChain
{
    ffmpegVideoCap cap;
    ffmpegVideoEnc enc;
    OutputFormatContextPtr output = streamOnlyOutput();
    VideoParams in;
    VideoParams out;

    bool open(int outWidth, int outHeight, int cropX = 0, int cropY = 0, int cropW = 0, int cropH = 0)
    {
        if (cap.open_input_device(kTestPicture) < 1 || cap.fillVideoParams(in) != 1)
            return false;
        out = in;
        out.timeBase = kOutputTimeBase;
        out.pixelFormat = AV_PIX_FMT_YUV420P;
        out.width = outWidth;
        out.height = outHeight;
        return enc.init_video_codec("", out, -1, false) == 1 && enc.addToOutput(output.get(), 0, out) == 1
               && enc.init_video_filters(in, out, cropX, cropY, cropW, cropH) == 0;
    }

    // Starts capture and lets frames through once the input is ready.
    bool startCapture()
    {
        QObject::connect(&cap, &ffmpegVideoCap::passVideoToEnc, &enc, &ffmpegVideoEnc::passVideoToEnc);
        cap.start();
        if (!QTest::qWaitFor([&] { return cap.ready; }, 5000))
            return false;
        cap.go = true;
        return true;
    }

    void stop()
    {
        stopSource(&cap);
        stopEncoder(&enc);
        cap.freeUnused();
        enc.freeUnused();
    }
};

QString rowText(const ffmpegVCodecTest::CodecRow& row)
{
    return QString("%1 hw:%2 %3/%4")
        .arg(row.codec)
        .arg(row.isHw)
        .arg(row.maxres ? "Y" : "N")
        .arg(row.fallback1080 ? "Y" : "N");
}

// Writes the encoder's stream headers and the packets as a raw H.264 file.
bool writeElementaryStream(const QString& path, const AVCodecParameters* stream, const std::vector<PacketPtr>& packets)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(reinterpret_cast<const char*>(stream->extradata), stream->extradata_size);
    for (const PacketPtr& p : packets)
        file.write(reinterpret_cast<const char*>(p->data), p->size);
    return true;
}
} // namespace

class TestVideoWorkers : public QObject
{
    Q_OBJECT

private slots:
    void encodesTestPicture_data()
    {
        QTest::addColumn<int>("outWidth");
        QTest::addColumn<int>("outHeight");
        QTest::addColumn<int>("cropW");
        QTest::addColumn<int>("cropH");
        QTest::newRow("scaled") << 240 << 180 << 0 << 0;
        QTest::newRow("cropped") << 160 << 120 << 160 << 120;
    }

    void encodesTestPicture()
    {
        QFETCH(int, outWidth);
        QFETCH(int, outHeight);
        QFETCH(int, cropW);
        QFETCH(int, cropH);
        VideoChain chain;
        QVERIFY(chain.open(outWidth, outHeight, 8, 8, cropW, cropH));
        QCOMPARE(QList<int>({chain.in.width, chain.in.height, chain.in.frameRate.num}), QList<int>({320, 240, 25}));
        QCOMPARE(chain.enc.codecName, QString("libx264"));

        PacketSink sink(&chain.enc);
        chain.enc.start();
        QVERIFY(chain.startCapture());
        QTRY_VERIFY_WITH_TIMEOUT(sink.packets.size() >= 5, 8000);
        chain.stop();
        // The flush at the end gives back every frame the encoder still held.
        QTRY_COMPARE(int64_t(sink.packets.size()), chain.enc.outFrames);
        const AVPacket* first = sink.packets.front().get();
        QVERIFY(first->flags & AV_PKT_FLAG_KEY);
        int64_t lastPts = -1;
        for (const PacketPtr& p : sink.packets) {
            QCOMPARE(p->stream_index, 0);
            QCOMPARE(p->time_base.den, kOutputTimeBase.den);
            QVERIFY(p->pts > lastPts);
            QVERIFY(p->duration > 0);
            lastPts = p->pts;
        }
        // 25 frames a second in a 1/12800 time base: 512 ticks per frame.
        QCOMPARE(sink.packets[1]->pts - sink.packets[0]->pts, int64_t(512));

        QTemporaryDir dir;
        const QString path = dir.filePath("picture.h264");
        QVERIFY(writeElementaryStream(path, chain.output->streams[0]->codecpar, sink.packets));
        // ffprobe gives the values in its own order.
        QCOMPARE(probeStreamValue(path, "codec_name,profile,width,height,pix_fmt").split('\n'),
                 QStringList({"h264", "Main", QString::number(outWidth), QString::number(outHeight), "yuv420p"}));
    }

    void refusesFramesBeyondQueueLimit()
    {
        VideoChain chain;
        QVERIFY(chain.open(320, 240));
        PacketSink sink(&chain.enc);
        // The encoder accepts frames but its loop does not run: nothing drains the graph.
        chain.enc.running = 1;
        QVERIFY(chain.startCapture());
        QTRY_VERIFY_WITH_TIMEOUT(chain.enc.droppedFrames >= 5, 5000);
        QCOMPARE(chain.enc.queued, 16);
        QCOMPARE(chain.enc.inFrames, int64_t(16));

        // Once the loop runs the queue drains and the held frames come out encoded.
        chain.enc.start();
        QTRY_VERIFY_WITH_TIMEOUT(chain.enc.queued < 16 && !sink.packets.empty(), 5000);
        chain.stop();
    }

    // With no frame ever fed the loop still reports itself started (the session waits for that), and a
    // stop wakes it from its wait on the empty queue.
    void stopsWhileWaitingForFrames()
    {
        VideoChain chain;
        QVERIFY(chain.open(320, 240));
        chain.enc.start();
        QTRY_VERIFY(chain.enc.started);
        QVERIFY(stopEncoder(&chain.enc));
        QCOMPARE(chain.enc.outFrames, int64_t(0));
        chain.stop();
    }

    void picksEncoderAndBitRate()
    {
        ffmpegVideoEnc enc;
        VideoParams params;
        params.width = 1920;
        params.height = 1200;
        params.timeBase = kOutputTimeBase;
        params.frameRate = AVRational{25, 1};
        params.sampleAspectRatio = AVRational{1, 1};
        params.pixelFormat = AV_PIX_FMT_YUV420P;

        enc.bitrateFactor = 2100;
        QCOMPARE(enc.init_video_codec("no_such_encoder", params, 75, false), 1);
        QCOMPARE(enc.codecName, QString("libx264")); // the last of the fallbacks present here
        QVERIFY(qAbs(enc.bitRate - 3187575) < 4);
        QCOMPARE(QList<int>({enc.codecContext->qmin, enc.codecContext->qmax}), QList<int>({16, 41}));
        QCOMPARE(enc.codecContext->rc_max_rate, int64_t(enc.bitRate + enc.bitRate * 30 / 100));

        params.width = 1280;
        params.height = 800;
        enc.bitrateFactor = 1100;
        QCOMPARE(enc.init_video_codec("libx264", params, -1, false), 1);
        QVERIFY(qAbs(enc.bitRate - 1113121) < 4);
        QCOMPARE(enc.quality, -1);
        QCOMPARE(QList<int>({enc.codecContext->qmin, enc.codecContext->qmax}), QList<int>({10, 51})); // no quality rule
        QCOMPARE(enc.init_video_codec("libx264", params, -7, false), 1);
        QCOMPARE(enc.quality, 40);
    }

    // The encoder table: which H.264 encoders open on this machine, at the largest screen and at 1080p.
    void codecTableOnThisMachine()
    {
        QSize largest(1920, 1080);
        for (QScreen* screen : QGuiApplication::screens())
            largest = largest.expandedTo(screen->geometry().size());
        QCOMPARE(ffmpegVCodecTest::maxDisplaySize(), largest);

        ffmpegVCodecTest test;
        test.start();
        QVERIFY(test.wait(60000));

        // The platform's own encoder does not exist here, so neither of its rows
        // opens; the software encoder opens at the screen's size and so is not tried again at 1080p.
        QStringList rows;
        for (const auto& row : test.codecs)
            rows << rowText(row);
        QCOMPARE(rows.at(0), QString("h264_mf hw:1 N/N"));
        QCOMPARE(rows.at(1), QString("h264_mf hw:0 N/N"));
        if (!avcodec_find_encoder_by_name("libopenh264"))
            QCOMPARE(rows.at(2), QString("libopenh264 hw:0 N/N"));
        QCOMPARE(rows.at(3), QString("libx264 hw:0 Y/N"));
        QVERIFY(test.codecs[3].usable());
        QVERIFY(!test.codecs[0].usable());

        // No encoder takes a picture this large: the retry at 1920x1080 works, and a
        // later run tests every row again from scratch.
        test.testAll(QSize(20000, 20000));
        QCOMPARE(rowText(test.codecs[3]), QString("libx264 hw:0 N/Y"));
        test.testAll(QSize(1280, 720));
        QCOMPARE(rowText(test.codecs[3]), QString("libx264 hw:0 Y/N"));
    }
    void opensXDisplayAfterDesktopDuplicationFails()
    {
        const QByteArray display = qgetenv("DISPLAY");
        if (display.isEmpty())
            QSKIP("needs an X display");
        ffmpegVideoCap cap;
        cap.useDdagrab = true;
        cap.setCaptureParams(16, 32, 320, 200);
        QVERIFY(cap.open_input_device(display.constData()) >= 1);
        QVERIFY(!cap.useDdagrab);
        VideoParams params;
        QCOMPARE(cap.fillVideoParams(params), 1);
        QCOMPARE(QSize(params.width, params.height), QSize(320, 200));
        cap.freeUnused();
        QVERIFY(!cap.inputContext);
    }

    void reportsBadInput()
    {
        ffmpegVideoCap cap;
        QVERIFY(cap.open_input_device(":987") < 0);
        QVERIFY(cap.open_input_device("lavfi:no_such_filter") < 0);
        VideoParams params;
        QCOMPARE(cap.fillVideoParams(params), 0);

        // A frame without picture data is refused and freed, not fed to the graph.
        ffmpegVideoEnc enc;
        enc.running = 1;
        enc.passVideoToEnc(av_frame_alloc(), 0);
        QCOMPARE(enc.queued, 0);
        QCOMPARE(enc.inFrames, int64_t(0));
    }
};

QTEST_MAIN(TestVideoWorkers)
#include "test_video_workers.moc"
