// The idle-time microphone meter: its percent rule, and the monitor thread on
// the test's sound server, muted, at level 0, and on a source that does not
// exist. The measured source is the speakers' monitor with a tone playing:
// it answers within milliseconds, where the server's sine source delivers
// in blocks of two seconds.

#include "AudioToneSupport.h"
#include "ffAudioMonitor.h"

#include <QTemporaryDir>
#include <QtTest>

class TestAudioMonitor : public QObject
{
    Q_OBJECT

private slots:
    void percentRule_data();
    void percentRule();
    void measuresSoundServerSource();
    void missingSourceEndsQuietly();
};

void TestAudioMonitor::percentRule_data()
{
    QTest::addColumn<double>("meanLevel");
    QTest::addColumn<int>("percent");
    QTest::newRow("nothing") << 0.0 << 0;
    QTest::newRow("at the floor") << 0.000001 << 0;
    QTest::newRow("below -60 dB") << 0.0005 << 0;
    QTest::newRow("-60 dB") << 0.001 << 0;
    QTest::newRow("-40 dB") << 0.01 << 33;
    QTest::newRow("-20 dB") << 0.1 << 66;
    QTest::newRow("half scale") << 0.5 << 89;
    QTest::newRow("full scale") << 1.0 << 100;
    QTest::newRow("over full scale") << 1.5 << 100;
}

void TestAudioMonitor::percentRule()
{
    QFETCH(double, meanLevel);
    QTEST(ffAudioMonitor::levelPercent(meanLevel), "percent");
}

void TestAudioMonitor::measuresSoundServerSource()
{
    if (!haveSoundServer())
        QSKIP("needs the private sound server");
    QTemporaryDir dir;
    QVERIFY(writeToneWav(dir.path() + "/tone.wav", 440, 30));
    TonePlayer player(dir.path() + "/tone.wav");
    QVERIFY(player.running());
    ffAudioMonitor monitor;
    // Opened by its owner first, as the controller does, then started.
    QCOMPARE(monitor.open_input_device("audio=orlune_speakers.monitor"), 1);
    QCOMPARE(QByteArray(monitor.device), QByteArray("audio=orlune_speakers.monitor"));
    monitor.start(QThread::LowPriority);
    QTRY_VERIFY_WITH_TIMEOUT(monitor.ready && monitor.meanLevel > 0.01, 5000);
    QVERIFY(monitor.started);
    QVERIFY(ffAudioMonitor::levelPercent(monitor.meanLevel) > 30);

    monitor.level = 0;
    QTRY_COMPARE_WITH_TIMEOUT(monitor.meanLevel, 0.0, 3000);
    monitor.level = 100;
    QTRY_VERIFY_WITH_TIMEOUT(monitor.meanLevel > 0.01, 3000);
    monitor.mute = true;
    QTRY_COMPARE_WITH_TIMEOUT(monitor.meanLevel, 0.0, 3000);
    QCOMPARE(ffAudioMonitor::levelPercent(monitor.meanLevel), 0);

    monitor.running = 0;
    QVERIFY(monitor.wait(3000));
    // The end of the run puts mute and level back.
    QCOMPARE(monitor.started, 0);
    QCOMPARE(monitor.mute, false);
    QCOMPARE(monitor.level, 100);
    QVERIFY(!monitor.inputContext);

    // A second run opens the input itself.
    monitor.start();
    QTRY_VERIFY_WITH_TIMEOUT(monitor.meanLevel > 0.01, 5000);
    monitor.running = 0;
    QVERIFY(monitor.wait(3000));
    monitor.freeUnused();
    QCOMPARE(monitor.ready, false);
}

void TestAudioMonitor::missingSourceEndsQuietly()
{
    ffAudioMonitor monitor;
    QVERIFY(monitor.open_input_device("audio=orlune_no_such_source") < 0);
    monitor.setDevice("audio=orlune_no_such_source");
    monitor.start();
    QVERIFY(monitor.wait(5000));
    QCOMPARE(monitor.running, 0);
    QCOMPARE(monitor.started, 0);
    QCOMPARE(monitor.meanLevel, 0.0);
}

QTEST_GUILESS_MAIN(TestAudioMonitor)
#include "test_audio_monitor.moc"
