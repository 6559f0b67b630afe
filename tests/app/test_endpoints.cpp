// Hosts come from the environment with the reference service as default, always ending in "/".
#include "Endpoints.h"

#include <QtTest>

class TestEndpoints : public QObject
{
    Q_OBJECT
private slots:
    void defaultsPointAtTheReferenceService()
    {
        qunsetenv("ORLUNE_SERVICE_URL");
        qunsetenv("ORLUNE_WEB_URL");
        qunsetenv("ORLUNE_CRASH_DSN");
        QCOMPARE(Endpoints::serviceUrl(), QString("http://127.0.0.1:8765/"));
        QCOMPARE(Endpoints::webUrl(), QString("http://127.0.0.1:8765/"));
        QCOMPARE(Endpoints::crashDsn(), QString());
        QVERIFY(Endpoints::supportAddress().contains('@'));
    }

    void environmentOverridesAndGainsSlash()
    {
        qputenv("ORLUNE_SERVICE_URL", "https://api.example.org/v2");
        qputenv("ORLUNE_WEB_URL", "https://www.example.org/");
        qputenv("ORLUNE_CRASH_DSN", "https://crash.example.org/store");
        QCOMPARE(Endpoints::serviceUrl(), QString("https://api.example.org/v2/"));
        QCOMPARE(Endpoints::webUrl(), QString("https://www.example.org/"));
        QCOMPARE(Endpoints::crashDsn(), QString("https://crash.example.org/store"));
        for (const QString& url : {Endpoints::ipEchoUrl(), Endpoints::changeLogUrl(), Endpoints::reportFormUrl()}) {
            QVERIFY2(url.startsWith("https://www.example.org/"), qPrintable(url));
            QVERIFY(url.size() > int(strlen("https://www.example.org/")));
        }
    }
};

QTEST_GUILESS_MAIN(TestEndpoints)
#include "test_endpoints.moc"
