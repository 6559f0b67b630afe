// The controller's devices against a PulseAudio server of this test's own,
// whose devices are plugged and unplugged with pactl: the lists and their
// addresses, the watchers' notifications, the stored microphone, the
// microphone meter and its switch, and the warnings when the last
// microphone or playback device goes.
#include "AppController.h"
#include "DeviceLists.h"
#include "MicDeviceWatcher.h"
#include "PlaybackDeviceWatcher.h"
#include "PrivateServers.h"
#include "WorkflowTestSupport.h"
#include "ffAudioMonitor.h"
#include "ffmpegMux.h"

#include <QApplication>
#include <QCameraDevice>
#include <QMediaDevices>
#include <QSignalSpy>
#include <QtTest>

namespace {
// Names of the sound server's sources that are not monitors, by pactl.
QStringList pactlMicrophones(const PrivatePulse& pulse)
{
    QStringList names;
    for (const QString& line : pulse.pactl({"list", "short", "sources"}).split('\n', Qt::SkipEmptyParts)) {
        const QString name = line.section('\t', 1, 1);
        if (!name.endsWith(".monitor"))
            names << name;
    }
    return names;
}

QStringList micNames()
{
    QStringList names, addrs;
    DeviceLists::listInAudioDevices(names, addrs);
    return names;
}

QStringList playbackNames()
{
    QStringList names, addrs;
    DeviceLists::listOutAudioDevices(names, addrs);
    return names;
}

int popups(const QSignalSpy& spy, const QString& text)
{
    int n = 0;
    for (const QList<QVariant>& call : spy)
        n += call.value(1).toString() == text ? 1 : 0;
    return n;
}
} // namespace

class TestDevices : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void listsOfTheSoundServer();
    void watchersReportAddedAndRemovedDevices();
    void storedMicrophoneThatIsGoneSelectsTheFirst();
    void micMonitorShowsTheLevel();
    void toggleMikeStopsAndStartsTheMeter();
    void unpluggingTheLastMicrophoneWarnsOnce();
    void unpluggingTheLastPlaybackDeviceWarns();
    void noCameraGivesTheWebcamWarning();

private:
    PrivatePulse pulse;
    LogCapture* log = nullptr;
    AppController* controller = nullptr;
    QString micModule, speakersModule;
};

void TestDevices::initTestCase()
{
    log = new LogCapture();
    QVERIFY(pulse.start(QString()));
    speakersModule =
        pulse.load("module-null-sink", {"sink_name=test_speakers", "sink_properties=device.description=Speakers"});
    micModule = pulse.load("module-sine-source", {"source_name=test_mic", "frequency=440",
                                                  "source_properties=device.description=Microphone"});
    // A streaming program's virtual microphone, which is never offered.
    QVERIFY(!pulse.load("module-null-source", {"source_name=obs_virtual", "description=OBS-Audio_Virtual"}).isEmpty());
    QVERIFY(!speakersModule.isEmpty() && !micModule.isEmpty());

    QVERIFY(openProgramDatabase());
    SettingsManager::instance()->writeSetting("mute_audio", false);
    controller = new AppController();
    controller->runTasks();
    QTRY_COMPARE_WITH_TIMEOUT(LogCapture::count("device watcher subscribed"), 2, 5000);
}

void TestDevices::cleanupTestCase()
{
    delete controller;
    delete log;
}

void TestDevices::listsOfTheSoundServer()
{
    QStringList names, addrs;
    QCOMPARE(DeviceLists::listInAudioDevices(names, addrs), 1);
    QCOMPARE(names, QStringList{"Microphone"});
    QCOMPARE(addrs, QStringList{"test_mic"});
    // pactl agrees that these two are all the sources beside the monitor.
    QCOMPARE(pactlMicrophones(pulse), (QStringList{"test_mic", "obs_virtual"}));
    QCOMPARE(LogCapture::count("OBS-Audio_Virtual -- NOT USEABLE!") > 0, true);

    names.clear();
    addrs.clear();
    QCOMPARE(DeviceLists::listOutAudioDevices(names, addrs), 1);
    QCOMPARE(names, QStringList{"Speakers"});
    QCOMPARE(addrs, QStringList{"test_speakers"});

    // What runTasks made of them.
    QCOMPARE(controller->getMicsModel(), QStringList{"Microphone"});
    QCOMPARE(controller->currentMic, 0);
    QCOMPARE(controller->m_lastMicCount, 1);
    QCOMPARE(controller->m_lastPlaybackCount, 1);
    QVERIFY(controller->hasPlaybackAudioDevices);
}

void TestDevices::watchersReportAddedAndRemovedDevices()
{
    MicDeviceWatcher mics;
    PlaybackDeviceWatcher playback;
    QList<QThread*> threads;
    connect(&mics, &DeviceWatcher::devicesChanged, this, [&threads] { threads << QThread::currentThread(); });
    QSignalSpy micSpy(&mics, &DeviceWatcher::devicesChanged);
    QSignalSpy playSpy(&playback, &DeviceWatcher::devicesChanged);
    LogCapture::clear();
    QVERIFY(mics.start());
    QVERIFY(mics.start()); // a second start changes nothing
    QVERIFY(playback.start());
    QTRY_COMPARE_WITH_TIMEOUT(LogCapture::count("device watcher subscribed"), 2, 5000);

    const QString sink =
        pulse.load("module-null-sink", {"sink_name=extra_sink", "sink_properties=device.description=Extra"});
    QTRY_VERIFY_WITH_TIMEOUT(playSpy.count() >= 1, 3000);
    QVERIFY(playbackNames().contains("Extra"));
    playSpy.clear();
    pulse.pactl({"unload-module", sink});
    QTRY_VERIFY_WITH_TIMEOUT(playSpy.count() >= 1, 3000);
    QVERIFY(!playbackNames().contains("Extra"));

    QTest::qWait(300);
    micSpy.clear();
    const QString source = pulse.load("module-null-source", {"source_name=extra_mic", "description=ExtraMic"});
    QTRY_VERIFY_WITH_TIMEOUT(micSpy.count() >= 1, 3000);
    QVERIFY(micNames().contains("ExtraMic"));

    // A device that only changes its own state is no change of the list.
    QTest::qWait(300);
    micSpy.clear();
    pulse.pactl({"set-source-volume", "test_mic", "50%"});
    QTest::qWait(500);
    QCOMPARE(micSpy.count(), 0);

    // A new default microphone is.
    pulse.pactl({"set-default-source", "extra_mic"});
    QTRY_VERIFY_WITH_TIMEOUT(micSpy.count() >= 1, 3000);
    pulse.pactl({"set-default-source", "test_mic"});
    micSpy.clear();
    pulse.pactl({"unload-module", source});
    QTRY_VERIFY_WITH_TIMEOUT(micSpy.count() >= 1, 3000);
    QVERIFY(!micNames().contains("ExtraMic"));
    QVERIFY(!threads.isEmpty());
    for (QThread* thread : threads)
        QCOMPARE(thread, QThread::currentThread());

    // Once stopped, nothing more arrives.
    mics.stop();
    QVERIFY(!mics.isRunning());
    QTest::qWait(200);
    micSpy.clear();
    const QString again = pulse.load("module-null-source", {"source_name=late_mic"});
    QTest::qWait(500);
    QCOMPARE(micSpy.count(), 0);
    pulse.pactl({"unload-module", again});
}

void TestDevices::storedMicrophoneThatIsGoneSelectsTheFirst()
{
    const QString second = pulse.load("module-sine-source", {"source_name=test_mic2", "frequency=880",
                                                             "source_properties=device.description=Second"});
    QTRY_COMPARE_WITH_TIMEOUT(controller->getMicsModel(), (QStringList{"Microphone", "Second"}), 3000);

    SettingsManager* settings = SettingsManager::instance();
    settings->writeSetting("audiodev", "Second");
    controller->updateMikeList();
    QCOMPARE(controller->currentMic, 1);

    settings->writeSetting("audiodev", "Gone");
    QSignalSpy currentChanged(controller, &AppController::currentMicChanged);
    controller->updateMikeList();
    QCOMPARE(controller->currentMic, 0);
    QCOMPARE(currentChanged.count(), 1);
    QCOMPARE(settings->readSettingStr("audiodev"), QString("Gone"));

    settings->writeSetting("audiodev", QString());
    pulse.pactl({"unload-module", second});
    QTRY_COMPARE_WITH_TIMEOUT(controller->getMicsModel(), QStringList{"Microphone"}, 3000);
}

void TestDevices::micMonitorShowsTheLevel()
{
    // Not while a recording is being set up or runs.
    controller->setVideoState(Common::Busy);
    LogCapture::clear();
    controller->startMicMonitor();
    QVERIFY(!controller->micMonitor);
    QCOMPARE(LogCapture::count("skip: video not idle, state:"), 1);
    controller->setVideoState(Common::Idle);

    controller->startMicMonitor();
    QVERIFY(controller->micMonitor);
    QCOMPARE(QByteArray(controller->micMonitor->device), QByteArray("audio=test_mic"));
    QVERIFY(controller->levelsTimer.isActive());
    QTRY_VERIFY_WITH_TIMEOUT(controller->micLevel > 0, 5000);

    LogCapture::clear();
    controller->startMicMonitor();
    QCOMPARE(LogCapture::count("already running"), 1);

    controller->stopMicMonitor();
    QVERIFY(!controller->micMonitor);
    QCOMPARE(controller->micLevel, 0);
    QVERIFY(!controller->levelsTimer.isActive());
}

void TestDevices::toggleMikeStopsAndStartsTheMeter()
{
    SettingsManager* settings = SettingsManager::instance();
    controller->startMicMonitor();
    QVERIFY(controller->micMonitor);

    controller->toggleMike();
    QVERIFY(settings->readSettingBool("mute_audio"));
    QVERIFY(controller->coder->micMute);
    QVERIFY(!controller->micMonitor);
    QCOMPARE(controller->micLevel, 0);
    LogCapture::clear();
    controller->startMicMonitor();
    QCOMPARE(LogCapture::count("skip: muteAudio=true"), 1);

    controller->toggleMike();
    QVERIFY(!settings->readSettingBool("mute_audio"));
    QVERIFY(controller->micMonitor);

    // A new microphone choice restarts the meter on it.
    LogCapture::clear();
    controller->setCurrentMic(0);
    QCOMPARE(LogCapture::count("restart mic monitor due device change"), 1);
    QVERIFY(!controller->micMonitor);
    QTRY_VERIFY_WITH_TIMEOUT(controller->micMonitor, 3000);
    QTRY_VERIFY_WITH_TIMEOUT(controller->micLevel > 0, 5000);
    controller->stopMicMonitor();
}

void TestDevices::unpluggingTheLastMicrophoneWarnsOnce()
{
    QSignalSpy popupSpy(controller, &AppController::showPopupSignal);
    pulse.pactl({"unload-module", micModule});
    QTRY_COMPARE_WITH_TIMEOUT(popups(popupSpy, "No Microphone detected"), 1, 3000);
    QTRY_VERIFY_WITH_TIMEOUT(controller->getMicsModel().isEmpty(), 3000);
    QCOMPARE(controller->m_lastMicCount, 0);

    micModule = pulse.load("module-sine-source", {"source_name=test_mic", "frequency=440",
                                                  "source_properties=device.description=Microphone"});
    QTRY_COMPARE_WITH_TIMEOUT(controller->getMicsModel(), QStringList{"Microphone"}, 3000);
    QTest::qWait(300);
    QCOMPARE(popupSpy.count(), 1);

    // With no microphone there is nothing for the meter.
    pulse.pactl({"unload-module", micModule});
    QTRY_VERIFY_WITH_TIMEOUT(controller->getMicsModel().isEmpty(), 3000);
    LogCapture::clear();
    controller->startMicMonitor();
    QVERIFY(!controller->micMonitor);
    QCOMPARE(LogCapture::count("no mic device available (adevs.size=0"), 1);
    micModule = pulse.load("module-sine-source", {"source_name=test_mic", "frequency=440",
                                                  "source_properties=device.description=Microphone"});
    QTRY_COMPARE_WITH_TIMEOUT(controller->getMicsModel(), QStringList{"Microphone"}, 3000);
}

void TestDevices::unpluggingTheLastPlaybackDeviceWarns()
{
    QSignalSpy popupSpy(controller, &AppController::showPopupSignal);
    QSignalSpy available(controller, &AppController::hasPlaybackAudioDevicesChanged);
    pulse.pactl({"unload-module", speakersModule});
    QTRY_COMPARE_WITH_TIMEOUT(popups(popupSpy, "No Playback Device detected"), 1, 3000);
    QVERIFY(!controller->hasPlaybackAudioDevices);
    QCOMPARE(available.count(), 1);
    QCOMPARE(available.first().value(0).toBool(), false);
    // The microphones did not change, so that warning stays away.
    QCOMPARE(popups(popupSpy, "No Microphone detected"), 0);

    speakersModule =
        pulse.load("module-null-sink", {"sink_name=test_speakers", "sink_properties=device.description=Speakers"});
    QTRY_VERIFY_WITH_TIMEOUT(controller->hasPlaybackAudioDevices, 3000);
    QCOMPARE(available.count(), 2);
    QCOMPARE(popupSpy.count(), 1);
}

void TestDevices::noCameraGivesTheWebcamWarning()
{
    if (!QMediaDevices::videoInputs().isEmpty())
        QSKIP("this machine has a camera");
    QCOMPARE(controller->m_lastCamCount, 0);
    QSignalSpy popupSpy(controller, &AppController::showPopupSignal);
    controller->handleCamDeviceChange();
    QCOMPARE(popups(popupSpy, "No Webcam detected"), 1);
}

QTEST_MAIN(TestDevices)
#include "test_devices.moc"
