// The account session of the controller: what the service's answers about the
// account do to the settings and to the uploader's credentials, signing out,
// and the web bridge's sign-in state and credentials.
#include "ApiCalls.h"
#include "AppController.h"
#include "UploadQueue.h"
#include "WorkflowTestSupport.h"

#include <QSignalSpy>
#include <QtTest>

class TestAccountSession : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void getUserSignsInAndRenames();
    void manualChoicesSurviveGetUser();
    void refusalsThatSignOut_data();
    void refusalsThatSignOut();
    void logOutClearsTheAccount();
    void webBridgeState();

private:
    QMap<QString, QString> answer(const QString& result, const QString& name = {}, const QString& message = {},
                                  const QString& status = {});
    SettingsManager* settings = nullptr;
    AppController* controller = nullptr;
};

void TestAccountSession::initTestCase()
{
    QVERIFY(openProgramDatabase());
    settings = SettingsManager::instance();
    controller = new AppController();
    controller->runTasks();
    QVERIFY(controller->apiCalls);
    controller->tickTimer->stop(); // no service here: the uploader stays idle
}

void TestAccountSession::cleanupTestCase()
{
    delete controller;
}

void TestAccountSession::init()
{
    settings->writeSetting("login", QStringLiteral("alice"));
    settings->writeSetting("password", QStringLiteral("token-1"));
    settings->writeSetting("salt", QStringLiteral("salt-1"));
    for (const char* key : {"is_authenticated_user", "auto_upload", "mouse_highlight",
                            "instant_share_disabled_manually", "mouse_highlight_disabled_manually"})
        settings->writeSetting(key, false);
    controller->uploader->setUserCredentials("alice", "token-1", "salt-1");
}

QMap<QString, QString> TestAccountSession::answer(const QString& result, const QString& name, const QString& message,
                                                  const QString& status)
{
    QMap<QString, QString> map{{"result", result}};
    if (!name.isEmpty())
        map.insert("name", name);
    if (!message.isEmpty())
        map.insert("message", message);
    if (!status.isEmpty())
        map.insert("status", status);
    return map;
}

void TestAccountSession::getUserSignsInAndRenames()
{
    // The same name leaves the credentials alone: no new rand is made.
    const QString rand = controller->uploader->userRand;
    QMap<QString, QString> same = answer("OK", "alice");
    controller->setUserInfo2(same, "get_user");
    QCOMPARE(controller->uploader->userRand, rand);
    QVERIFY(settings->readSettingBool("is_authenticated_user"));
    QVERIFY(settings->readSettingBool("auto_upload"));
    QVERIFY(settings->readSettingBool("mouse_highlight"));

    // A new name is stored and handed on with the stored token and salt.
    QMap<QString, QString> renamed = answer("OK", "alice2");
    controller->setUserInfo2(renamed, "get_user");
    QCOMPARE(settings->readSettingStr("login"), QStringLiteral("alice2"));
    QVERIFY(controller->uploader->userRand != rand);
    QCOMPARE(controller->uploader->userHash, QStringLiteral("token-1"));

    // A refusal of get_user that is not an error of the token only clears the flag.
    QMap<QString, QString> refused = answer("FAIL");
    controller->setUserInfo2(refused, "get_user");
    QVERIFY(!settings->readSettingBool("is_authenticated_user"));
    QCOMPARE(settings->readSettingStr("password"), QStringLiteral("token-1"));
}

void TestAccountSession::manualChoicesSurviveGetUser()
{
    settings->writeSetting("instant_share_disabled_manually", true);
    settings->writeSetting("mouse_highlight_disabled_manually", true);
    QMap<QString, QString> ok = answer("OK", "alice");
    controller->setUserInfo2(ok, "get_user");
    QVERIFY(settings->readSettingBool("is_authenticated_user"));
    QVERIFY(!settings->readSettingBool("auto_upload"));
    QVERIFY(!settings->readSettingBool("mouse_highlight"));
}

void TestAccountSession::refusalsThatSignOut_data()
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

void TestAccountSession::refusalsThatSignOut()
{
    QFETCH(QString, message);
    QFETCH(QString, status);
    QFETCH(bool, signedOut);
    QMap<QString, QString> error = answer("ERROR", {}, message, status);
    controller->setUserInfo2(error, "get_upload_url");
    QCOMPARE(settings->readSettingStr("password").isEmpty(), signedOut);
    QCOMPARE(controller->uploader->userHash.isEmpty(), signedOut);
}

void TestAccountSession::logOutClearsTheAccount()
{
    for (const char* key :
         {"is_authenticated_user", "auto_upload", "mouse_highlight", "instant_share_disabled_manually"})
        settings->writeSetting(key, true);
    settings->writeSetting("recording_quality", 2);
    controller->logOut();
    for (const char* key : {"login", "password", "salt"})
        QVERIFY2(settings->readSettingStr(key).isEmpty(), key);
    for (const char* key : {"is_authenticated_user", "auto_upload", "mouse_highlight",
                            "instant_share_disabled_manually", "mouse_highlight_disabled_manually"})
        QVERIFY2(!settings->readSettingBool(key), key);
    QCOMPARE(settings->readSettingInt("recording_quality"), 0);
    QVERIFY(settings->readSettingBool("isVideoQualityNeverSet"));
    QVERIFY(controller->uploader->userHash.isEmpty());
    QVERIFY(!controller->isAutoUploadActive());
}

void TestAccountSession::webBridgeState()
{
    ApiCalls* api = controller->apiCalls;
    controller->setTabIndex(0);
    QCOMPARE(api->invokeSignedInState(), 1);
    settings->writeSetting("is_authenticated_user", true);
    QCOMPARE(api->invokeSignedInState(), 3);
    controller->setTabIndex(2);
    QCOMPARE(api->invokeSignedInState(), 67);
    controller->setTabIndex(1);
    QCOMPARE(api->invokeSignedInState(), 0);
    controller->setTabIndex(0);

    // New credentials from the sign-in page reach the settings and, through
    // reloadUploader, the uploader.
    api->invokeApplyNewCredentials("bob", "token-2", "salt-2");
    QCOMPARE(settings->readSettingStr("login"), QStringLiteral("bob"));
    QCOMPARE(settings->readSettingStr("salt"), QStringLiteral("salt-2"));
    QCOMPARE(controller->uploader->userHash, QStringLiteral("token-2"));
    QVERIFY(controller->tickTimer->isActive()); // the uploader is activated
    controller->tickTimer->stop();

    // Signed out, the share button asks for an account instead of uploading.
    controller->logOut();
    QCOMPARE(api->invokeSignedInState(), 0);
}

QTEST_MAIN(TestAccountSession)
#include "test_account_session.moc"
