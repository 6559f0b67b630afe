// Whole recordings with the private sound server: its 440 Hz sine source as the microphone and a 1000 Hz tone
// played into the default sink as system sound, looked for in the files the ffmpeg tool decodes. Then
// sources of other shapes captured and mixed with their tone intact, and a sink that goes away under a
// running thread.

#include "AudioToneSupport.h"
#include "ffmpegAudioCap.h"
#include "ffmpegAudioMixEnc.h"
#include "pulseAudioLoopback.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QSignalSpy>
#include <QtTest>

namespace {
constexpr double kMicTone = 440;
constexpr double kSystemTone = 1000;
// Well away from both tones and their neighbours: how much noise there is.
constexpr double kOffTone = 700;
constexpr int kRate = 44100;

struct Tones
{
    double mic = 0;
    double system = 0;
    double off = 0;
    double rms = 0;
};

// The tones of a recording, measured after its first second (the mix fading in).
Tones measureTones(const QString& path)
{
    const std::vector<float> samples = decodeFileSound(path, kRate);
    Tones t;
    if (samples.size() < size_t(2 * kRate))
        return t;
    t.mic = toneAmplitude(samples, kRate, kMicTone, kRate);
    t.system = toneAmplitude(samples, kRate, kSystemTone, kRate);
    t.off = toneAmplitude(samples, kRate, kOffTone, kRate);
    t.rms = rmsOf(samples, kRate);
    return t;
}

QString describe(const Tones& t)
{
    return QString("mic %1, system %2, off %3, rms %4").arg(t.mic).arg(t.system).arg(t.off).arg(t.rms);
}
} // namespace

class TestAudioRecording : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (!haveSoundServer())
            QSKIP("needs the private sound server");
        QVERIFY(library.open());
        systemToneWav = library.dir.path() + "/system-tone.wav";
        QVERIFY(writeToneWav(systemToneWav, kSystemTone, 60));
    }

    void recordsBothTones()
    {
        const QString path = record("both.mp4", "audio=orlune_mic", 6);
        QVERIFY(!path.isEmpty());
        QCOMPARE(probeStreamValue(path, "codec_name"), QString("h264"));
        const QString audio = runTool("ffprobe", {"-v", "error", "-select_streams", "a", "-show_entries",
                                                  "stream=codec_name,sample_rate,channels", "-of", "csv=p=0", path});
        QCOMPARE(audio, QString("aac,44100,2"));
        const Tones t = measureTones(path);
        // The sources play at 0.35 and 0.5; a mix of two scales each by 1/sqrt(2).
        // Measured over the whole recording at once, so gaps or a wavering pitch would weaken them.
        QVERIFY2(qAbs(t.mic - 0.25) < 0.03 && t.mic > 100 * t.off, qPrintable(describe(t)));
        QVERIFY2(qAbs(t.system - 0.354) < 0.04 && t.system > 100 * t.off, qPrintable(describe(t)));
    }

    void muteRemovesEachTone()
    {
        const QString micMuted = record("mic-muted.mp4", "audio=orlune_mic", 5, [](ffmpegMux& c) { c.setMute(true); });
        QVERIFY(!micMuted.isEmpty());
        const Tones a = measureTones(micMuted);
        QVERIFY2(a.system > 0.05, qPrintable(describe(a)));
        QVERIFY2(a.mic < a.system / 100, qPrintable(describe(a)));

        // Muted after the start: the setter reaches the running thread.
        const QString systemMuted =
            record("system-muted.mp4", "audio=orlune_mic", 6, {}, [](ffmpegMux& c) { c.setSys(true); });
        QVERIFY(!systemMuted.isEmpty());
        const std::vector<float> samples = decodeFileSound(systemMuted, kRate);
        QVERIFY(samples.size() > size_t(5 * kRate));
        const size_t tail = samples.size() - size_t(2 * kRate);
        const double systemBefore = toneAmplitude(samples, kRate, kSystemTone, kRate, 2 * kRate);
        const double systemAfter = toneAmplitude(samples, kRate, kSystemTone, tail);
        const double micAfter = toneAmplitude(samples, kRate, kMicTone, tail);
        QVERIFY2(systemBefore > 0.05, qPrintable(QString::number(systemBefore)));
        QVERIFY2(systemAfter < systemBefore / 100, qPrintable(QString("%1 %2").arg(systemBefore).arg(systemAfter)));
        QVERIFY2(micAfter > 0.02, qPrintable(QString::number(micAfter)));
    }

    void levelZeroRecordsSilence()
    {
        const QString path = record("level-zero.mp4", "audio=orlune_mic", 5, [](ffmpegMux& c) {
            c.setMikeLevel(0);
            c.setSysLevel(0);
        });
        QVERIFY(!path.isEmpty());
        const Tones t = measureTones(path);
        QVERIFY2(t.rms < 1e-4, qPrintable(describe(t)));
        // The track still runs the whole recording.
        const double seconds = runTool("ffprobe", {"-v", "error", "-select_streams", "a", "-show_entries",
                                                   "format=duration", "-of", "csv=p=0", path})
                                   .toDouble();
        QVERIFY2(seconds > 3.5, qPrintable(QString::number(seconds)));
    }

    void microphoneRemovedMidRecording()
    {
        auto mic = std::make_unique<PulseModule>("module-sine-source",
                                                 QStringList{"source_name=orlune_unplugged", "frequency=440"});
        QVERIFY(mic->loaded());
        QList<int> popups;
        const QString path = record(
            "unplugged.mp4", "audio=orlune_unplugged", 8,
            [&popups](ffmpegMux& c) {
                QObject::connect(&c, &ffmpegMux::AudioPopup, &c, [&popups](int devid, QString) { popups << devid; });
            },
            [&mic](ffmpegMux&) {
                // The sound server either ends the capture stream or moves it to its
                // fallback source; the recording goes on in both cases.
                mic.reset();
            });
        QVERIFY(!path.isEmpty());
        QVERIFY(popups.isEmpty());
        QCOMPARE(
            sqliteRowsOf(library.databasePath(), "SELECT file_finalized FROM files WHERE file_name='unplugged.mp4';"),
            QStringList({"true"}));
        // Complete and playable: both streams, and the whole file decodes without an error.
        QCOMPARE(streamCodecs(path), QStringList({"h264", "aac"}));
        QVERIFY(decodesCleanly(path));
        // The tone was recorded while the source existed.
        const std::vector<float> samples = decodeFileSound(path, kRate);
        QVERIFY2(toneAmplitude(samples, kRate, kMicTone, kRate, 3 * kRate) > 0.02, "no tone before the removal");
    }

    void silentSourceEndsAtWatchdogsSecondCheck()
    {
        ffmpegMux coder;
        SessionEvents session(coder);
        QSignalSpy popups(&coder, &ffmpegMux::AudioPopup);
        // Without system sound the microphone is the mixer's only input, and it delivers for one second only:
        // its thread ends quietly, and the watchdog notices the missing sound.
        coder.disableSys = true;
        library.aim(coder, "lavfi:sine=frequency=440:duration=1", "quiet.mp4");
        QElapsedTimer sinceStart;
        const QStringList events = session.run(coder, [&] {
            sinceStart.start();
            QTRY_VERIFY_WITH_TIMEOUT(session.finished(), 90000);
        });
        QCOMPARE(events, QStringList({"started:0", "done:0", "failed:1"}));
        QCOMPARE(popups.size(), 0);
        // 1000 ticks to the first check, which only arms the watchdog, then 2000 more.
        QVERIFY2(sinceStart.elapsed() >= 29000, qPrintable(QString::number(sinceStart.elapsed())));

        // A recording ended by the watchdog is still closed properly.
        const QStringList row = library.fileRow(coder.fileId, "file_finalized, file_segments_count, file_size");
        QCOMPARE(row.size(), 3);
        QCOMPARE(row[0], QString("true"));
        QVERIFY(row[1].toInt() >= 2);
        QCOMPARE(row[2].toLongLong(), QFileInfo(library.dir.path() + "/quiet.mp4").size());
    }

    void capturesSourceShapes_data()
    {
        // A sine source (440 Hz) is captured itself; a null sink's monitor carries the tone (1000 Hz) played into it.
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("rate");
        QTest::newRow("mono sine") << QStringList{"source_name=t_mono", "frequency=440"} << 1 << 44100;
        QTest::newRow("four channels") << QStringList{"sink_name=t_quad", "channels=4", "rate=44100"} << 2 << 44100;
        QTest::newRow("six channels") << QStringList{"sink_name=t_six", "channels=6", "rate=48000"} << 2 << 48000;
        QTest::newRow("96000 Hz") << QStringList{"source_name=t_hires", "frequency=440", "rate=96000"} << 1 << 48000;
        QTest::newRow("six channels at 96000 Hz")
            << QStringList{"sink_name=t_big", "channels=6", "rate=96000"} << 2 << 48000;
    }

    void capturesSourceShapes()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, channels);
        QFETCH(int, rate);
        const bool nullSink = arguments[0].startsWith("sink_name=");
        const QString name = arguments[0].section('=', 1);
        const QString source = nullSink ? name + ".monitor" : name;
        const double frequency = nullSink ? 1000 : 440;

        PulseModule loaded(nullSink ? "module-null-sink" : "module-sine-source", arguments);
        QVERIFY(loaded.loaded());
        std::unique_ptr<TonePlayer> player;
        if (nullSink)
            player = std::make_unique<TonePlayer>(systemToneWav, name);

        ffmpegAudioCap mic;
        QSignalSpy popups(&mic, &ffmpegAudioCap::audioPopup);
        QCOMPARE(mic.open_input_device(("audio=" + source).toUtf8().constData()), 1);
        QCOMPARE(popups.size(), 0);

        AudioParams in[1];
        QCOMPARE(mic.fillAudioParams(in[0]), 1);
        QCOMPARE(QList<int>({in[0].channels, in[0].sampleRate}), QList<int>({channels, rate}));

        // Recorded through the mixer, the tone comes out at its own frequency.
        MixerUnderTest m;
        QVERIFY(m.open(in, 1));
        connect(&mic, &ffmpegAudioCap::passAudioToMixEnc, &m.mix, &ffmpegAudioMixEnc::passAudioToMixEnc);
        m.mix.start();
        mic.start();
        // Blocks leave once the tone has reached the source (a player takes a moment to start).
        QTRY_VERIFY_WITH_TIMEOUT(mic.ready && mic.meanLevel > 0.01, 5000);
        mic.go = true;
        QTRY_VERIFY_WITH_TIMEOUT(m.sink.packets.size() >= 70, 6000);
        QVERIFY(stopSource(&mic));
        const std::vector<float> left = m.finish();
        QVERIFY(left.size() > 44100);
        // Over the whole stretch at once, so that a gap or a wavering pitch
        // would weaken it: the sources play at 0.35 (sine source) and 0.5.
        const double tone = toneAmplitude(left, 44100, frequency, 22050);
        const double off = toneAmplitude(left, 44100, frequency * 1.37, 22050);
        QVERIFY2(tone > 0.3 && tone > 100 * off, qPrintable(QString("%1 vs %2").arg(tone).arg(off)));
        mic.freeUnused();
        m.mix.freeUnused();
    }

    void removedSinkEndsSystemSoundThread()
    {
        // System sound follows the default sink of the moment it opens; when that
        // sink goes away the thread ends quietly instead of recording whatever the server would move its stream to.
        auto speakers = std::make_unique<PulseModule>("module-null-sink", QStringList{"sink_name=t_headset"});
        QVERIFY(speakers->loaded());
        QCOMPARE(QProcess::execute("pactl", {"set-default-sink", "t_headset"}), 0);
        pulseAudioLoopback system;
        QSignalSpy popups(&system, &pulseAudioLoopback::audioPopup);
        system.start();
        AudioParams params;
        QCOMPARE(system.fillAudioParams(params), 1);
        QTRY_VERIFY_WITH_TIMEOUT(system.ready, 3000);
        speakers.reset();
        QProcess::execute("pactl", {"set-default-sink", "orlune_speakers"});
        QVERIFY(system.wait(3000));
        QCOMPARE(popups.size(), 0);
        // stopCapture after the end returns at once.
        QCOMPARE(system.stopCapture(), 0);
    }

private:
    // Records for `seconds` with the given inputs; the path of the finished file.
    QString record(const QString& name, const char* mic, int seconds, const std::function<void(ffmpegMux&)>& setUp = {},
                   const std::function<void(ffmpegMux&)>& midway = {})
    {
        TonePlayer player(systemToneWav);
        if (!player.running())
            return QString();
        ffmpegMux coder;
        SessionEvents session(coder);
        if (setUp)
            setUp(coder);
        library.aim(coder, mic, name);
        const QStringList events = session.run(coder, [&] {
            QTest::qWait(seconds * 500);
            if (midway)
                midway(coder);
            QTest::qWait(seconds * 500);
        });
        if (events != QStringList({"started:0", "done:0"}))
            qWarning() << "session events:" << events;
        return events.contains("done:0") ? library.dir.path() + "/" + name : QString();
    }

    TestLibrary library;
    QString systemToneWav;
};

QTEST_GUILESS_MAIN(TestAudioRecording)
#include "test_audio_recording.moc"
