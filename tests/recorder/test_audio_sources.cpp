// Sources of other shapes loaded on the test's sound server, captured and mixed with their tone intact,
// and a sink that goes away under a running thread.

#include "AudioToneSupport.h"
#include "ffmpegAudioCap.h"
#include "ffmpegAudioMixEnc.h"
#include "pulseAudioLoopback.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

class TestAudioSources : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (!haveSoundServer())
            QSKIP("needs the private sound server");
        toneWav = dir.path() + "/tone.wav";
        QVERIFY(writeToneWav(toneWav, 1000, 30));
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
            player = std::make_unique<TonePlayer>(toneWav, name);

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
    QTemporaryDir dir;
    QString toneWav;
};

QTEST_GUILESS_MAIN(TestAudioSources)
#include "test_audio_sources.moc"
