// The controller's devices against a PulseAudio server of this test's own,
// whose devices are plugged and unplugged with pactl: the lists and their
// addresses, the watchers' notifications, the stored microphone, the
// microphone meter and its switch, and the warnings when the last
// microphone or playback device goes.
#include "DeviceLists.h"
#include "MicDeviceWatcher.h"
#include "PlaybackDeviceWatcher.h"
#include "WorkflowTestSupport.h"
#include "ffAudioMonitor.h"
#include "ffmpegMux.h"

#include <QApplication>
#include <QCameraDevice>
#include <QMediaDevices>
#include <QSignalSpy>
#include <QtTest>

#include <optional>

namespace {
// Names (or addresses) of the sound server's microphones or playback devices.
QStringList devices(bool microphones, bool addresses = false)
{
    QStringList names, addrs;
    (microphones ? DeviceLists::listInAudioDevices : DeviceLists::listOutAudioDevices)(names, addrs);
    return addresses ? addrs : names;
}

int popups(const QSignalSpy& spy, const QString& text)
{
    return int(
        std::count_if(spy.begin(), spy.end(), [&](const QList<QVariant>& call) { return call.value(1) == text; }));
}
} // namespace

class TestDevices : public QObject
{
    Q_OBJECT

    PrivatePulse pulse;
    std::optional<LogCapture> log; // made once the test library has installed its own handler
    AppController* controller = nullptr;
    QString micModule;

private slots:
    void initTestCase()
    {
        log.emplace();
        // A streaming program's virtual microphone, which is never offered.
        QVERIFY(controller = startWithSound(pulse, micModule));
        QVERIFY(
            !pulse.load("module-null-source", {"source_name=obs_virtual", "description=OBS-Audio_Virtual"}).isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(LogCapture::count("device watcher subscribed"), 2, 5000);
    }

    void cleanupTestCase() { delete controller; }

    void listsOfTheSoundServer()
    {
        QCOMPARE(devices(true), QStringList{"Microphone"});
        QCOMPARE(devices(true, true), QStringList{"test_mic"});
        QVERIFY(LogCapture::count("OBS-Audio_Virtual -- NOT USEABLE!") > 0);
        QCOMPARE(devices(false), QStringList{"Speakers"});
        QCOMPARE(devices(false, true), QStringList{"test_speakers"});
        // What runTasks made of them.
        QCOMPARE(controller->getMicsModel(), QStringList{"Microphone"});
        QCOMPARE(controller->currentMic, 0);
        QCOMPARE(controller->m_lastMicCount, 1);
        QCOMPARE(controller->m_lastPlaybackCount, 1);
        QVERIFY(controller->hasPlaybackAudioDevices);
    }

    void watchersReportAddedAndRemovedDevices()
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
        // Whether `spy` is notified of `change` (made once earlier notifications have passed).
        const auto notified = [](QSignalSpy& spy, const std::function<void()>& change) {
            QTest::qWait(300);
            spy.clear();
            change();
            return QTest::qWaitFor([&] { return spy.count() >= 1; }, 3000);
        };
        const QString extra = "sink_properties=device.description=Extra";
        QString sink;
        QVERIFY(notified(playSpy, [&] { sink = pulse.load("module-null-sink", {"sink_name=extra_sink", extra}); }));
        QVERIFY(devices(false).contains("Extra"));
        QVERIFY(notified(playSpy, [&] { pulse.pactl({"unload-module", sink}); }));
        QVERIFY(!devices(false).contains("Extra"));
        QString source;
        QVERIFY(notified(micSpy, [&] { source = plugMicrophone(pulse, "extra_mic", "ExtraMic"); }));
        QVERIFY(devices(true).contains("ExtraMic"));
        // A device that only changes its own state is no change of the list; a new default microphone is.
        QVERIFY(!notified(micSpy, [&] { pulse.pactl({"set-source-volume", "test_mic", "50%"}); }));
        QVERIFY(notified(micSpy, [&] { pulse.pactl({"set-default-source", "extra_mic"}); }));
        pulse.pactl({"set-default-source", "test_mic"});
        QVERIFY(notified(micSpy, [&] { pulse.pactl({"unload-module", source}); }));
        QVERIFY(!devices(true).contains("ExtraMic"));
        QVERIFY(!threads.isEmpty());
        for (QThread* thread : threads)
            QCOMPARE(thread, QThread::currentThread());
        // Once stopped, nothing more arrives.
        mics.stop();
        QVERIFY(!mics.isRunning());
        QVERIFY(!notified(micSpy, [&] { source = pulse.load("module-null-source", {"source_name=late_mic"}); }));
        pulse.pactl({"unload-module", source});
    }

    void storedMicrophoneThatIsGoneSelectsTheFirst()
    {
        const QString second = plugMicrophone(pulse, "test_mic2", "Second");
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

    // The meter: not while a recording is set up or runs, nor muted; the
    // switch and a new microphone choice stop and start it.
    void microphoneMeter()
    {
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

        SettingsManager* settings = SettingsManager::instance();
        controller->toggleMike();
        QVERIFY(settings->readSettingBool("mute_audio"));
        QVERIFY(controller->coder->micMute);
        QVERIFY(!controller->micMonitor);
        QCOMPARE(controller->micLevel, 0);
        QVERIFY(!controller->levelsTimer.isActive());
        LogCapture::clear();
        controller->startMicMonitor();
        QCOMPARE(LogCapture::count("skip: muteAudio=true"), 1);
        controller->toggleMike();
        QVERIFY(!settings->readSettingBool("mute_audio"));
        QVERIFY(controller->micMonitor);

        LogCapture::clear();
        controller->setCurrentMic(0);
        QCOMPARE(LogCapture::count("restart mic monitor due device change"), 1);
        QVERIFY(!controller->micMonitor);
        QTRY_VERIFY_WITH_TIMEOUT(controller->micMonitor, 3000);
        QTRY_VERIFY_WITH_TIMEOUT(controller->micLevel > 0, 5000);
        controller->stopMicMonitor();
    }

    void unpluggingTheLastDeviceWarnsOnce()
    {
        QSignalSpy popupSpy(controller, &AppController::showPopupSignal);
        QSignalSpy available(controller, &AppController::hasPlaybackAudioDevicesChanged);
        pulse.pactl({"unload-module", micModule});
        QTRY_COMPARE_WITH_TIMEOUT(popups(popupSpy, "No Microphone detected"), 1, 3000);
        QTRY_VERIFY_WITH_TIMEOUT(controller->getMicsModel().isEmpty(), 3000);
        QCOMPARE(controller->m_lastMicCount, 0);
        // With no microphone there is nothing for the meter.
        LogCapture::clear();
        controller->startMicMonitor();
        QVERIFY(!controller->micMonitor);
        QCOMPARE(LogCapture::count("no mic device available (adevs.size=0"), 1);
        micModule = plugMicrophone(pulse);
        QTRY_COMPARE_WITH_TIMEOUT(controller->getMicsModel(), QStringList{"Microphone"}, 3000);
        QTest::qWait(300);
        QCOMPARE(popupSpy.count(), 1);

        // The microphones do not change, so that warning stays away.
        pulse.pactl({"unload-module", "module-null-sink"});
        QTRY_COMPARE_WITH_TIMEOUT(popups(popupSpy, "No Playback Device detected"), 1, 3000);
        QVERIFY(!controller->hasPlaybackAudioDevices);
        QCOMPARE(available.count(), 1);
        QCOMPARE(available.first().value(0).toBool(), false);
        QVERIFY(!plugSpeakers(pulse).isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(controller->hasPlaybackAudioDevices, 3000);
        QCOMPARE(available.count(), 2);
        QCOMPARE(popupSpy.count(), 2);

        if (!QMediaDevices::videoInputs().isEmpty())
            QSKIP("this machine has a camera");
        QCOMPARE(controller->m_lastCamCount, 0);
        controller->handleCamDeviceChange();
        QCOMPARE(popups(popupSpy, "No Webcam detected"), 1);
    }
};

QTEST_MAIN(TestDevices)
#include "test_devices.moc"
