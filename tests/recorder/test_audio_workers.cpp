// The sound threads driven directly: microphone capture with mute and level,
// the mixer and AAC encoder with one and two inputs, the system sound thread
// on the sound server's monitor, and the silence player.

#include "WorkerTestSupport.h"
#include "ffmpegAudioCap.h"
#include "ffmpegAudioMixEnc.h"
#include "pulseAudioLoopback.h"
#include "pulseAudioSilence.h"

#include <QSignalSpy>
#include <QtTest>
#include <cmath>

namespace {
// lavfi's sine has an amplitude of 1/8: mean absolute value 1/(4 pi).
const char* const kTone = "lavfi:sine=frequency=440:sample_rate=44100";
const char* const kSilence = "lavfi:anullsrc=r=44100:cl=mono";
const double kToneMeanLevel = 1.0 / (4 * M_PI);

AudioParams recordingAudioOut()
{
    AudioParams out;
    out.sampleRate = 44100;
    out.channels = 2;
    out.channelLayout = 3;
    out.timeBase = AVRational{1, 44100};
    out.sampleFormat = AV_SAMPLE_FMT_S16;
    return out;
}

// What the encoded track sounds like: its RMS and the tone's frequency from
// the zero crossings of the left channel, decoded by the library's own AAC
// decoder. The first packets (encoder start-up and the mix fading in) are skipped.
struct DecodedTrack {
    double rms = 0;
    double frequency = 0;
    int sampleRate = 0;
    int channels = 0;
};

DecodedTrack decodeTrack(const AVCodecParameters* stream, const std::vector<PacketPtr>& packets, size_t skip)
{
    DecodedTrack track;
    const AVCodec* codec = avcodec_find_decoder(stream->codec_id);
    CodecContextPtr dec(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(dec.get(), stream);
    if (avcodec_open2(dec.get(), codec, nullptr) < 0)
        return track;
    FramePtr frame(av_frame_alloc());
    double sum = 0;
    int64_t samples = 0, crossings = 0;
    float previous = 0;
    for (size_t i = 0; i < packets.size(); ++i) {
        avcodec_send_packet(dec.get(), packets[i].get());
        while (avcodec_receive_frame(dec.get(), frame.get()) >= 0) {
            track.sampleRate = frame->sample_rate;
            track.channels = frame->ch_layout.nb_channels;
            if (i >= skip && frame->format == AV_SAMPLE_FMT_FLTP) {
                const float* left = reinterpret_cast<const float*>(frame->extended_data[0]);
                for (int s = 0; s < frame->nb_samples; ++s) {
                    sum += double(left[s]) * left[s];
                    crossings += (previous < 0) != (left[s] < 0) ? 1 : 0;
                    previous = left[s];
                    ++samples;
                }
            }
            av_frame_unref(frame.get());
        }
    }
    if (samples > 0) {
        track.rms = std::sqrt(sum / samples);
        track.frequency = crossings / 2.0 / (double(samples) / track.sampleRate);
    }
    return track;
}
} // namespace

class TestAudioWorkers : public QObject
{
    Q_OBJECT

private slots:
    void microphoneAppliesMuteAndLevel();
    void missingSourceFallsBackToSilence();
    void readsSoundServerSource();
    void mixesOneAndTwoInputs();
    void refusesMixOfNoInputs();
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
    // The test session's microphone is a sine source of the sound server.
    ffmpegAudioCap cap;
    QSignalSpy popups(&cap, &ffmpegAudioCap::audioPopup);
    QCOMPARE(cap.open_input_device("audio=orlune_mic"), 1);
    QCOMPARE(popups.size(), 0);
    AudioParams params;
    QCOMPARE(cap.fillAudioParams(params), 1);
    QCOMPARE(params.sampleRate, 44100);
    QCOMPARE(params.channels, 2);
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
        const DecodedTrack track = decodeTrack(output->streams[0]->codecpar, sink.packets, 20);
        QCOMPARE(track.sampleRate, 44100);
        QCOMPARE(track.channels, 2);
        QVERIFY2(qAbs(track.frequency - 440) < 10, qPrintable(QString::number(track.frequency)));
        if (inputs == 1) {
            rmsAlone = track.rms;
            QVERIFY(rmsAlone > 0.03);
        } else {
            QVERIFY2(qAbs(track.rms / rmsAlone - 0.5) < 0.08,
                     qPrintable(QString("%1 vs %2").arg(track.rms).arg(rmsAlone)));
        }
        mic.freeUnused();
        system.freeUnused();
        mix.freeUnused();
    }
}

void TestAudioWorkers::refusesMixOfNoInputs()
{
    ffmpegAudioMixEnc mix;
    AudioParams out = recordingAudioOut();
    QVERIFY(mix.init_audio_filters(nullptr, 0, out) < 0);

    // Frames for an input the mix does not have are freed, not fed.
    AudioParams in[1] = {out};
    QCOMPARE(mix.init_audio_filters(in, 1, out), 0);
    mix.running = 1;
    AVFrame* stray = av_frame_alloc();
    mix.passAudioToMixEnc(stray, 1);
    AVFrame* empty = av_frame_alloc();
    mix.passAudioToMixEnc(empty, 0);
    mix.running = 0;
}

void TestAudioWorkers::systemSoundReadsMonitor()
{
    if (qEnvironmentVariableIsEmpty("PULSE_SERVER"))
        QSKIP("needs the private sound server");
    // The name the session gives is not a device: the default sink's monitor is read.
    pulseAudioLoopback system;
    system.setDevice("audio={8E146464-DB61-4309-AFA1-3578E927E935}");
    system.start();
    AudioParams params;
    QCOMPARE(system.fillAudioParams(params), 1);
    QCOMPARE(params.sampleFormat, AV_SAMPLE_FMT_S16);
    QVERIFY(params.channels >= 1);
    QVERIFY(params.sampleRate > 0);

    int frames = 0;
    QObject receiver;
    connect(&system, &pulseAudioLoopback::passAudioToMixEnc, &receiver, [&](void* f, int index) {
        AVFrame* frame = static_cast<AVFrame*>(f);
        frames += index == 1 ? 1 : 0;
        av_frame_free(&frame);
    });
    QTRY_VERIFY_WITH_TIMEOUT(system.ready, 3000);
    system.go = true;
    QTRY_VERIFY_WITH_TIMEOUT(frames >= 3, 3000);
    system.running = 0;
    QCOMPARE(system.stopCapture(), 0);
    QCOMPARE(system.started, 0);
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

QTEST_MAIN(TestAudioWorkers)
#include "test_audio_workers.moc"
