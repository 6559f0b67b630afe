// The capture controller without a recording: the start refusals and the
// baton, the level poll rule, the tick and the uploader's re-arming, power
// events and display names made unique against a real database.
#include "AppController.h"
#include "UploadQueue.h"
#include "WorkflowTestSupport.h"
#include "ffmpegMux.h"

#include <QApplication>
#include <QSignalSpy>
#include <QSqlDatabase>
#include <QtTest>

class TestAppController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void runTasksWiresSessionAndUploader();
    void refusesRectangleBelow16x8_data();
    void refusesRectangleBelow16x8();
    void noRectangleWithoutSelection();
    void stopRequestsWhileSessionExists();
    void hotKeyRefusedWhileBusy();
    void levelPollRule();
    void tickSmoothsSessionCpuLoad();
    void tickRearmsThroughUploader();
    void tickDuringRunDoesNotRearm();
    void uploadFinishedDelays();
    void activateUploader();
    void suspendAndResume();
    void messageFromAnotherInstanceIsLogged();
    void uniqueDisplayNames();

private:
    AppController* controller = nullptr;
};

void TestAppController::initTestCase()
{
    QVERIFY(openProgramDatabase());
    controller = new AppController();
    controller->runTasks();
    QVERIFY(controller->coder);
    QVERIFY(controller->uploader);
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
    controller->selRect = QRect();
    controller->setVideoState(Common::Idle);
}

void TestAppController::runTasksWiresSessionAndUploader()
{
    QCOMPARE(controller->uploader, UploadQueue::instance());
    QCOMPARE(controller->uploader->parent(), controller);
    QCOMPARE(controller->uploader->files_path, SettingsManager::instance()->readSettingStr("files_path"));
    QVERIFY(controller->tickTimer->isSingleShot());
    QCOMPARE(controller->alevelTimer->interval(), 2000);
    QCOMPARE(controller->levelsTimer.interval(), 50);
    QVERIFY(!controller->levelsTimer.isActive());
    QCOMPARE(controller->updateTimer->interval(), 10800000);
    QVERIFY(!SettingsManager::instance()->readSettingBool("is_first_start"));
}

void TestAppController::refusesRectangleBelow16x8_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::newRow("15 wide") << QRect(10, 10, 15, 100);
    QTest::newRow("7 high") << QRect(10, 10, 100, 7);
}

void TestAppController::refusesRectangleBelow16x8()
{
    QFETCH(QRect, rect);
    controller->setSelectedRectangle(rect);
    QTest::ignoreMessage(QtDebugMsg, "[AC]: select area not choosen...");
    controller->toggleRecordingSkin();

    QVERIFY(!controller->is_starting);
    QVERIFY(!controller->uploader->isRecording);
    QVERIFY2(controller->recordingMutex.tryLock(), "the baton must be free after a refused start");
    controller->recordingMutex.unlock();
    // No start was scheduled.
    QTest::qWait(400);
    QCOMPARE(controller->videoState, Common::Idle);
    QVERIFY(!controller->coder->isRunning());
}

void TestAppController::noRectangleWithoutSelection()
{
    // The smallest accepted size is 16 x 8, but an empty selection never starts.
    QTest::ignoreMessage(QtDebugMsg, "[AC]: select area not choosen...");
    controller->toggleRecordingSkin(false);
    QVERIFY(controller->recordingMutex.tryLock());
    controller->recordingMutex.unlock();
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
    QVERIFY(!controller->is_stopping);

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
}

void TestAppController::levelPollRule()
{
    SettingsManager* settings = SettingsManager::instance();
    settings->setMuteAudio(true);
    settings->setSystemSounds(false);
    controller->setVideoState(Common::Recording);
    QVERIFY2(!controller->levelsTimer.isActive(), "nothing to measure");

    settings->setMuteAudio(false);
    controller->setVideoState(Common::Recording);
    QVERIFY(controller->levelsTimer.isActive());

    // The poll reads the session's workers; their idle level is silence.
    controller->micLevel = 42;
    QSignalSpy micSpy(controller, &AppController::micLevelChanged);
    controller->levelsPollTick();
    QCOMPARE(controller->micLevel, 0);
    QCOMPARE(micSpy.count(), 1);
    controller->levelsPollTick();
    QCOMPARE(micSpy.count(), 1); // no signal without a change

    controller->sysLevel = 17;
    controller->setVideoState(Common::Idle);
    QVERIFY(!controller->levelsTimer.isActive());
    QCOMPARE(controller->sysLevel, 0);
}

void TestAppController::tickSmoothsSessionCpuLoad()
{
    ffmpegMux* coder = controller->coder;
    coder->running = 1;
    coder->cpuLoad = 0;
    controller->tick();
    const int first = coder->cpuLoad;
    QVERIFY2(first >= 0 && first <= 100, qPrintable(QString::number(first)));

    coder->cpuLoad = 40;
    controller->tick();
    // (cpu + 3 * 40) / 4 for any sample between 0 and 100.
    QVERIFY2(coder->cpuLoad >= 30 && coder->cpuLoad <= 55, qPrintable(QString::number(coder->cpuLoad)));

    coder->running = 0;
    controller->tick();
    QCOMPARE(coder->cpuLoad, 0); // no session, no load
    QTest::qWait(50);            // let the queued run reports pass
}

void TestAppController::tickRearmsThroughUploader()
{
    // Nobody is signed in: the run ends at once with "nothing more for now",
    // and its report re-arms the tick at the slow rate.
    controller->tickTimer->stop();
    QSignalSpy finished(controller->uploader, &UploadQueue::uploadFinished);
    controller->tick();
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.takeFirst().at(0).toInt(), 0);
    QVERIFY(!controller->uploader->is_running);
    QVERIFY(controller->tickTimer->isActive());
    QCOMPARE(controller->tickTimer->interval(), 5000);
}

void TestAppController::tickDuringRunDoesNotRearm()
{
    controller->tickTimer->stop();
    controller->uploader->is_running = 1;
    QTest::ignoreMessage(QtDebugMsg, "UploadQueue() still running...");
    controller->tick();
    QVERIFY(!controller->tickTimer->isActive());
}

void TestAppController::uploadFinishedDelays()
{
    controller->uploadFinished(128);
    QCOMPARE(controller->tickTimer->interval(), 500);
    QVERIFY(!controller->forceUpload);

    controller->uploadFinished(127);
    QCOMPARE(controller->tickTimer->interval(), 5000);
    QVERIFY2(controller->forceUpload, "a failed run marks a retry");

    controller->uploadFinished(0);
    QVERIFY(!controller->forceUpload);
    QCOMPARE(controller->tickTimer->interval(), 5000);
    QVERIFY(controller->tickTimer->isActive());
}

void TestAppController::activateUploader()
{
    controller->uploader->is_running = 1;
    controller->tickTimer->stop();
    QTest::ignoreMessage(QtDebugMsg, "[AC]: activateUploader  - is already active.");
    QVERIFY(!controller->activateUploader());
    QVERIFY(!controller->tickTimer->isActive());

    controller->uploader->is_running = 0;
    QVERIFY(controller->activateUploader());
    QCOMPARE(controller->tickTimer->interval(), 100);
    QVERIFY(controller->forceUpload); // automatic upload is off without an account
}

void TestAppController::suspendAndResume()
{
    controller->tickTimer->start(5000);
    controller->suspendPower();
    QVERIFY(!controller->powerOn);
    QVERIFY(!controller->tickTimer->isActive());

    controller->suspendPower(); // a second event is a no-op
    QVERIFY(!controller->powerOn);

    controller->resumePower();
    QVERIFY(controller->powerOn);
    QVERIFY(controller->tickTimer->isActive());
    QCOMPARE(controller->tickTimer->interval(), 5000);
    QCOMPARE(controller->alevelTimer->interval(), 500);
}

void TestAppController::messageFromAnotherInstanceIsLogged()
{
    QTest::ignoreMessage(QtDebugMsg, "[AC]:  got msg \"Wake up!\" from another instance");
    controller->GotMsgFromAnotherInstance("Wake up!");
}

void TestAppController::uniqueDisplayNames()
{
    auto insert = [](uint id, const QString& title) {
        QString quoted = title;
        quoted.replace('\'', "''");
        sqliteRows(QString("INSERT INTO files (file_name, file_id, file_pseudoname) VALUES ('%1.mp4', %2, '%3');")
                       .arg(quoted)
                       .arg(id)
                       .arg(quoted));
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
