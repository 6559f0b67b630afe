// The capture controller without a recording: interface calls, start refusals,
// level polling, upload cadence, power events, the account session, display names.
#include "ApiCalls.h"
#include "RecordingPort.h"
#include "UploadQueue.h"
#include "WorkflowTestSupport.h"
#include "ffmpegMux.h"

#include <QApplication>
#include <QRegularExpression>
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

    // Stored credentials, and the account flags (kAccountFlags in order, "1" on).
    void signIn(const QString& flags = "00000")
    {
        settings()->writeSetting("login", QStringLiteral("alice"));
        settings()->writeSetting("password", QStringLiteral("token-1"));
        settings()->writeSetting("salt", QStringLiteral("salt-1"));
        for (int i = 0; i < 5; ++i)
            settings()->writeSetting(kAccountFlags[i], flags[i] == '1');
        controller->uploader->setUserCredentials("alice", "token-1", "salt-1");
    }

private slots:
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
        QVERIFY(port.calls.join(' ').contains("setWebcamsModel() setCurrentWebcam(-1)")); // no camera here
        QVERIFY(port.calls.contains("setQuality4KVisible(false)")); // the test display is smaller than 4K
        QCOMPARE(controller->uploadTickDelay(), 1000);
        QVERIFY(!controller->isPollingLevels() && controller->coder);
        QCOMPARE(controller->uploader->files_path, settings()->readSettingStr("files_path"));
    }

    void cleanupTestCase()
    {
        delete controller; // releases the uploader and closes this thread's database connection
        QVERIFY(!QSqlDatabase::contains("db_thr_" + QString::number(quintptr(QThread::currentThread()), 16)));
    }

    void init()
    {
        controller->is_starting = controller->is_stopping = controller->editingActive = controller->forceUpload =
            controller->uploader->isRecording = false;
        controller->uploader->is_running = 0;
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

    // What an action tells the interface, and the uploader's next run after it
    // ("run in <ms>", "forced": a run that must happen even without automatic upload).
    void reactions_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QString>("reaction");
        AppController* c = controller;
        RecordingPort* p = &port;
        const auto row = [](const char* name, QString reaction, Action action) {
            QTest::newRow(name) << action << reaction;
        };
        row("another instance wakes", "showSettingsSignal()", [c] { c->GotMsgFromAnotherInstance("Wake up!"); });
        row("another message", "", [c] { c->GotMsgFromAnotherInstance("Hello"); });
        row("upload done", "uploadedFileId(7) updateGallery(7)",
            [c] { c->setSkipPlayerOnUpload(true), c->uploadFileDone(7); });
        row("session started", "setRecTime(00:00) setShortRecTime(00:00)", [c] { c->handleRecordingStarted(1); });
        row("session done", "clearMaskRecordingRectangle()", [c] { c->handleRecordDone(0); });
        // With automatic upload the finished file's last ranges go at once.
        row("session done, uploading", "clearMaskRecordingRectangle() run in 0", [c] {
            const bool autoUpload = settings()->readSettingBool("auto_upload");
            settings()->writeSetting("is_authenticated_user", true);
            settings()->writeSetting("auto_upload", true); // asks for a run 100 ms later
            c->handleRecordDone(0);
            settings()->writeSetting("auto_upload", autoUpload);
            settings()->writeSetting("is_authenticated_user", false);
        });
        row("no camera any more", "setWebcamsModel() setCurrentWebcam(-1)", [c] { c->handleCamDeviceChange(); });
        row("hot key while starting", "", [c] { c->is_starting = true, c->captureScreenSkins(); });
        row("hot key while stopping", "", [c] { c->is_stopping = true, c->captureScreenSkins(); });
        row("hot key while editing", "", [c] { c->editingActive = true, c->captureScreenSkins(); });
        const auto dialog = [c, p](bool attached, QRect taken) {
            return Action([=] {
                p->attached = attached;
                c->showVideoRecordingDialog(1, 2, 300, 200, 0);
                QCOMPARE(c->getVideoState(), Common::Busy);
                QCOMPARE(c->selectedRect(), taken);
            });
        };
        const QString shown = "setRecTime(00:00) showVideoRecordingDialogSignal(1, 2, 300, 200, 0)";
        row("video dialog without interface", shown, dialog(false, QRect(1, 2, 300, 200)));
        row("the interface's video dialog", shown, dialog(true, QRect()));
        row("video dialog when not idle", "",
            [c] { c->setVideoState(Common::Busy), c->showVideoRecordingDialog(5, 6, 300, 200, 0); });
        const auto refused = [c, p](QRect rect, bool select, bool attached) {
            return Action([=] {
                c->setSelectedRectangle(rect);
                p->attached = attached;
                p->chosen = QRect(10, 10, 15, 8);
                QTest::ignoreMessage(QtDebugMsg, "[AC]: select area not choosen...");
                c->toggleRecordingSkin(select);
                QVERIFY2(c->recordingMutex.tryLock(), "the baton must be free after a refused start");
                c->recordingMutex.unlock();
                QTest::qWait(400); // no start was scheduled
                QVERIFY(c->getVideoState() == Common::Idle && !c->coder->isRunning());
            });
        };
        row("start 15 wide", "setSelectedRectangle(10, 10, 15, 100, 0)", refused(QRect(10, 10, 15, 100), true, false));
        row("start 7 high", "setSelectedRectangle(10, 10, 100, 7, 0)", refused(QRect(10, 10, 100, 7), true, false));
        row("start without selection", "setSelectedRectangle(0, 0, 0, 0, 0)", refused(QRect(), false, false));
        row("start in the interface's selection", "setSelectedRectangle(0, 0, 640, 360, 0)",
            refused(QRect(0, 0, 640, 360), true, true));
        const QString on = " setEnableUpdateApp(true)", off = " setEnableUpdateApp(false)";
        const QList<std::tuple<int, InterfacePort::UpdateAppStatus, QString>> locks{
            {-4, InterfacePort::NoNewVersion, ""},      {-3, InterfacePort::UpdateAborted2, ""},
            {-2, InterfacePort::UpdateAborted2, ""},    {-1, InterfacePort::UpdateFailed, ""},
            {0, InterfacePort::UpdateApp, on},          {1, InterfacePort::Checking, off},
            {2, InterfacePort::Downloading, off},       {3, InterfacePort::Installing, off},
            {4, InterfacePort::NewVersionAvaliable, on}};
        for (const auto& [lock, status, enable] : locks)
            QTest::addRow("update lock %d", lock) << Action([c, lock = lock] { c->UpdateButtonLock(lock); })
                                                  << QString("setUpdateAppStatus(%1)%2").arg(status).arg(enable);
        row("unknown update lock", "", [c] { c->UpdateButtonLock(9); });
        // The quality buttons; 4K on this display, smaller than 4K, falls back to HD and hides its button.
        const auto quality = [c](void (AppController::*button)(), Common::RecordingQuality expected) {
            return Action([=] {
                (c->*button)();
                QCOMPARE(settings()->quality(), expected);
            });
        };
        row("quality SD", "", quality(&AppController::buttonClickedSD, Common::RECORDING_QUALITY_SD));
        row("quality HD", "", quality(&AppController::buttonClickedHD, Common::RECORDING_QUALITY_HD));
        row("quality 4K refused", "setQuality4KVisible(false)",
            quality(&AppController::buttonClicked4K, Common::RECORDING_QUALITY_HD));
        // The uploader's cadence. Nobody is signed in: a run ends at once with "nothing more for now".
        row("tick", "run in 5000", [c] { c->tick(); });
        row("tick during a run", "", [c] {
            c->uploader->is_running = 1;
            QTest::ignoreMessage(QtDebugMsg, "UploadQueue() still running...");
            c->tick();
        });
        row("finished 128", "run in 500", [c] { c->uploadFinished(128); });
        row("finished 127, a retry", "run in 5000 forced", [c] { c->uploadFinished(127); });
        row("finished 0", "run in 5000", [c] { c->uploadFinished(0); });
        row("activate during a run", "forced", [c] {
            c->uploader->is_running = 1;
            QTest::ignoreMessage(QtDebugMsg, "[AC]: activateUploader  - is already active.");
            QVERIFY(!c->activateUploader());
        });
        // Automatic upload is off without an account, so the run is forced.
        row("activate", "run in 100 forced", [c] { QVERIFY(c->activateUploader()); });
        row("suspended", "", [c] {
            c->uploadFinished(0);
            c->suspendPower();
            c->suspendPower(); // a second event is a no-op
            QVERIFY(!c->isPowerOn());
        });
        row("resumed", "run in 5000", [c] {
            c->resumePower();
            QVERIFY(c->isPowerOn());
        });
    }

    void reactions()
    {
        QFETCH(Action, action);
        QFETCH(QString, reaction);
        action();
        QStringList got = port.calls;
        if (controller->uploadTickDelay() >= 0)
            got << "run in " + QString::number(controller->uploadTickDelay());
        if (controller->isUploadForced())
            got << "forced";
        QCOMPARE(got.join(' '), reaction);
    }

    void stopRequestsWhileSessionExists()
    {
        controller->uploader->isRecording = true;
        // Without the baton the session is broken: reported, and the baton left free.
        QTest::ignoreMessage(QtDebugMsg, "Recording mutex is unlocked! Must not happen!");
        controller->toggleRecordingSkin();
        QVERIFY(controller->recordingMutex.tryLock());
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
        QVERIFY(!controller->isPollingLevels() && controller->getSysLevel() == 0);
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

    // The account flags before (kAccountFlags in order, "1" on), a request and
    // the service's answer ("key=value;..."), against the account after:
    // "login,password,salt|uploader's token|flags|quality,never set|new rand|interface state".
    void serviceAnswers_data()
    {
        QTest::addColumn<QString>("given");
        QTest::addColumn<QString>("account");
        const auto row = [](const char* name, QString given, QString account) {
            QTest::newRow(name) << given << account;
        };
        const QString kept = "alice,token-1,salt-1|token-1|", out = ",,||00000|0,true|false|setXmlMessage(";
        const QString ok = "|get_user|result=OK;message=<b/>;name=", bad = "11111|get_upload_url|result=ERROR;message=";
        row("same name", "00000" + ok + "alice", kept + "11100|2,false|false|setXmlMessage(<b/>)");
        row("new name", "00000" + ok + "alice2",
            "alice2,token-1,salt-1|token-1|11100|2,false|true|setXmlMessage(<b/>)");
        row("manual choices stay", "00011" + ok + "alice", kept + "10011|2,false|false|setXmlMessage(<b/>)");
        row("refused", "11100|get_user|result=FAIL;message=<b/>", kept + "01100|2,false|false|setXmlMessage(<b/>)");
        row("invalid token", bad + "INVALID TOKEN!", out + "INVALID TOKEN!) setLoginState(1)");
        row("invalid token, any case", bad + "Invalid Token!", out + "Invalid Token!) setLoginState(1)");
        row("account deleted", bad + ";status=deleted", out + ") setLoginState(1)");
        row("not authorized", bad + "NOT AUTHORIZED!", kept + "11111|2,false|false|setXmlMessage(NOT AUTHORIZED!)");
        row("other error", bad + "Server is busy", kept + "11111|2,false|false|setXmlMessage(Server is busy)");
    }

    void serviceAnswers()
    {
        QFETCH(QString, given);
        QFETCH(QString, account);
        const QStringList parts = given.split('|');
        signIn(parts[0]);
        settings()->writeSetting("recording_quality", 2);
        settings()->writeSetting("isVideoQualityNeverSet", false);
        const QString rand = controller->uploader->userRand;
        port.calls.clear();
        QMap<QString, QString> answer;
        for (const QString& pair : parts[2].split(';'))
            answer.insert(pair.section('=', 0, 0), pair.section('=', 1));
        controller->setUserInfo2(answer, parts[1]);
        const auto text = [](const char* key) { return settings()->readSettingStr(key); };
        QStringList calls = port.calls.filter(QRegularExpression("^set")); // the interface's state, each once
        calls.removeDuplicates();
        QString flags;
        for (const char* key : kAccountFlags)
            flags += text(key) == "true" ? '1' : '0';
        const QString after = text("login") + ',' + text("password") + ',' + text("salt") + '|'
                              + controller->uploader->userHash + '|' + flags + '|' + text("recording_quality") + ','
                              + text("isVideoQualityNeverSet") + '|'
                              + (controller->uploader->userRand != rand ? "true|" : "false|") + calls.join(' ');
        QCOMPARE(after, account);
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
        // New credentials reach the settings and the uploader, which runs at once.
        api->invokeApplyNewCredentials("bob", "token-2", "salt-2");
        QCOMPARE(settings()->readSettingStr("login") + ' ' + settings()->readSettingStr("salt") + ' '
                     + controller->uploader->userHash,
                 QString("bob salt-2 token-2"));
        QCOMPARE(controller->uploadTickDelay(), 100);
        controller->tickTimer->stop();
        // Signed out, the share button asks for an account instead of uploading.
        controller->logOut();
        QCOMPARE(api->invokeSignedInState(), 0);
        QCOMPARE(port.calls.last(), QString("setLoginState(1)"));
    }

    void uniqueDisplayNames()
    {
        // Each step, "stored|asked|name", stores a file under its title (when there is one), then asks for a name.
        const QStringList steps{"|Clip|Clip", "Clip|Clip|Clip (1)", "Clip (1)|Clip|Clip (2)",
                                "Take (7)|Take (7)|Take (8)", "Bob's demo|Bob's demo|Bob's demo (1)"};
        uint id = 100;
        for (const QString& step : steps) {
            const QString stored = step.section('|', 0, 0).replace('\'', "''");
            if (!stored.isEmpty())
                sqliteRows(
                    QString("INSERT INTO files (file_name, file_id, file_pseudoname) VALUES ('%1.mp4', %2, '%1');")
                        .arg(stored, QString::number(++id)));
            QCOMPARE(controller->rewriteNameLineIfNeeded(step.section('|', 1, 1)), step.section('|', 2));
        }
        QCOMPARE(sqliteRows("SELECT COUNT(*) FROM files;"), QStringList{"4"}); // nothing written by the lookups
    }
};

QTEST_MAIN(TestAppController)
#include "test_appcontroller.moc"
