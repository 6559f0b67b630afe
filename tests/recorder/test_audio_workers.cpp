// The sound threads driven directly, without a recording session around them.

#include "AudioSampleLevel.h"
#include "AudioToneSupport.h"
#include "ffAudioMonitor.h"
#include "ffmpegAudioCap.h"
#include "ffmpegAudioMixEnc.h"
#include "pulseAudioLoopback.h"
#include "pulseAudioSilence.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>

namespace {
// lavfi's sine has an amplitude of 1/8: mean absolute value 1/(4 pi).
const char* const kTone = "lavfi:sine=frequency=440:sample_rate=44100";
const double kToneMeanLevel = 1.0 / (4 * M_PI);

// Reads sample `i` of a plane of the packed form of `format`, writing `value` first when given.
template <typename T>
double access(uint8_t* data, int i, const double* value)
{
    T* s = reinterpret_cast<T*>(data) + i;
    if (value)
        *s = T(*value);
    return double(*s);
}

double sampleAt(int format, uint8_t* data, int i, const double* value = nullptr)
{
    switch (av_get_packed_sample_fmt(AVSampleFormat(format))) {
    case AV_SAMPLE_FMT_U8: return access<uint8_t>(data, i, value);
    case AV_SAMPLE_FMT_S16: return access<int16_t>(data, i, value);
    case AV_SAMPLE_FMT_S32: return access<int32_t>(data, i, value);
    case AV_SAMPLE_FMT_FLT: return access<float>(data, i, value);
    case AV_SAMPLE_FMT_DBL: return access<double>(data, i, value);
    default: return access<int64_t>(data, i, value);
    }
}
} // namespace

class TestAudioWorkers : public QObject
{
    Q_OBJECT

private slots:
    void sampleLevel_data()
    {
        // The block's last sample afterwards (-1: not checked) and the mean level
        // (-1: not checked); a refused block keeps the mean it had (0.75).
        QTest::addColumn<int>("format");
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("mute");
        QTest::addColumn<int>("level");
        QTest::addColumn<double>("sample");
        QTest::addColumn<double>("mean");
        QTest::newRow("s16") << int(AV_SAMPLE_FMT_S16) << 8192.0 << false << 100 << 8192.0 << 0.25;
        QTest::newRow("s16 doubled") << int(AV_SAMPLE_FMT_S16) << 8192.0 << false << 200 << 16384.0 << 0.5;
        QTest::newRow("s16 clipped") << int(AV_SAMPLE_FMT_S16) << 16384.0 << false << 300 << 32767.0 << -1.0;
        QTest::newRow("s16p lowest") << int(AV_SAMPLE_FMT_S16P) << -32768.0 << false << 150 << -32768.0 << 1.0;
        // Unsigned 8 bits: silence is 128, and the distance from it is what counts.
        QTest::newRow("u8p") << int(AV_SAMPLE_FMT_U8P) << 192.0 << false << 100 << 192.0 << 0.5;
        QTest::newRow("u8p clipped") << int(AV_SAMPLE_FMT_U8P) << 192.0 << false << 400 << 255.0 << -1.0;
        QTest::newRow("u8p muted") << int(AV_SAMPLE_FMT_U8P) << 192.0 << true << 100 << 128.0 << 0.0;
        // 32 bits: full scale reads as one half, and scaling is done in 64 bits.
        QTest::newRow("s32") << int(AV_SAMPLE_FMT_S32) << double(INT32_MAX) << false << 100 << double(INT32_MAX) << 0.5;
        QTest::newRow("s32 halved") << int(AV_SAMPLE_FMT_S32) << double(INT32_MAX) << false << 50
                                    << double(INT32_MAX / 2) << -1.0;
        QTest::newRow("s32 clipped") << int(AV_SAMPLE_FMT_S32) << double(INT32_MAX / 2) << false << 1000
                                     << double(INT32_MAX) << -1.0;
        QTest::newRow("level 0 without mute")
            << int(AV_SAMPLE_FMT_S32) << double(INT32_MAX) << false << 0 << 0.0 << 0.0;
        // Floating samples are not clipped.
        QTest::newRow("fltp") << int(AV_SAMPLE_FMT_FLTP) << -0.5 << false << 100 << -0.5 << 0.5;
        QTest::newRow("fltp tripled") << int(AV_SAMPLE_FMT_FLTP) << -0.5 << false << 300 << -1.5 << -1.0;
        QTest::newRow("dbl muted") << int(AV_SAMPLE_FMT_DBL) << 0.25 << true << 100 << 0.0 << 0.0;
        QTest::newRow("s64 refused") << int(AV_SAMPLE_FMT_S64) << 1000.0 << true << 100 << 1000.0 << 0.75;
    }

    void sampleLevel()
    {
        QFETCH(int, format);
        QFETCH(double, value);
        QFETCH(bool, mute);
        QFETCH(int, level);
        QFETCH(double, sample);
        QFETCH(double, mean);
        FramePtr frame(av_frame_alloc());
        ffSetFrameChannels(frame.get(), 3, 2);
        frame->format = format;
        frame->sample_rate = 44100;
        frame->nb_samples = 64;
        QCOMPARE(av_frame_get_buffer(frame.get(), 0), 0);
        const int planes = av_sample_fmt_is_planar(AVSampleFormat(format)) ? 2 : 1;
        for (int p = 0; p < planes; ++p)
            for (int i = 0; i < 128 / planes; ++i)
                sampleAt(format, frame->extended_data[p], i, &value);

        double measured = 0.75;
        QCOMPARE(AudioSampleLevel::apply(frame.get(), mute, level, measured), format == AV_SAMPLE_FMT_S64 ? -1 : 0);
        QCOMPARE(sampleAt(format, frame->extended_data[planes - 1], 128 / planes - 1), sample);
        if (mean >= 0)
            QVERIFY2(qAbs(measured - mean) < 1e-6, qPrintable(QString::number(measured)));
    }

    void microphoneAppliesMuteAndLevel()
    {
        ffmpegAudioCap cap;
        QCOMPARE(cap.open_input_device(kTone), 1);
        AudioParams params;
        QCOMPARE(cap.fillAudioParams(params), 1);
        QCOMPARE(QList<int>({params.sampleRate, params.channels, params.sampleFormat}),
                 QList<int>({44100, 1, AV_SAMPLE_FMT_S16}));

        // Blocks go out only with `go`, numbered 0 for the microphone, 4096 samples each.
        QList<int> blockSizes;
        QObject receiver;
        connect(&cap, &ffmpegAudioCap::passAudioToMixEnc, &receiver, [&](void* f, int index) {
            AVFrame* frame = static_cast<AVFrame*>(f);
            blockSizes << (index == 0 ? frame->nb_samples : -1);
            av_frame_free(&frame);
        });
        cap.start();
        QTRY_VERIFY_WITH_TIMEOUT(cap.ready && cap.meanLevel > 0, 3000);
        QVERIFY(blockSizes.isEmpty());
        QVERIFY(qAbs(cap.meanLevel - kToneMeanLevel) < kToneMeanLevel * 0.03);
        cap.go = true;
        QTRY_VERIFY_WITH_TIMEOUT(blockSizes.size() >= 2, 3000);
        QCOMPARE(blockSizes.first(), 4096);

        cap.level = 50;
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(cap.meanLevel - kToneMeanLevel / 2) < kToneMeanLevel * 0.03, 3000);
        cap.mute = true;
        QTRY_COMPARE_WITH_TIMEOUT(cap.meanLevel, 0.0, 3000);

        QVERIFY(stopSource(&cap));
        cap.freeUnused();
        QCOMPARE(cap.fillAudioParams(params), 0);
    }

    void unusableInputsEndQuietly()
    {
        // A broken input name is the caller's to handle: no pop-up, no silence put in its place.
        ffmpegAudioCap cap;
        QSignalSpy popups(&cap, &ffmpegAudioCap::audioPopup);
        const int ret = cap.open_input_device("lavfi:orlune_no_such_filter");
        QVERIFY(ret < 0 && ret != AVERROR(EIO));
        QCOMPARE(popups.size(), 0);
        AudioParams params;
        QCOMPARE(cap.fillAudioParams(params), 0);

        // The idle-time meter on a missing source ends its thread without a level.
        ffAudioMonitor monitor;
        QVERIFY(monitor.open_input_device("audio=orlune_no_such_source") < 0);
        monitor.setDevice("audio=orlune_no_such_source");
        monitor.start();
        QVERIFY(monitor.wait(5000));
        QCOMPARE(QList<int>({monitor.running, monitor.started}), QList<int>({0, 0}));
        QCOMPARE(monitor.meanLevel, 0.0);
    }

    void soundServerMonitors()
    {
        if (!haveSoundServer())
            QSKIP("needs the private sound server");
        QTemporaryDir dir;
        QVERIFY(writeToneWav(dir.path() + "/tone.wav", 1000, 30));
        TonePlayer player(dir.path() + "/tone.wav");
        // The name the session gives is not a device: the default sink's monitor is read.
        pulseAudioLoopback system;
        system.setDevice("audio={8E146464-DB61-4309-AFA1-3578E927E935}");
        system.start();
        AudioParams params;
        QCOMPARE(system.fillAudioParams(params), 1);
        QCOMPARE(QList<int>({params.sampleFormat, params.channels, params.sampleRate, params.timeBase.den}),
                 QList<int>({AV_SAMPLE_FMT_S16, 2, 44100, 44100}));

        // Blocks go out as input 1, only with `go`.
        int frames = 0;
        QObject receiver;
        connect(&system, &pulseAudioLoopback::passAudioToMixEnc, &receiver, [&](void* f, int index) {
            AVFrame* frame = static_cast<AVFrame*>(f);
            QCOMPARE(index, 1);
            QCOMPARE(frame->format, int(AV_SAMPLE_FMT_S16));
            ++frames;
            av_frame_free(&frame);
        });
        QTRY_VERIFY_WITH_TIMEOUT(system.ready && system.meanLevel > 0.2, 3000);
        QCOMPARE(frames, 0);
        system.go = true;
        QTRY_VERIFY_WITH_TIMEOUT(frames >= 3, 3000);
        // Only 0 silences (the recording tests hear that): any other level passes the samples unchanged.
        system.level = 30;
        QTest::qWait(500); // several blocks
        QVERIFY(system.meanLevel > 0.2);

        system.running = 0;
        QCOMPARE(system.stopCapture(), 0);
        // stopCapture returned only after the loop had ended.
        QCOMPARE(system.started, 0);
        QCOMPARE(system.clientStarted, false);
        QVERIFY(system.wait(2000));

        // The idle-time meter on that sink's monitor.
        ffAudioMonitor monitor;
        // Opened by its owner first, as the controller does, then started.
        QCOMPARE(monitor.open_input_device("audio=orlune_speakers.monitor"), 1);
        monitor.start(QThread::LowPriority);
        QTRY_VERIFY_WITH_TIMEOUT(monitor.ready && monitor.meanLevel > 0.01, 5000);
        QVERIFY(ffAudioMonitor::levelPercent(monitor.meanLevel) > 30);

        monitor.mute = true;
        QTRY_COMPARE_WITH_TIMEOUT(monitor.meanLevel, 0.0, 3000);
        monitor.level = 0;

        monitor.running = 0;
        QVERIFY(monitor.wait(3000));
        // The end of the run puts mute and level back.
        QCOMPARE(monitor.mute, false);
        QCOMPARE(monitor.level, 100);

        // A second run opens the input itself.
        monitor.start();
        QTRY_VERIFY_WITH_TIMEOUT(monitor.meanLevel > 0.01, 5000);
        monitor.running = 0;
        QVERIFY(monitor.wait(3000));
        monitor.freeUnused();
        QCOMPARE(monitor.ready, false);
    }

    void systemSoundWithoutServerIsDropped()
    {
        const QByteArray server = qgetenv("PULSE_SERVER");
        qputenv("PULSE_SERVER", "unix:/nonexistent/orlune-no-server");
        pulseAudioLoopback system;
        QSignalSpy popups(&system, &pulseAudioLoopback::audioPopup);
        system.setDevice("audio={8E146464-DB61-4309-AFA1-3578E927E935}");
        system.start();
        AudioParams params;
        QCOMPARE(system.fillAudioParams(params), 0);
        QVERIFY(system.wait(3000));
        if (server.isEmpty())
            qunsetenv("PULSE_SERVER");
        else
            qputenv("PULSE_SERVER", server);
        QTRY_COMPARE(popups.size(), 1);
        QCOMPARE(popups[0][0].toInt(), 1);
        QCOMPARE(popups[0][1].toString(), QString("<h1>WARNING: System Sound Recording is DISABLED!</h1>"));
        QCOMPARE(system.stopCapture(), 0);
    }

    void silencePlayerReportsStarted()
    {
        pulseAudioSilence silence;
        silence.start();
        QTRY_VERIFY_WITH_TIMEOUT(silence.started, 2000);
        QVERIFY(!silence.isFinished());
        silence.running = 0;
        silence.stopPlayer();
        QVERIFY(silence.wait(1000));
        QCOMPARE(silence.started, 0);
        silence.freeUnused();
        QVERIFY(!silence.deviceOpen);
    }

    void mixerEncodesBlocksOf1024()
    {
        MixerUnderTest m;
        AudioParams in[1] = {recordingAudioOut()};
        QVERIFY(m.open(in, 1, 0));
        ffmpegAudioMixEnc& mix = m.mix;
        const std::vector<PacketPtr>& packets = m.sink.packets;
        mix.start();
        QTRY_VERIFY(mix.running == 1);

        auto block = [](int64_t pts) {
            AVFrame* f = av_frame_alloc();
            ffSetFrameChannels(f, 3, 2);
            f->sample_rate = 44100;
            f->format = AV_SAMPLE_FMT_S16;
            f->nb_samples = 4096;
            f->pts = pts;
            av_frame_get_buffer(f, 0);
            memset(f->data[0], 0, 4096 * 4);
            return f;
        };
        // A source the mix does not have (the system sound's index with one input) is dropped.
        for (int i = 0; i < 4; ++i)
            mix.passAudioToMixEnc(block(i * 4096), 1);
        QTest::qWait(100);
        QCOMPARE(packets.size(), size_t(0));
        // Four blocks of 4096 leave as sixteen frames of 1024, and the encoder's
        // one frame of priming comes out with the flush.
        for (int i = 0; i < 4; ++i)
            mix.passAudioToMixEnc(block(i * 4096), 0);
        QTRY_VERIFY(packets.size() >= 15);
        QVERIFY(stopEncoder(&mix));
        QTest::qWait(50);
        QCOMPARE(packets.size(), size_t(17));
        for (const PacketPtr& p : packets) {
            QCOMPARE(p->stream_index, 0);
            QCOMPARE(p->duration, int64_t(1024));
        }
    }

    void monitorPercentRule_data()
    {
        QTest::addColumn<double>("meanLevel");
        QTest::addColumn<int>("percent");
        QTest::newRow("nothing") << 0.0 << 0;
        QTest::newRow("negative") << -0.5 << 0;
        QTest::newRow("below -60 dB") << 0.0005 << 0;
        QTest::newRow("-40 dB") << 0.01 << 33;
        QTest::newRow("-20 dB") << 0.1 << 66;
        QTest::newRow("half scale") << 0.5 << 89;
        QTest::newRow("full scale") << 1.0 << 100;
        QTest::newRow("over full scale") << 1.5 << 100;
    }

    void monitorPercentRule()
    {
        QFETCH(double, meanLevel);
        QTEST(ffAudioMonitor::levelPercent(meanLevel), "percent");
    }
};

QTEST_MAIN(TestAudioWorkers)
#include "test_audio_workers.moc"
