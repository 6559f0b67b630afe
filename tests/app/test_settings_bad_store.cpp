// A hand-edited store with values of the wrong type: read as QVariant converts them,
// the file's text kept. And the hosts the program talks to, from the environment.
#include "Endpoints.h"
#include "SettingsManager.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

namespace {
QString confPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/Halvenmoor/orlune.conf";
}
} // namespace

class TestSettingsBadStore : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName("Halvenmoor");
        QCoreApplication::setApplicationName("orlune");
        QVERIFY(QDir().mkpath(QFileInfo(confPath()).path()));
        QFile conf(confPath());
        QVERIFY(conf.open(QIODevice::WriteOnly));
        conf.write("[General]\n"
                   "auto_upload=maybe\n"
                   "mute_audio=false\n"
                   "interp_time=false\n"
                   "audio_level=loud\n"
                   "bubble_pos=nonsense\n"
                   "camera_size_percentage=big\n"
                   "startstop_nativeKey=-5\n"
                   "recording_quality=abc\n"
                   "proxy_verification_status=@Variant(garbage)\n"
                   "login=1, 2, 3\n");
    }

    void wrongTypesGiveVariantConversions()
    {
        SettingsManager* settings = SettingsManager::instance();
        QCOMPARE(settings->readSettingBool("auto_upload"), true);
        QCOMPARE(settings->readSettingBool("mute_audio"), false);
        QCOMPARE(settings->readSettingBool("interp_time"), false);
        QCOMPARE(settings->readSettingInt("audio_level"), 0);
        QCOMPARE(settings->readSettingPoint("bubble_pos"), QPoint());
        // A word reads as 0, below the smallest camera size.
        QCOMPARE(settings->readSettingDouble("camera_size_percentage"), 5.0);
        QCOMPARE(settings->quality(), Common::RECORDING_QUALITY_SD);
        QCOMPARE(settings->proxyVerificationStatus(), Common::Untested);
        // A comma list comes back as a string list, which QVariant joins to nothing.
        QCOMPARE(settings->login(), QString());
    }

    void fileKeepsTheTextAndGainsMissingKeys()
    {
        SettingsManager::instance();
        QSettings file(confPath(), QSettings::IniFormat);
        QCOMPARE(file.value("audio_level").toString(), QString("loud"));
        QCOMPARE(file.value("camera_size_percentage").toString(), QString("big"));
        QCOMPARE(file.value("FVNewVersionPolicy").toString(), QString("install"));
        QCOMPARE(file.allKeys().size(), 46);
    }

    // Hosts come from the environment with the reference service as default, always ending in "/".
    void environmentOverridesAndGainsSlash()
    {
        qunsetenv("ORLUNE_SERVICE_URL");
        qunsetenv("ORLUNE_CRASH_DSN");
        QCOMPARE(Endpoints::serviceUrl(), QString("http://127.0.0.1:8765/"));
        QCOMPARE(Endpoints::crashDsn(), QString());
        qputenv("ORLUNE_SERVICE_URL", "https://api.example.org/v2");
        qputenv("ORLUNE_WEB_URL", "https://www.example.org/");
        qputenv("ORLUNE_CRASH_DSN", "https://crash.example.org/store");
        QCOMPARE(Endpoints::serviceUrl(), QString("https://api.example.org/v2/"));
        QCOMPARE(Endpoints::webUrl(), QString("https://www.example.org/"));
        QCOMPARE(Endpoints::crashDsn(), QString("https://crash.example.org/store"));
        for (const QString& url : {Endpoints::ipEchoUrl(), Endpoints::changeLogUrl(), Endpoints::reportFormUrl()})
            QVERIFY2(url.startsWith("https://www.example.org/") && !url.endsWith(".org/"), qPrintable(url));
    }
};

QTEST_MAIN(TestSettingsBadStore)
#include "test_settings_bad_store.moc"
