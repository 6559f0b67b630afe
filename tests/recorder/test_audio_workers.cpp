// The sound threads driven directly: microphone capture with mute and level,
// its silent substitute and its other open errors, the mixer and AAC encoder
// with one and two inputs and its graph and block size, the system sound
// thread on the sound server's monitor, and the silence player.

#include "AudioToneSupport.h"
#include "WorkerTestSupport.h"
#include "ffmpegAudioCap.h"
#include "ffmpegAudioMixEnc.h"
#include "pulseAudioLoopback.h"
#include "pulseAudioSilence.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <algorithm>
#include <cmath>

namespace {
// lavfi's sine has an amplitude of 1/8: mean absolute value 1/(4 pi).
const char* const kTone = "lavfi:sine=frequency=440:sample_rate=44100";
const char* const kSilence = "lavfi:anullsrc=r=44100:cl=mono";
const double kToneMeanLevel = 1.0 / (4 * M_PI);

} // namespace

class TestAudioWorkers : public QObject
{
    Q_OBJECT

private slots:
    void microphoneAppliesMuteAndLevel();
    void missingSourceFallsBackToSilence();
    void readsSoundServerSource();
    void mixesOneAndTwoInputs();
    void mixerEncodesBlocksOf1024();
    void otherOpenErrorsAreReturned();
    void systemSoundReadsMonitor();
    void systemSoundWithoutServerIsDropped();
    void silencePlayerReportsStarted();
};

void TestAudioWorkers::microphoneAppliesMuteAndLevel()
{
    ffmpegAudioCap cap;
    QCOMPARE(cap.open_input_device(kTone), 1);
    AudioParams params;
    QCOMPARE(cap.fillAudioParams(params), 1);
    QCOMPARE(params.sampleRate, 44100);
    QCOMPARE(params.channels, 1);
    QCOMPARE(params.sampleFormat, AV_SAMPLE_FMT_S16);

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
    cap.level = 0;
    QTRY_COMPARE_WITH_TIMEOUT(cap.meanLevel, 0.0, 3000);
    cap.level = 100;
    QTRY_VERIFY_WITH_TIMEOUT(cap.meanLevel > kToneMeanLevel * 0.9, 3000);
    cap.mute = true;
    QTRY_COMPARE_WITH_TIMEOUT(cap.meanLevel, 0.0, 3000);

    QVERIFY(stopSource(&cap));
    QCOMPARE(cap.started, 0);
    cap.freeUnused();
    QCOMPARE(cap.fillAudioParams(params), 0);
}

void TestAudioWorkers::missingSourceFallsBackToSilence()
{
    ffmpegAudioCap cap;
    QSignalSpy popups(&cap, &ffmpegAudioCap::audioPopup);
    QCOMPARE(cap.open_input_device("audio=orlune_no_such_source"), 1);
    QCOMPARE(popups.size(), 1);
    QCOMPARE(popups[0][0].toInt(), 0);
    QVERIFY(popups[0][1].toString().contains("WARNING! Microphone recording is disabled."));
    AudioParams params;
    QCOMPARE(cap.fillAudioParams(params), 1);
    QCOMPARE(params.sampleRate, 44100);
    QCOMPARE(params.channels, 2);

    // The substitute delivers, so the recording keeps a (silent) track.
    cap.start();
    QTRY_VERIFY_WITH_TIMEOUT(cap.ready, 3000);
    QVERIFY(stopSource(&cap));
    QCOMPARE(cap.meanLevel, 0.0);
}

void TestAudioWorkers::readsSoundServerSource()
{
    if (qEnvironmentVariableIsEmpty("PULSE_SERVER"))
        QSKIP("needs the private sound server");
    // The test session's microphone is a sine source of the sound server,
    // captured in its own format: one channel at 44100 Hz.
    ffmpegAudioCap cap;
    QSignalSpy popups(&cap, &ffmpegAudioCap::audioPopup);
    QCOMPARE(cap.open_input_device("audio=orlune_mic"), 1);
    QCOMPARE(popups.size(), 0);
    AudioParams params;
    QCOMPARE(cap.fillAudioParams(params), 1);
    QCOMPARE(params.sampleRate, 44100);
    QCOMPARE(params.channels, 1);
    QCOMPARE(params.sampleFormat, AV_SAMPLE_FMT_S16);
    cap.start();
    QTRY_VERIFY_WITH_TIMEOUT(cap.meanLevel > 0.01, 5000);
    QVERIFY(stopSource(&cap));
}

void TestAudioWorkers::mixesOneAndTwoInputs()
{
    // The tone alone, then the tone mixed with silence on the system sound
    // input: the mix halves every input, so the second track is half as loud.
    double rmsAlone = 0;
    for (int inputs = 1; inputs <= 2; ++inputs) {
        ffmpegAudioCap mic;
        pulseAudioLoopback system;
        ffmpegAudioMixEnc mix;
        mix.bitRate = 128000;
        AudioParams in[2];
        QCOMPARE(mic.open_input_device(kTone), 1);
        QCOMPARE(mic.fillAudioParams(in[0]), 1);
        if (inputs == 2) {
            system.setDevice(kSilence);
            system.start();
            QCOMPARE(system.fillAudioParams(in[1]), 1);
        }
        AudioParams out = recordingAudioOut();
        OutputFormatContextPtr output = streamOnlyOutput();
        QCOMPARE(mix.addToOutput(output.get(), 1, out), 1);
        QCOMPARE(out.sampleFormat, AV_SAMPLE_FMT_FLTP); // what the AAC encoder takes
        QCOMPARE(mix.init_audio_filters(in, inputs, out), 0);
        QCOMPARE(mix.inputCount, inputs);

        PacketSink sink(&mix);
        connect(&mic, &ffmpegAudioCap::passAudioToMixEnc, &mix, &ffmpegAudioMixEnc::passAudioToMixEnc);
        connect(&system, &pulseAudioLoopback::passAudioToMixEnc, &mix, &ffmpegAudioMixEnc::passAudioToMixEnc);
        mix.start();
        mic.start();
        QTRY_VERIFY_WITH_TIMEOUT(mic.ready && (inputs == 1 || system.ready), 3000);
        mic.go = true;
        system.go = true;
        QTRY_VERIFY_WITH_TIMEOUT(sink.packets.size() >= 60, 6000);
        QVERIFY(stopSource(&mic));
        system.running = 0;
        QCOMPARE(system.stopCapture(), 0);
        QCOMPARE(system.started, 0);
        QVERIFY(stopEncoder(&mix));
        QCOMPARE(mix.started, 0);
        QTest::qWait(50); // flushed packets still queued to this thread

        for (const PacketPtr& p : sink.packets) {
            QCOMPARE(p->stream_index, 1);
            QCOMPARE(p->time_base.den, 44100);
        }
        // The first packets (encoder start-up and the mix fading in) are skipped.
        const DecodedSound sound = decodePackets(output->streams[0]->codecpar, sink.packets);
        QCOMPARE(sound.sampleRate, 44100);
        QCOMPARE(sound.channels, 2);
        const size_t from = 20 * 1024;
        const double tone = toneAmplitude(sound.left, 44100, 440, from);
        QVERIFY2(tone > 20 * toneAmplitude(sound.left, 44100, 520, from), qPrintable(QString::number(tone)));
        const double rms = rmsOf(sound.left, from);
        if (inputs == 1) {
            rmsAlone = rms;
            QVERIFY(rmsAlone > 0.03);
        } else {
            QVERIFY2(qAbs(rms / rmsAlone - 0.5) < 0.08, qPrintable(QString("%1 vs %2").arg(rms).arg(rmsAlone)));
        }
        mic.freeUnused();
        system.freeUnused();
        mix.freeUnused();
    }
}

void TestAudioWorkers::systemSoundReadsMonitor()
{
    if (!haveSoundServer())
        QSKIP("needs the private sound server");
    // What plays on the default sink, here a tone at half scale.
    QTemporaryDir dir;
    QVERIFY(writeToneWav(dir.path() + "/tone.wav", 1000, 20));
    TonePlayer player(dir.path() + "/tone.wav");
    // The name the session gives is not a device: the default sink's monitor is read.
    pulseAudioLoopback system;
    system.setDevice("audio={8E146464-DB61-4309-AFA1-3578E927E935}");
    system.start();
    AudioParams params;
    QCOMPARE(system.fillAudioParams(params), 1);
    QCOMPARE(params.sampleFormat, AV_SAMPLE_FMT_S16);
    QCOMPARE(params.channels, 2);
    QCOMPARE(params.sampleRate, 44100);
    QCOMPARE(params.timeBase.den, 44100);

    // Blocks go out as input 1, only with `go`; muted or at level 0 they keep
    // coming, as zeros.
    int frames = 0;
    int silentFrames = 0;
    QObject receiver;
    connect(&system, &pulseAudioLoopback::passAudioToMixEnc, &receiver, [&](void* f, int index) {
        AVFrame* frame = static_cast<AVFrame*>(f);
        QCOMPARE(index, 1);
        QCOMPARE(frame->format, int(AV_SAMPLE_FMT_S16));
        const auto* s = reinterpret_cast<const int16_t*>(frame->data[0]);
        silentFrames += std::all_of(s, s + frame->nb_samples * 2, [](int16_t v) { return v == 0; }) ? 1 : 0;
        ++frames;
        av_frame_free(&frame);
    });
    QTRY_VERIFY_WITH_TIMEOUT(system.ready && system.meanLevel > 0.2, 3000);
    QCOMPARE(frames, 0);
    system.go = true;
    QTRY_VERIFY_WITH_TIMEOUT(frames >= 3, 3000);
    system.mute = true;
    QTRY_COMPARE_WITH_TIMEOUT(system.meanLevel, 0.0, 3000);
    system.mute = false;
    QTRY_VERIFY_WITH_TIMEOUT(system.meanLevel > 0.2, 3000);
    system.level = 0;
    QTRY_COMPARE_WITH_TIMEOUT(system.meanLevel, 0.0, 3000);
    const int before = frames;
    QTRY_VERIFY_WITH_TIMEOUT(frames > before + 3, 3000);
    QVERIFY(silentFrames >= 3);
    // Only 0 counts: any other level passes the samples unchanged.
    system.level = 30;
    QTRY_VERIFY_WITH_TIMEOUT(system.meanLevel > 0.2, 3000);

    system.running = 0;
    QCOMPARE(system.stopCapture(), 0);
    // stopCapture returned only after the loop had ended.
    QCOMPARE(system.started, 0);
    QCOMPARE(system.clientStarted, false);
    QVERIFY(system.wait(2000));
}

void TestAudioWorkers::systemSoundWithoutServerIsDropped()
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

void TestAudioWorkers::silencePlayerReportsStarted()
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

void TestAudioWorkers::mixerEncodesBlocksOf1024()
{
    ffmpegAudioMixEnc mix;
    AudioParams out = recordingAudioOut();
    AudioParams in[1] = {out};
    OutputFormatContextPtr output = streamOnlyOutput();
    QCOMPARE(mix.addToOutput(output.get(), 0, out), 1);
    QCOMPARE(mix.init_audio_filters(in, 1, out), 0);
    PacketSink sink(&mix);
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
    QCOMPARE(sink.packets.size(), size_t(0));
    // Four blocks of 4096 leave as sixteen frames of 1024, and the encoder's
    // one frame of priming comes out with the flush.
    for (int i = 0; i < 4; ++i)
        mix.passAudioToMixEnc(block(i * 4096), 0);
    QTRY_VERIFY(sink.packets.size() >= 15);
    QVERIFY(stopEncoder(&mix));
    QTest::qWait(50);
    QCOMPARE(sink.packets.size(), size_t(17));
    for (const PacketPtr& p : sink.packets) {
        QCOMPARE(p->stream_index, 0);
        QCOMPARE(p->duration, int64_t(1024));
    }
}

void TestAudioWorkers::otherOpenErrorsAreReturned()
{
    // Only a disabled device is replaced by silence; a broken input name is the caller's to handle.
    ffmpegAudioCap cap;
    QSignalSpy popups(&cap, &ffmpegAudioCap::audioPopup);
    const int ret = cap.open_input_device("lavfi:orlune_no_such_filter");
    QVERIFY(ret < 0);
    QVERIFY(ret != AVERROR(EIO));
    QCOMPARE(popups.size(), 0);
    AudioParams params;
    QCOMPARE(cap.fillAudioParams(params), 0);
}

QTEST_MAIN(TestAudioWorkers)
#include "test_audio_workers.moc"
