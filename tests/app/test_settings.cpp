// The settings manager against a fresh store: default values, the signals of
// a write, and the keys with special rules.
#include "LogCapture.h"
#include "SettingsManager.h"

#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

#include <optional>

namespace {

QString confPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/Halvenmoor/orlune.conf";
}

// A reader of the file itself, independent of the manager's own QSettings.
QVariant storedValue(const QString& key)
{
    return QSettings(confPath(), QSettings::IniFormat).value(key);
}

} // namespace

class TestSettings : public QObject
{
    Q_OBJECT
    std::optional<LogCapture> log; // made once the test library has installed its own handler

private slots:
    void initTestCase()
    {
        log.emplace();
        QCoreApplication::setOrganizationName("Halvenmoor");
        QCoreApplication::setApplicationName("orlune");
        QVERIFY2(!QFile::exists(confPath()), "the test needs a fresh configuration folder");
    }

    // Which keys the first start writes is checked by the start-up test; here their values.
    void firstStartDefaults()
    {
        SettingsManager* settings = SettingsManager::instance();
        QSettings file(confPath(), QSettings::IniFormat);
        const QString defaults =
            "audio_level=239 FVNewVersionPolicy=install startstop_hotkey=Alt+S interp_time=true "
            "camera_size_percentage=20 bubble_pin=true isVideoQualityNeverSet=true recording_quality=0";
        for (const QString& pair : defaults.split(' '))
            QCOMPARE(file.value(pair.section('=', 0, 0)).toString(), pair.section('=', 1));
        const QString records = file.value("settings_path").toString() + "/Records";
        QCOMPARE(file.value("files_path").toString(), records);
        QVERIFY(QDir(records).exists());
        const QRect desktop = QGuiApplication::primaryScreen()->virtualGeometry();
        QCOMPARE(settings->readSettingPoint("bubble_pos"), QPoint(desktop.right() - 99, (desktop.bottom() - 99) / 2));
        QCOMPARE(file.value("bubble_pos").toPoint(), settings->readSettingPoint("bubble_pos"));
    }

    // An unchanged value emits only settingChanged; texts compare by content; a slot may read the value back.
    void writeSignals()
    {
        SettingsManager* settings = SettingsManager::instance();
        QSignalSpy property(settings, &SettingsManager::autoUploadChanged);
        QSignalSpy any(settings, &SettingsManager::settingChanged);
        settings->setAutoUpload(true);
        QCOMPARE(property.count(), 1);
        QCOMPARE(any.count(), 1);
        QCOMPARE(any.at(0).at(0).toString(), QString("auto_upload"));
        QCOMPARE(storedValue("auto_upload").toBool(), true);
        settings->setAutoUpload(true);
        QCOMPARE(property.count(), 1);
        QCOMPARE(any.count(), 2);

        QSignalSpy server(settings, &SettingsManager::serverChanged);
        settings->setServer("proxy.example");
        settings->writeSetting("proxy_host", QString("proxy.") + "example");
        QCOMPARE(server.count(), 1);

        QString seen;
        auto connection =
            connect(settings, &SettingsManager::loginChanged, this, [&] { seen = settings->readSettingStr("login"); });
        settings->setLogin("ann@example.org");
        disconnect(connection);
        QCOMPARE(seen, QString("ann@example.org"));
    }

    void unknownKeyIsReadableAfterWrite()
    {
        SettingsManager* settings = SettingsManager::instance();
        QTest::ignoreMessage(QtWarningMsg, "[SettingsManager]: writeSetting Unknown parameter: \"use_vcodec\"");
        settings->writeSetting("use_vcodec", "libx264");
        QCOMPARE(settings->readSettingStr("use_vcodec"), QString("libx264"));
        QVERIFY(!settings->readSetting("never_written").isValid());
    }

    void blackholeDriverTypeStaysOutOfTheMember()
    {
        SettingsManager* settings = SettingsManager::instance();
        QSignalSpy property(settings, &SettingsManager::blackHoleDriverTypeChanged);
        settings->setBlackHoleDriverType("2ch");
        QCOMPARE(storedValue("blackhole_driver_type").toString(), QString("2ch"));
        QCOMPARE(settings->blackHoleDriverType(), QString());
        QCOMPARE(settings->readSettingStr("blackhole_driver_type"), QString());
        QCOMPARE(property.count(), 0);
    }

    void firstQualityChoiceEndsNeverSet()
    {
        SettingsManager* settings = SettingsManager::instance();
        QVERIFY(settings->readSettingBool("isVideoQualityNeverSet"));
        QSignalSpy quality(settings, &SettingsManager::qualityChanged);
        QSignalSpy any(settings, &SettingsManager::settingChanged);

        settings->setQuality(Common::RECORDING_QUALITY_HD);
        QCOMPARE(quality.count(), 1);
        QCOMPARE(quality.at(0).at(0).value<Common::RecordingQuality>(), Common::RECORDING_QUALITY_HD);
        QCOMPARE(storedValue("isVideoQualityNeverSet").toBool(), false);
        QCOMPARE(storedValue("recording_quality").toInt(), 1);

        any.clear();
        settings->setQuality(Common::RECORDING_QUALITY_4K);
        QCOMPARE(any.count(), 1);
        QCOMPARE(any.at(0).at(0).toString(), QString("recording_quality"));
    }

    // The store gives booleans back as "true"/"false" text on the next start.
    void interpTimeSurvivesTextForm()
    {
        SettingsManager* settings = SettingsManager::instance();
        settings->writeSetting("interp_time", QString("true"));
        QVERIFY(settings->readSettingBool("interp_time"));
        settings->writeSetting("interp_time", 0);
        QVERIFY(!settings->readSettingBool("interp_time"));
        settings->writeSetting("interp_time", 5);
        QVERIFY(settings->readSettingBool("interp_time"));
    }

    // A start hands each value of the file to writeSetting as text, as here.
    void outOfRangeValuesAreClamped_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("inFile");
        QTest::addColumn<QByteArray>("property"); // empty: a magnitude, held clamped
        QTest::addColumn<double>("shown");
        QTest::newRow("quality") << "recording_quality"
                                 << "7" << QByteArray("quality") << 2.0;
        QTest::newRow("proxy type") << "proxy_type"
                                    << "-1" << QByteArray("currentProxy") << 0.0;
        QTest::newRow("proxy status") << "proxy_verification_status"
                                      << "5" << QByteArray("proxyVerificationStatus") << 2.0;
        QTest::newRow("camera size") << "camera_size_percentage"
                                     << "3.5" << QByteArray() << 5.0;
        QTest::newRow("in range") << "proxy_type"
                                  << "2" << QByteArray("currentProxy") << 2.0;
    }

    void outOfRangeValuesAreClamped()
    {
        QFETCH(QString, key);
        QFETCH(QString, inFile);
        QFETCH(QByteArray, property);
        QFETCH(double, shown);
        SettingsManager* settings = SettingsManager::instance();
        LogCapture::clear();
        settings->writeSetting(key, inFile);
        if (property.isEmpty()) {
            QCOMPARE(settings->readSettingDouble(key), shown);
        } else { // enumerations are held as given, for their readers' own rules
            QCOMPARE(settings->property(property).toInt(), int(shown));
            QCOMPARE(settings->readSettingStr(key), inFile);
        }
        QCOMPARE(LogCapture::lineCount(QString("[SettingsManager]: %1 out of range: %2, clamped to %3")
                                           .arg(key, inFile, QString::number(shown))),
                 int(inFile.toDouble() != shown));
        QCOMPARE(storedValue(key).toString(), inFile);
    }
};

QTEST_MAIN(TestSettings)
#include "test_settings.moc"
