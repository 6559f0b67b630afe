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
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QtTest>

#include <functional>

using Action = std::function<void()>;
Q_DECLARE_METATYPE(Action)

namespace {
const char* const kAccountFlags[] = {"is_authenticated_user", "auto_upload", "mouse_highlight",
                                     "instant_share_disabled_manually", "mouse_highlight_disabled_manually"};
SettingsManager* settings()
{
    return SettingsManager::instance();
}
} // namespace

class TestAppController : public QObject
{
    Q_OBJECT

    RecordingPort port;
    AppController* controller = nullptr;

    // Stored credentials of a user whose account is not confirmed yet.
    void signIn()
    {
        settings()->writeSetting("login", QStringLiteral("alice"));
        settings()->writeSetting("password", QStringLiteral("token-1"));
        settings()->writeSetting("salt", QStringLiteral("salt-1"));
        for (const char* key : kAccountFlags)
            settings()->writeSetting(key, false);
        controller->uploader->setUserCredentials("alice", "token-1", "salt-1");
    }

private slots:
    // Start-up, checked once: what runTasks told the interface and what it built.
    void initTestCase()
    {
        QVERIFY(openProgramDatabase());
        const bool firstStart = settings()->readSettingBool("is_first_start");
        controller = startController(&port);
        QTest::qWait(300); // the machine's fitness for 4K is judged 100 ms later
        QCOMPARE(port.calls.mid(0, 4), (QStringList{"setLoginState(2)", "setEnableUpdateApp(false)",
                                                    "setDwmIsCompositionEnabled(false)", "loadMainUI()"}));
        QCOMPARE(port.count("showFirstDialogSignal()"), firstStart ? 1 : 0);
        QVERIFY(!settings()->readSettingBool("is_first_start"));
        // This machine has no camera.
        QVERIFY(port.calls.indexOf("setWebcamsModel()") >= 0);
        QCOMPARE(port.calls.indexOf("setCurrentWebcam(-1)"), port.calls.indexOf("setWebcamsModel()") + 1);
        QVERIFY(port.calls.contains("setQuality4KVisible(false)")); // the test display is smaller than 4K
        QCOMPARE(controller->uploadTickDelay(), 1000);
        QVERIFY(!controller->isPollingLevels());
        QVERIFY(controller->coder);
        QCOMPARE(controller->uploader, UploadQueue::instance());
        QCOMPARE(controller->uploader->parent(), controller);
        QCOMPARE(controller->uploader->files_path, settings()->readSettingStr("files_path"));
    }

    void cleanupTestCase()
    {
        delete controller; // releases the uploader and closes this thread's database connection
        QVERIFY(!QSqlDatabase::contains("db_thr_" + QString::number(quintptr(QThread::currentThread()), 16)));
    }

    void init()
    {
        controller->is_starting = controller->is_stopping = controller->editingActive = false;
        controller->uploader->isRecording = false;
        controller->uploader->is_running = 0;
        controller->forceUpload = false;
        controller->selRect = QRect();
        controller->setVideoState(Common::Idle);
        port.attached = false;
        port.calls.clear();
        controller->tickTimer->stop(); // no service here: the uploader runs only when a test says so
    }

    // Before the update lock rows below, whose own resets would come in between.
    void updateStatusIsResetAfter5s()
    {
        controller->UpdateButtonLock(-1);
        QTest::qWait(4000);
        QCOMPARE(port.calls, QStringList{"setUpdateAppStatus(3)"});
        QTRY_COMPARE_WITH_TIMEOUT(port.calls, (QStringList{"setUpdateAppStatus(3)", "setUpdateAppStatus(0)"}), 3000);
    }

    void interfaceCalls_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QStringList>("calls");
        AppController* c = controller;
        const auto row = [](const char* name, Action action, QStringList calls) {
            QTest::newRow(name) << action << calls;
        };
        row("another instance wakes", [c] { c->GotMsgFromAnotherInstance("Wake up!"); }, {"showSettingsSignal()"});
        row("another message", [c] { c->GotMsgFromAnotherInstance("Hello"); }, {});
        const auto skipPlayer = [c] {
            c->setSkipPlayerOnUpload(true);
            c->uploadFileDone(7);
        };
        row("upload done", skipPlayer, {"uploadedFileId(7)", "updateGallery(7)"});
        row("session started", [c] { c->handleRecordingStarted(1); }, {"setRecTime(00:00)", "setShortRecTime(00:00)"});
        row("session done", [c] { c->handleRecordDone(0); }, {"clearMaskRecordingRectangle()"});
        row("no camera any more", [c] { c->handleCamDeviceChange(); }, {"setWebcamsModel()", "setCurrentWebcam(-1)"});
        // The hot key opens no selection while a start or stop is under way, or the shortcut is being edited.
        row("hot key while starting", [c] { c->is_starting = true, c->captureScreenSkins(); }, {});
        row("hot key while stopping", [c] { c->is_stopping = true, c->captureScreenSkins(); }, {});
        row("hot key while editing", [c] { c->editingActive = true, c->captureScreenSkins(); }, {});
        const auto busyDialog = [c] {
            c->setVideoState(Common::Busy);
            c->showVideoRecordingDialog(5, 6, 300, 200, 0);
        };
        row("recording dialog when not idle", busyDialog, {});
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
        row("unknown update lock", [c] { c->UpdateButtonLock(9); }, {});
    }

    void interfaceCalls()
    {
        QFETCH(Action, action);
        QFETCH(QStringList, calls);
        action();
        QCOMPARE(port.calls, calls);
    }

    void videoDialogWithAndWithoutInterface_data()
    {
        QTest::addColumn<bool>("attached");
        QTest::addColumn<QRect>("taken"); // without an interface the rectangle is taken as given
        QTest::newRow("without interface") << false << QRect(1, 2, 300, 200);
        QTest::newRow("the interface's dialog") << true << QRect();
    }

    void videoDialogWithAndWithoutInterface()
    {
        QFETCH(bool, attached);
        QFETCH(QRect, taken);
        port.attached = attached;
        controller->showVideoRecordingDialog(1, 2, 300, 200, 0);
        QCOMPARE(port.calls, (QStringList{"setRecTime(00:00)", "showVideoRecordingDialogSignal(1, 2, 300, 200, 0)"}));
        QCOMPARE(controller->getVideoState(), Common::Busy);
        QCOMPARE(controller->selectedRect(), taken);
    }

    void refusedStarts_data()
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

    void refusedStarts()
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
        QVERIFY(!controller->isStarting() && !controller->isRecording());
        QVERIFY2(controller->recordingMutex.tryLock(), "the baton must be free after a refused start");
        controller->recordingMutex.unlock();
        QTest::qWait(400); // no start was scheduled
        QCOMPARE(controller->getVideoState(), Common::Idle);
        QVERIFY(!controller->coder->isRunning());
    }

    void stopRequestsWhileSessionExists()
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

    void levelsAndLoadOfTheSession()
    {
        settings()->setMuteAudio(true);
        settings()->setSystemSounds(false);
        controller->setVideoState(Common::Recording);
        QVERIFY2(!controller->isPollingLevels(), "nothing to measure");
        settings()->setMuteAudio(false);
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

    void uploaderCadence_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<int>("delay"); // of the next run; -1 none
        QTest::addColumn<bool>("forced");
        AppController* c = controller;
        const auto row = [](const char* name, Action action, int delay, bool forced) {
            QTest::newRow(name) << action << delay << forced;
        };
        // Nobody is signed in: the run ends at once with "nothing more for now".
        row(
            "tick", [c] { c->tick(); }, 5000, false);
        const auto tickInRun = [c] {
            c->uploader->is_running = 1;
            QTest::ignoreMessage(QtDebugMsg, "UploadQueue() still running...");
            c->tick();
        };
        row("tick during a run", tickInRun, -1, false);
        row(
            "finished 128", [c] { c->uploadFinished(128); }, 500, false);
        row(
            "finished 127, a retry", [c] { c->uploadFinished(127); }, 5000, true);
        row(
            "finished 0", [c] { c->uploadFinished(0); }, 5000, false);
        const auto activateInRun = [c] {
            c->uploader->is_running = 1;
            QTest::ignoreMessage(QtDebugMsg, "[AC]: activateUploader  - is already active.");
            QVERIFY(!c->activateUploader());
        };
        row("activate during a run", activateInRun, -1, true);
        // Automatic upload is off without an account, so the run is forced.
        row(
            "activate", [c] { QVERIFY(c->activateUploader()); }, 100, true);
        const auto suspend = [c] {
            c->uploadFinished(0);
            c->suspendPower();
            c->suspendPower(); // a second event is a no-op
            QVERIFY(!c->isPowerOn());
        };
        row("suspended", suspend, -1, false);
        const auto resume = [c] {
            c->resumePower();
            QVERIFY(c->isPowerOn());
        };
        row("resumed", resume, 5000, false);
    }

    void uploaderCadence()
    {
        QFETCH(Action, action);
        QFETCH(int, delay);
        QFETCH(bool, forced);
        action();
        QCOMPARE(controller->uploadTickDelay(), delay);
        QCOMPARE(controller->isUploadForced(), forced);
    }

    // What the service's answer to get_user sets; "manual": the user switched
    // sharing and highlighting off.
    void getUserAnswers_data()
    {
        QTest::addColumn<QString>("result");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("manual");
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<bool>("switchedOn");
        const auto row = [](const char* row, QString result, QString name, bool manual, bool in, bool on) {
            QTest::newRow(row) << result << name << manual << in << on;
        };
        row("same name", "OK", "alice", false, true, true);
        row("new name", "OK", "alice2", false, true, true);
        row("manual choices stay", "OK", "alice", true, true, false);
        row("refused", "FAIL", "", false, false, false);
    }

    void getUserAnswers()
    {
        QFETCH(QString, result);
        QFETCH(QString, name);
        QFETCH(bool, manual);
        QFETCH(bool, signedIn);
        QFETCH(bool, switchedOn);
        signIn();
        settings()->writeSetting("instant_share_disabled_manually", manual);
        settings()->writeSetting("mouse_highlight_disabled_manually", manual);
        const QString rand = controller->uploader->userRand;
        QMap<QString, QString> answer{{"result", result}, {"message", "<b/>"}};
        if (!name.isEmpty())
            answer.insert("name", name);
        controller->setUserInfo2(answer, "get_user");
        QCOMPARE(settings()->readSettingBool("is_authenticated_user"), signedIn);
        QCOMPARE(settings()->readSettingBool("auto_upload"), switchedOn);
        QCOMPARE(settings()->readSettingBool("mouse_highlight"), switchedOn);
        // Only a new name is stored and handed on, with the stored token and salt.
        QCOMPARE(settings()->readSettingStr("login"), name.isEmpty() ? "alice" : name);
        QCOMPARE(controller->uploader->userRand != rand, name == "alice2");
        QCOMPARE(controller->uploader->userHash, QStringLiteral("token-1"));
        QCOMPARE(port.calls.filter("setXmlMessage"), QStringList{"setXmlMessage(<b/>)"});
    }

    void refusalsThatSignOut_data()
    {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("status");
        QTest::addColumn<bool>("signedOut");
        const auto row = [](const char* row, QString message, QString status, bool signedOut) {
            QTest::newRow(row) << message << status << signedOut;
        };
        row("invalid token", "INVALID TOKEN!", "", true);
        row("invalid token, any case", "Invalid Token!", "", true);
        row("account deleted", "", "deleted", true);
        row("not authorized", "NOT AUTHORIZED!", "", false);
        row("other error", "Server is busy", "", false);
    }

    void refusalsThatSignOut()
    {
        QFETCH(QString, message);
        QFETCH(QString, status);
        QFETCH(bool, signedOut);
        signIn();
        for (const char* key : kAccountFlags)
            settings()->writeSetting(key, true);
        settings()->writeSetting("recording_quality", 2);
        QMap<QString, QString> error{{"result", "ERROR"}, {"message", message}, {"status", status}};
        controller->setUserInfo2(error, "get_upload_url");
        QCOMPARE(settings()->readSettingStr("password").isEmpty(), signedOut);
        QCOMPARE(controller->uploader->userHash.isEmpty(), signedOut);
        QCOMPARE(port.calls.contains("setLoginState(1)"), signedOut);
        QCOMPARE(controller->isAutoUploadActive(), !signedOut);
        for (const char* key : {"login", "salt"})
            QCOMPARE(settings()->readSettingStr(key).isEmpty(), signedOut);
        for (const char* key : kAccountFlags)
            QCOMPARE(settings()->readSettingBool(key), !signedOut);
        QCOMPARE(settings()->readSettingInt("recording_quality"), signedOut ? 0 : 2);
        if (signedOut)
            QVERIFY(settings()->readSettingBool("isVideoQualityNeverSet"));
    }

    void webBridgeAndSignOut()
    {
        ApiCalls* api = controller->apiCalls;
        signIn();
        const QList<std::tuple<int, bool, int>> states{{0, false, 1}, {0, true, 3}, {2, true, 67}, {1, true, 0}};
        for (const auto& [tab, authenticated, state] : states) {
            controller->setTabIndex(tab);
            settings()->writeSetting("is_authenticated_user", authenticated);
            QCOMPARE(api->invokeSignedInState(), state);
        }
        controller->setTabIndex(0);
        QVERIFY(port.calls.contains("setLoginState(2)"));
        // New credentials from the sign-in page reach the settings and, through
        // reloadUploader, the uploader, which is run at once.
        api->invokeApplyNewCredentials("bob", "token-2", "salt-2");
        QCOMPARE(settings()->readSettingStr("login"), QStringLiteral("bob"));
        QCOMPARE(settings()->readSettingStr("salt"), QStringLiteral("salt-2"));
        QCOMPARE(controller->uploader->userHash, QStringLiteral("token-2"));
        QCOMPARE(controller->uploadTickDelay(), 100);
        controller->tickTimer->stop();
        // Signed out, the share button asks for an account instead of uploading.
        controller->logOut();
        QCOMPARE(api->invokeSignedInState(), 0);
        QCOMPARE(port.calls.last(), QString("setLoginState(1)"));
    }

    void uniqueDisplayNames()
    {
        // Each step stores a file under its title (when there is one), then asks for a name.
        const QList<std::array<QString, 3>> steps{{"", "Clip", "Clip"},
                                                  {"Clip", "Clip", "Clip (1)"},
                                                  {"Clip (1)", "Clip", "Clip (2)"},
                                                  {"Take (7)", "Take (7)", "Take (8)"},
                                                  {"Bob's demo", "Bob's demo", "Bob's demo (1)"}};
        uint id = 100;
        for (const auto& [stored, asked, name] : steps) {
            if (!stored.isEmpty())
                sqliteRows(
                    QString("INSERT INTO files (file_name, file_id, file_pseudoname) VALUES ('%1.mp4', %2, '%1');")
                        .arg(QString(stored).replace('\'', "''"))
                        .arg(++id));
            QCOMPARE(controller->rewriteNameLineIfNeeded(asked), name);
        }
        QCOMPARE(sqliteRows("SELECT COUNT(*) FROM files;"), QStringList{"4"}); // nothing written by the lookups
    }
};

QTEST_MAIN(TestAppController)
#include "test_appcontroller.moc"
