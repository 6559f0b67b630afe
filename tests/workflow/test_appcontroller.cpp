// The capture controller without a recording: what it tells the interface,
// the start refusals and the baton, the level poll rule, the uploader's
// cadence, power events, the account session (the service's answers, signing
// out, the web bridge's state) and display names made unique in a real database.
#include "ApiCalls.h"
#include "RecordingPort.h"
#include "UploadQueue.h"
#include "WorkflowTestSupport.h"
#include "ffmpegMux.h"

#include <QApplication>
#include <QScreen>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QtTest>

#include <functional>

using Action = std::function<void()>;
Q_DECLARE_METATYPE(Action)

class TestAppController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void startTellsTheInterface();
    void updateStatusIsResetAfter5s();
    void interfaceCalls_data();
    void interfaceCalls();
    void videoDialogWithAndWithoutInterface();
    void refusedStarts_data();
    void refusedStarts();
    void stopRequestsWhileSessionExists();
    void hotKeyRefusedWhileBusy();
    void levelPollRule();
    void tickSmoothsSessionCpuLoad();
    void uploaderCadence_data();
    void uploaderCadence();
    void suspendAndResume();
    void getUserAnswers_data();
    void getUserAnswers();
    void refusalsThatSignOut_data();
    void refusalsThatSignOut();
    void webBridgeAndSignOut();
    void uniqueDisplayNames();

private:
    RecordingPort port;
    AppController* controller = nullptr;
    // Stored credentials of a user whose account is not confirmed yet.
    void signIn();
    bool firstStart = false;
    QStringList startCalls; // what runTasks told the interface
    int startTick = 0;
};

void TestAppController::initTestCase()
{
    QVERIFY(openProgramDatabase());
    firstStart = SettingsManager::instance()->readSettingBool("is_first_start");
    controller = startController(&port);
    QTest::qWait(300); // the machine's fitness for 4K is judged 100 ms later
    startCalls = port.calls;
    startTick = controller->uploadTickDelay();
    QVERIFY(controller->coder);
    QCOMPARE(controller->uploader, UploadQueue::instance());
    QCOMPARE(controller->uploader->parent(), controller);
    QCOMPARE(controller->uploader->files_path, SettingsManager::instance()->readSettingStr("files_path"));
}

void TestAppController::cleanupTestCase()
{
    delete controller; // releases the uploader and closes this thread's database connection
    const QString name = "db_thr_" + QString::number(reinterpret_cast<quintptr>(QThread::currentThread()), 16);
    QVERIFY(!QSqlDatabase::contains(name));
}

void TestAppController::init()
{
    controller->is_starting = controller->is_stopping = false;
    controller->uploader->isRecording = false;
    controller->uploader->is_running = 0;
    controller->forceUpload = false;
    controller->selRect = QRect();
    controller->setVideoState(Common::Idle);
    port.attached = false;
    port.calls.clear();
    controller->tickTimer->stop(); // no service here: the uploader runs only when a test says so
}

void TestAppController::signIn()
{
    SettingsManager* settings = SettingsManager::instance();
    settings->writeSetting("login", QStringLiteral("alice"));
    settings->writeSetting("password", QStringLiteral("token-1"));
    settings->writeSetting("salt", QStringLiteral("salt-1"));
    for (const char* key : {"is_authenticated_user", "auto_upload", "mouse_highlight",
                            "instant_share_disabled_manually", "mouse_highlight_disabled_manually"})
        settings->writeSetting(key, false);
    controller->uploader->setUserCredentials("alice", "token-1", "salt-1");
}

void TestAppController::startTellsTheInterface()
{
    QCOMPARE(startCalls.mid(0, 4), (QStringList{"setLoginState(2)", "setEnableUpdateApp(false)",
                                                "setDwmIsCompositionEnabled(false)", "loadMainUI()"}));
    QCOMPARE(startCalls.count("showFirstDialogSignal()"), firstStart ? 1 : 0);
    QVERIFY(!SettingsManager::instance()->readSettingBool("is_first_start"));
    // This machine has no camera.
    QVERIFY(startCalls.indexOf("setWebcamsModel()") >= 0);
    QCOMPARE(startCalls.indexOf("setCurrentWebcam(-1)"), startCalls.indexOf("setWebcamsModel()") + 1);
    QVERIFY(startCalls.contains("setQuality4KVisible(false)")); // the test display is smaller than 4K
    QCOMPARE(startTick, 1000);
    QVERIFY(!controller->isPollingLevels());
}

void TestAppController::interfaceCalls_data()
{
    QTest::addColumn<Action>("action");
    QTest::addColumn<QStringList>("calls");
    AppController* c = controller;
    QTest::newRow("another instance wakes")
        << Action([c] { c->GotMsgFromAnotherInstance("Wake up!"); }) << QStringList{"showSettingsSignal()"};
    QTest::newRow("another message") << Action([c] { c->GotMsgFromAnotherInstance("Hello"); }) << QStringList{};
    QTest::newRow("upload done") << Action([c] {
        c->setSkipPlayerOnUpload(true);
        c->uploadFileDone(7);
    }) << QStringList{"uploadedFileId(7)", "updateGallery(7)"};
    QTest::newRow("session started") << Action([c] { c->handleRecordingStarted(1); })
                                     << QStringList{"setRecTime(00:00)", "setShortRecTime(00:00)"};
    QTest::newRow("session done") << Action([c] { c->handleRecordDone(0); })
                                  << QStringList{"clearMaskRecordingRectangle()"};
    QTest::newRow("no camera any more") << Action([c] { c->handleCamDeviceChange(); })
                                        << QStringList{"setWebcamsModel()", "setCurrentWebcam(-1)"};
    const auto status = [](InterfacePort::UpdateAppStatus s) { return QString("setUpdateAppStatus(%1)").arg(s); };
    const QList<std::tuple<int, InterfacePort::UpdateAppStatus, QString>> locks{
        {-4, InterfacePort::NoNewVersion, ""},          {-3, InterfacePort::UpdateAborted2, ""},
        {-2, InterfacePort::UpdateAborted2, ""},        {-1, InterfacePort::UpdateFailed, ""},
        {0, InterfacePort::UpdateApp, "true"},          {1, InterfacePort::Checking, "false"},
        {2, InterfacePort::Downloading, "false"},       {3, InterfacePort::Installing, "false"},
        {4, InterfacePort::NewVersionAvaliable, "true"}};
    for (const auto& [lock, s, enable] : locks) {
        QStringList calls{status(s)};
        if (!enable.isEmpty())
            calls << "setEnableUpdateApp(" + enable + ")";
        QTest::addRow("update lock %d", lock) << Action([c, lock = lock] { c->UpdateButtonLock(lock); }) << calls;
    }
    QTest::newRow("unknown update lock") << Action([c] { c->UpdateButtonLock(9); }) << QStringList{};
}

void TestAppController::interfaceCalls()
{
    QFETCH(Action, action);
    QFETCH(QStringList, calls);
    action();
    QCOMPARE(port.calls, calls);
}

void TestAppController::updateStatusIsResetAfter5s()
{
    controller->UpdateButtonLock(-1);
    QTest::qWait(4000);
    QCOMPARE(port.calls, QStringList{"setUpdateAppStatus(3)"});
    QTRY_COMPARE_WITH_TIMEOUT(port.calls, (QStringList{"setUpdateAppStatus(3)", "setUpdateAppStatus(0)"}), 3000);
}

void TestAppController::videoDialogWithAndWithoutInterface()
{
    const QStringList calls{"setRecTime(00:00)", "showVideoRecordingDialogSignal(1, 2, 300, 200, 0)"};
    controller->showVideoRecordingDialog(1, 2, 300, 200, 0);
    QCOMPARE(port.calls, calls);
    QCOMPARE(controller->getVideoState(), Common::Busy);
    QCOMPARE(controller->selectedRect(), QRect(1, 2, 300, 200)); // without an interface: taken as given
    controller->showVideoRecordingDialog(5, 6, 300, 200, 0);     // not idle: ignored
    QCOMPARE(port.calls, calls);

    init();
    port.attached = true;
    controller->showVideoRecordingDialog(1, 2, 300, 200, 0);
    QCOMPARE(port.calls, calls);
    QCOMPARE(controller->selectedRect(), QRect()); // the interface's dialog has it
}

void TestAppController::refusedStarts_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<bool>("select");
    QTest::addColumn<bool>("attached");
    QTest::newRow("15 wide") << QRect(10, 10, 15, 100) << true << false;
    QTest::newRow("7 high") << QRect(10, 10, 100, 7) << true << false;
    QTest::newRow("no selection") << QRect() << false << false;
    // With an interface its own selection counts, not the one set before.
    QTest::newRow("interface's selection") << QRect(0, 0, 640, 360) << true << true;
}

void TestAppController::refusedStarts()
{
    QFETCH(QRect, rect);
    QFETCH(bool, select);
    QFETCH(bool, attached);
    controller->setSelectedRectangle(rect);
    QCOMPARE(port.calls, QStringList{QString("setSelectedRectangle(%1, %2, %3, %4, 0)")
                                         .arg(rect.x())
                                         .arg(rect.y())
                                         .arg(rect.width())
                                         .arg(rect.height())});
    port.attached = attached;
    port.chosen = QRect(10, 10, 15, 8);
    QTest::ignoreMessage(QtDebugMsg, "[AC]: select area not choosen...");
    controller->toggleRecordingSkin(select);

    QVERIFY(!controller->isStarting());
    QVERIFY(!controller->isRecording());
    QVERIFY2(controller->recordingMutex.tryLock(), "the baton must be free after a refused start");
    controller->recordingMutex.unlock();
    QTest::qWait(400); // no start was scheduled
    QCOMPARE(controller->getVideoState(), Common::Idle);
    QVERIFY(!controller->coder->isRunning());
}

void TestAppController::stopRequestsWhileSessionExists()
{
    controller->uploader->isRecording = true;

    // A session without the baton is a broken state: reported, nothing stopped.
    QTest::ignoreMessage(QtDebugMsg, "Recording mutex is unlocked! Must not happen!");
    controller->toggleRecordingSkin();
    QVERIFY(controller->recordingMutex.tryLock()); // and the baton is left free

    // The baton is held by the start in progress: a stop request is dropped.
    controller->is_starting = true;
    QTest::ignoreMessage(QtDebugMsg, "[AC]: recording is starting, error!!!");
    controller->toggleRecordingSkin();
    QVERIFY(!controller->isStopping());

    controller->is_starting = false;
    controller->is_stopping = true;
    QTest::ignoreMessage(QtDebugMsg, "[AC]: Already stopping, don't do anything for now...");
    controller->toggleRecordingSkin();
    controller->recordingMutex.unlock();
}

void TestAppController::hotKeyRefusedWhileBusy()
{
    controller->is_starting = true;
    QTest::ignoreMessage(QtDebugMsg, "[AC]: captureScreenSkins  App is Busy with starting/stopping of recording");
    controller->captureScreenSkins();
    controller->is_starting = false;
    controller->editingActive = true;
    QTest::ignoreMessage(QtDebugMsg, "[AC]: captureScreenSkins editing is active");
    controller->captureScreenSkins();
    controller->editingActive = false;
    QCOMPARE(port.calls, QStringList{}); // no selection was opened
}

void TestAppController::levelPollRule()
{
    SettingsManager* settings = SettingsManager::instance();
    settings->setMuteAudio(true);
    settings->setSystemSounds(false);
    controller->setVideoState(Common::Recording);
    QVERIFY2(!controller->isPollingLevels(), "nothing to measure");

    settings->setMuteAudio(false);
    controller->setVideoState(Common::Recording);
    QVERIFY(controller->isPollingLevels());

    // The poll reads the session's workers; their idle level is silence.
    controller->micLevel = 42;
    QSignalSpy micSpy(controller, &AppController::micLevelChanged);
    controller->levelsPollTick();
    QCOMPARE(controller->getMicLevel(), 0);
    controller->levelsPollTick();
    QCOMPARE(micSpy.count(), 1); // no signal without a change

    controller->sysLevel = 17;
    controller->setVideoState(Common::Idle);
    QVERIFY(!controller->isPollingLevels());
    QCOMPARE(controller->getSysLevel(), 0);
}

void TestAppController::tickSmoothsSessionCpuLoad()
{
    ffmpegMux* coder = controller->coder;
    coder->running = 1;
    coder->cpuLoad = 40;
    controller->tick();
    // (cpu + 3 * 40) / 4 for any sample between 0 and 100.
    QVERIFY2(coder->cpuLoad >= 30 && coder->cpuLoad <= 55, qPrintable(QString::number(coder->cpuLoad)));
    coder->running = 0;
    controller->tick();
    QCOMPARE(coder->cpuLoad, 0); // no session, no load
    QTest::qWait(50);            // let the queued run reports pass
}

void TestAppController::uploaderCadence_data()
{
    QTest::addColumn<Action>("action");
    QTest::addColumn<int>("delay"); // of the next run; -1 none
    QTest::addColumn<bool>("forced");
    AppController* c = controller;
    // Nobody is signed in: the run ends at once with "nothing more for now".
    QTest::newRow("tick") << Action([c] { c->tick(); }) << 5000 << false;
    QTest::newRow("tick during a run") << Action([c] {
        c->uploader->is_running = 1;
        QTest::ignoreMessage(QtDebugMsg, "UploadQueue() still running...");
        c->tick();
    }) << -1 << false;
    QTest::newRow("finished 128") << Action([c] { c->uploadFinished(128); }) << 500 << false;
    QTest::newRow("finished 127, a retry") << Action([c] { c->uploadFinished(127); }) << 5000 << true;
    QTest::newRow("finished 0") << Action([c] { c->uploadFinished(0); }) << 5000 << false;
    QTest::newRow("activate during a run") << Action([c] {
        c->uploader->is_running = 1;
        QTest::ignoreMessage(QtDebugMsg, "[AC]: activateUploader  - is already active.");
        QVERIFY(!c->activateUploader());
    }) << -1 << true;
    // Automatic upload is off without an account, so the run is forced.
    QTest::newRow("activate") << Action([c] { QVERIFY(c->activateUploader()); }) << 100 << true;
}

void TestAppController::uploaderCadence()
{
    QFETCH(Action, action);
    QFETCH(int, delay);
    QFETCH(bool, forced);
    controller->tickTimer->stop();
    action();
    QCOMPARE(controller->uploadTickDelay(), delay);
    QCOMPARE(controller->isUploadForced(), forced);
}

void TestAppController::suspendAndResume()
{
    controller->uploadFinished(0);
    controller->suspendPower();
    QVERIFY(!controller->isPowerOn());
    QCOMPARE(controller->uploadTickDelay(), -1);
    controller->suspendPower(); // a second event is a no-op
    QVERIFY(!controller->isPowerOn());

    controller->resumePower();
    QVERIFY(controller->isPowerOn());
    QCOMPARE(controller->uploadTickDelay(), 5000);
}

void TestAppController::getUserAnswers_data()
{
    QTest::addColumn<QString>("result");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("manual"); // the user switched sharing and highlighting off
    QTest::addColumn<bool>("signedIn");
    QTest::addColumn<bool>("switchedOn");
    QTest::newRow("same name") << "OK"
                               << "alice" << false << true << true;
    QTest::newRow("new name") << "OK"
                              << "alice2" << false << true << true;
    QTest::newRow("manual choices stay") << "OK"
                                         << "alice" << true << true << false;
    QTest::newRow("refused") << "FAIL"
                             << "" << false << false << false;
}

void TestAppController::getUserAnswers()
{
    QFETCH(QString, result);
    QFETCH(QString, name);
    QFETCH(bool, manual);
    QFETCH(bool, signedIn);
    QFETCH(bool, switchedOn);
    signIn();
    SettingsManager* settings = SettingsManager::instance();
    settings->writeSetting("instant_share_disabled_manually", manual);
    settings->writeSetting("mouse_highlight_disabled_manually", manual);
    const QString rand = controller->uploader->userRand;
    QMap<QString, QString> answer{{"result", result}, {"message", "<b/>"}};
    if (!name.isEmpty())
        answer.insert("name", name);
    controller->setUserInfo2(answer, "get_user");
    QCOMPARE(settings->readSettingBool("is_authenticated_user"), signedIn);
    QCOMPARE(settings->readSettingBool("auto_upload"), switchedOn);
    QCOMPARE(settings->readSettingBool("mouse_highlight"), switchedOn);
    // Only a new name is stored and handed on, with the stored token and salt.
    QCOMPARE(settings->readSettingStr("login"), name.isEmpty() ? "alice" : name);
    QCOMPARE(controller->uploader->userRand != rand, name == "alice2");
    QCOMPARE(controller->uploader->userHash, QStringLiteral("token-1"));
    QCOMPARE(port.calls.filter("setXmlMessage"), QStringList{"setXmlMessage(<b/>)"});
}

void TestAppController::refusalsThatSignOut_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("signedOut");
    QTest::newRow("invalid token") << "INVALID TOKEN!"
                                   << "" << true;
    QTest::newRow("invalid token, any case") << "Invalid Token!"
                                             << "" << true;
    QTest::newRow("account deleted") << ""
                                     << "deleted" << true;
    QTest::newRow("not authorized") << "NOT AUTHORIZED!"
                                    << "" << false;
    QTest::newRow("other error") << "Server is busy"
                                 << "" << false;
}

void TestAppController::refusalsThatSignOut()
{
    QFETCH(QString, message);
    QFETCH(QString, status);
    QFETCH(bool, signedOut);
    QMap<QString, QString> error{{"result", "ERROR"}, {"message", message}, {"status", status}};
    signIn();
    SettingsManager* settings = SettingsManager::instance();
    for (const char* key :
         {"is_authenticated_user", "auto_upload", "mouse_highlight", "instant_share_disabled_manually"})
        settings->writeSetting(key, true);
    settings->writeSetting("recording_quality", 2);
    controller->setUserInfo2(error, "get_upload_url");
    QCOMPARE(settings->readSettingStr("password").isEmpty(), signedOut);
    QCOMPARE(controller->uploader->userHash.isEmpty(), signedOut);
    QCOMPARE(port.calls.contains("setLoginState(1)"), signedOut);
    if (!signedOut)
        return;
    for (const char* key : {"login", "password", "salt"})
        QVERIFY2(settings->readSettingStr(key).isEmpty(), key);
    for (const char* key : {"is_authenticated_user", "auto_upload", "mouse_highlight",
                            "instant_share_disabled_manually", "mouse_highlight_disabled_manually"})
        QVERIFY2(!settings->readSettingBool(key), key);
    QCOMPARE(settings->readSettingInt("recording_quality"), 0);
    QVERIFY(settings->readSettingBool("isVideoQualityNeverSet"));
    QVERIFY(!controller->isAutoUploadActive());
}

void TestAppController::webBridgeAndSignOut()
{
    ApiCalls* api = controller->apiCalls;
    signIn();
    controller->setTabIndex(0);
    QCOMPARE(api->invokeSignedInState(), 1);
    SettingsManager::instance()->writeSetting("is_authenticated_user", true);
    QCOMPARE(api->invokeSignedInState(), 3);
    controller->setTabIndex(2);
    QCOMPARE(api->invokeSignedInState(), 67);
    controller->setTabIndex(1);
    QCOMPARE(api->invokeSignedInState(), 0);
    controller->setTabIndex(0);
    QVERIFY(port.calls.contains("setLoginState(2)"));

    // New credentials from the sign-in page reach the settings and, through
    // reloadUploader, the uploader, which is run at once.
    api->invokeApplyNewCredentials("bob", "token-2", "salt-2");
    QCOMPARE(SettingsManager::instance()->readSettingStr("login"), QStringLiteral("bob"));
    QCOMPARE(SettingsManager::instance()->readSettingStr("salt"), QStringLiteral("salt-2"));
    QCOMPARE(controller->uploader->userHash, QStringLiteral("token-2"));
    QCOMPARE(controller->uploadTickDelay(), 100);
    controller->tickTimer->stop();
    // Signed out, the share button asks for an account instead of uploading.
    controller->logOut();
    QCOMPARE(api->invokeSignedInState(), 0);
    QCOMPARE(port.calls.last(), QString("setLoginState(1)"));
}

void TestAppController::uniqueDisplayNames()
{
    auto insert = [](uint id, const QString& title) {
        const QString quoted = QString(title).replace('\'', "''");
        sqliteRows(QString("INSERT INTO files (file_name, file_id, file_pseudoname) VALUES ('%1.mp4', %2, '%1');")
                       .arg(quoted)
                       .arg(id));
    };
    QCOMPARE(controller->rewriteNameLineIfNeeded("Clip"), QString("Clip"));
    insert(101, "Clip");
    QCOMPARE(controller->rewriteNameLineIfNeeded("Clip"), QString("Clip (1)"));
    insert(102, "Clip (1)");
    QCOMPARE(controller->rewriteNameLineIfNeeded("Clip"), QString("Clip (2)"));
    insert(103, "Take (7)");
    QCOMPARE(controller->rewriteNameLineIfNeeded("Take (7)"), QString("Take (8)"));
    insert(104, "Bob's demo");
    QCOMPARE(controller->rewriteNameLineIfNeeded("Bob's demo"), QString("Bob's demo (1)"));
    QCOMPARE(sqliteRows("SELECT COUNT(*) FROM files;"), QStringList{"4"}); // nothing written by the lookups
}

QTEST_MAIN(TestAppController)
#include "test_appcontroller.moc"
