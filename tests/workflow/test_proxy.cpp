// The network proxy of the controller against a real tinyproxy and the
// reference service: the stored proxy at start-up, switching it off, and the
// proxy test with its statuses and pop-ups.
#include "RecordingPort.h"
#include "ServiceProcess.h"
#include "TinyProxy.h"
#include "UploadQueue.h"
#include "WorkflowTestSupport.h"

#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

namespace {
SettingsManager* settings()
{
    return SettingsManager::instance();
}

int verificationStatus()
{
    return settings()->readSettingInt("proxy_verification_status");
}

// Requests for the service's account action that reached the service.
int serviceGetUserCount(ServiceProcess& service)
{
    int count = 0;
    for (const QJsonValue& entry : service.requests())
        count += entry.toObject().value("target").toString().contains("get_user");
    return count;
}
} // namespace

class TestProxy : public QObject
{
    Q_OBJECT

    RecordingPort port;
    AppController* controller = nullptr;
    ServiceProcess service{QDir::homePath() + "/service"};
    TinyProxy openProxy{QDir::homePath() + "/proxy-open"};
    TinyProxy lockedProxy{QDir::homePath() + "/proxy-locked"};
    // Accepts connections and never answers them.
    QTcpServer silentProxy;
    QList<QTcpSocket*> silentClients;

    void setProxy(int type, const QString& host, const QString& portText, const QString& login = {},
                  const QString& pwd = {})
    {
        settings()->writeSetting("proxy_type", type);
        settings()->writeSetting("proxy_host", host);
        settings()->writeSetting("proxy_port", portText);
        settings()->writeSetting("proxy_login", login);
        settings()->writeSetting("proxy_pwd", pwd);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.start());
        const QString root = service.url("/");
        qputenv("ORLUNE_SERVICE_URL", root.toUtf8());
        qputenv("ORLUNE_WEB_URL", root.toUtf8());
        QVERIFY(openProxy.start());
        QVERIFY(lockedProxy.start("proxyuser", "proxypass"));
        QVERIFY(silentProxy.listen(QHostAddress::LocalHost));
        connect(&silentProxy, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* client = silentProxy.nextPendingConnection())
                silentClients << client;
        });

        // A proxy stored by an earlier session, switched on.
        QVERIFY(openProgramDatabase());
        setProxy(2, "127.0.0.1", QString::number(openProxy.port()));
        settings()->writeSetting("proxy_server", true);
        controller = startController(&port);
        QTest::qWait(300);             // the stored proxy is applied with the suitability pass, 100 ms in
        controller->tickTimer->stop(); // the uploader runs only when a test says so
        const ServiceProcess::Account account = service.createAccount("proxyalice");
        QVERIFY(!account.login.isEmpty());
        controller->uploader->setUserCredentials(account.login, account.token, account.salt);
    }

    void cleanupTestCase() { delete controller; }

    // The uploader's service requests go through the stored proxy from the
    // start, and straight to the service once the proxy is switched off.
    void storedProxyCarriesServiceRequests()
    {
        const QNetworkProxy applied = controller->serviceNetwork->proxy();
        QCOMPARE(applied.type(), QNetworkProxy::HttpProxy);
        QCOMPARE(applied.port(), openProxy.port());
        QCOMPARE(controller->uploader->networkManager()->proxy(), applied);

        controller->uploader->serviceGetUser();
        QTRY_COMPARE_WITH_TIMEOUT(serviceGetUserCount(service), 1, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(openProxy.requests().filter("get_user").size(), 1, 5000);
        QVERIFY(openProxy.requests().filter("get_user").first().startsWith("GET " + service.url("/?")));

        QTest::qWait(300); // the answer is handled, and may schedule the uploader
        controller->tickTimer->stop();
        settings()->writeSetting("proxy_server", false);
        QCOMPARE(controller->serviceNetwork->proxy().type(), QNetworkProxy::NoProxy);
        QCOMPARE(controller->uploadTickDelay(), 100); // switching asks the uploader for a run
        controller->tickTimer->stop();
        controller->uploader->serviceGetUser();
        QTRY_COMPARE_WITH_TIMEOUT(serviceGetUserCount(service), 2, 10000);
        QCOMPARE(openProxy.requests().filter("get_user").size(), 1);

        // A proxy that asks for a login gets the stored one.
        setProxy(2, "127.0.0.1", QString::number(lockedProxy.port()), "proxyuser", "proxypass");
        QTest::qWait(300);
        controller->tickTimer->stop();
        settings()->writeSetting("proxy_server", true);
        controller->tickTimer->stop();
        controller->uploader->serviceGetUser();
        QTRY_COMPARE_WITH_TIMEOUT(serviceGetUserCount(service), 3, 10000);
        QVERIFY(!lockedProxy.requests().filter("get_user").isEmpty());
        QTest::qWait(300);
        controller->tickTimer->stop();
        settings()->writeSetting("proxy_server", false);
        controller->tickTimer->stop();
    }

    // One test each: the settings, then the pop-up, the status and which of
    // the two tinyproxies ("open", "locked", or neither) passed the IP echo request on.
    void proxyTest_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("portText");
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("pwd");
        QTest::addColumn<int>("popupType");
        QTest::addColumn<QString>("popupText"); // a part of it for errors from the network
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("echoedBy");

        const QString open = QString::number(openProxy.port()), locked = QString::number(lockedProxy.port());
        const int info = Common::MsgInfo, error = Common::MsgError;
        const int verified = Common::Verified, failed = Common::Failed;
        const QString works = "Proxy connection works. You can enable it now.", empty = "Host or port is empty";
        const auto row = [](const char* name, int type, QString host, QString port, QString login, QString pwd,
                            int popupType, QString popupText, int status, QString echoedBy) {
            QTest::newRow(name) << type << host << port << login << pwd << popupType << popupText << status << echoedBy;
        };
        row("http proxy", 2, "127.0.0.1", open, "", "", info, works, verified, "open");
        row("caching http proxy", 3, "127.0.0.1", open, "", "", info, works, verified, "open");
        row("login refused", 2, "127.0.0.1", locked, "proxyuser", "wrong", error, "authentication", failed, "");
        row("login accepted", 2, "127.0.0.1", locked, "proxyuser", "proxypass", info, works, verified, "locked");
        row("empty host", 2, "", open, "", "", error, empty, failed, "");
        row("empty port", 2, "127.0.0.1", "", "", "", error, empty, failed, "");
        row("unknown type", 7, "127.0.0.1", open, "", "", error, "Unknown proxy type", failed, "");
        row("port not a number", 2, "127.0.0.1", "eighty", "", "", error, "", failed, "");
        // Cut to 16 bits this one would be the open proxy's.
        row("port beyond the last", 2, "127.0.0.1", QString::number(openProxy.port() + 0x10000), "", "", error, "",
            failed, "");
        row("nobody listening", 2, "127.0.0.1", "1", "", "", error, "refused", failed, "");
    }

    void proxyTest()
    {
        QFETCH(int, type);
        QFETCH(QString, host);
        QFETCH(QString, portText);
        QFETCH(QString, login);
        QFETCH(QString, pwd);
        QFETCH(int, popupType);
        QFETCH(QString, popupText);
        QFETCH(int, status);
        QFETCH(QString, echoedBy);

        setProxy(type, host, portText, login, pwd);
        settings()->writeSetting("proxy_verification_status", int(Common::Failed));
        const auto echoes = [](const TinyProxy& proxy) { return proxy.requests().filter(" HTTP/1.1").size(); };
        const qsizetype openBefore = echoes(openProxy), lockedBefore = echoes(lockedProxy);
        QSignalSpy popups(controller, &AppController::showPopupSignal);
        controller->testProxyConnection();
        QTRY_COMPARE_WITH_TIMEOUT(popups.size(), 1, 10000);
        QCOMPARE(popups[0][0].value<Common::MsgType>(), Common::MsgType(popupType));
        const QString text = popups[0][1].toString();
        if (popupType == Common::MsgInfo)
            QCOMPARE(text, popupText);
        else
            QVERIFY2(!text.isEmpty() && text.contains(popupText, Qt::CaseInsensitive), qPrintable(text));
        QCOMPARE(verificationStatus(), status);
        QVERIFY(!controller->proxyTestTimer->isActive());
        QTest::qWait(200);
        QCOMPARE(popups.size(), 1); // one result per test
        const TinyProxy* echo = echoedBy == "open" ? &openProxy : echoedBy == "locked" ? &lockedProxy : nullptr;
        QCOMPARE(echoes(openProxy) - openBefore, qsizetype(echo == &openProxy));
        // The locked proxy sees the request once without credentials and, after its refusal, with them.
        QCOMPARE(echoes(lockedProxy) > lockedBefore, echo == &lockedProxy || popupText == "authentication");
        if (echo)
            QCOMPARE(echo->requests().last(), "GET " + service.url("/ip") + " HTTP/1.1");
    }

    // A proxy that takes the connection and never answers fails after 15 s;
    // its late answer can't report a second result.
    void silentProxyTimesOut()
    {
        setProxy(2, "127.0.0.1", QString::number(silentProxy.serverPort()));
        QSignalSpy popups(controller, &AppController::showPopupSignal);
        QElapsedTimer clock;
        clock.start();
        controller->testProxyConnection();
        QTRY_VERIFY_WITH_TIMEOUT(!silentClients.isEmpty(), 5000);
        QCOMPARE(verificationStatus(), int(Common::Untested));
        QTRY_COMPARE_WITH_TIMEOUT(popups.size(), 1, 20000);
        // A coarse timer may fire up to 5 % early.
        QVERIFY2(clock.elapsed() >= 14250, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(popups[0][0].value<Common::MsgType>(), Common::MsgError);
        QCOMPARE(popups[0][1].toString(), QString("Proxy connection timeout"));
        QCOMPARE(verificationStatus(), int(Common::Failed));
        // The waiting request was dropped: the proxy sees its connection close.
        QTRY_COMPARE_WITH_TIMEOUT(silentClients.last()->state(), QAbstractSocket::UnconnectedState, 3000);
        QTest::qWait(300);
        QCOMPARE(popups.size(), 1);
    }
};

QTEST_MAIN(TestProxy)
#include "test_proxy.moc"
