// The support log upload against the reference service: which logs go, what
// the service stores, and what is left behind here.
#include "FvUpdater.h"
#include "ServiceProcess.h"
#include "SettingsManager.h"
#include "TestTools.h"
#include "Version.h"

#include <QJsonArray>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

class TestLogUpload : public QObject
{
    Q_OBJECT

    ServiceProcess service{QDir::homePath() + "/service"};
    QString dataFolder;
    FvUpdater* updater = nullptr;

    // A log whose last change lies <daysAgo> days back; its text is its name.
    void writeLog(const QString& name, int daysAgo)
    {
        QFile log(dataFolder + "/" + name);
        QVERIFY(log.open(QIODevice::WriteOnly) && log.write(name.toUtf8()) == name.size() && log.flush());
        QVERIFY(log.setFileTime(QDateTime::currentDateTime().addDays(-daysAgo), QFileDevice::FileModificationTime));
    }
    QStringList storedArchives() { return QDir(service.dataDir + "/logs").entryList(QDir::Files); }
    QJsonArray logRequests()
    {
        QJsonArray found;
        for (const QJsonValue& request : service.requests())
            if (request["target"].toString().startsWith("/download/uploadlogs"))
                found << request;
        return found;
    }

private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName("Halvenmoor");
        QCoreApplication::setApplicationName("orlune");
        QVERIFY(service.start());
        qputenv("ORLUNE_WEB_URL", service.url("/").toUtf8());
        FvUpdater::init(SettingsManager::instance(), SettingsManager::instance());
        updater = FvUpdater::sharedUpdater();
        dataFolder = QStandardPaths::standardLocations(QStandardPaths::AppLocalDataLocation).value(0);
        QVERIFY(QDir().mkpath(dataFolder));
    }

    // Four logs and a protected one, the newest of all: the three newest unprotected logs go.
    void sendsTheThreeNewestLogs()
    {
        for (int day = 1; day <= 4; ++day)
            writeLog(QString("LOG_2026.01.0%1_10.00.00.log").arg(day), 10 - day);
        writeLog("LOG_2026.01.05_Keep.log", 0);
        QSignalSpy finished(updater, &FvUpdater::logUploadFinished);
        QVERIFY(updater->uploadLogFiles("ann", "token1", "salt1", "rand1", "hash1"));
        QVERIFY(finished.wait(10000));

        QCOMPARE(storedArchives().size(), 1);
        const QString stored = storedArchives().first();
        QCOMPARE(finished[0][0].toString(), stored);
        const QString zip = service.dataDir + "/logs/" + stored;
        QStringList entries = runTool("unzip", {"-Z1", zip}).split('\n');
        entries.sort();
        QCOMPARE(entries, QStringList({"LOG_2026.01.02_10.00.00.log", "LOG_2026.01.03_10.00.00.log",
                                       "LOG_2026.01.04_10.00.00.log"}));
        QCOMPARE(runTool("unzip", {"-p", zip, entries.last()}), entries.last());

        QCOMPARE(logRequests().size(), 1);
        const QJsonValue request = logRequests().first();
        const QString target = request["target"].toString();
        QVERIFY2(target.startsWith("/download/uploadlogs/?file_name=orlune-" ORLUNE_VERSION "_"), qPrintable(target));
        for (const char* item :
             {"&user_id=ann&user_token=token1&user_rand=rand1&user_hash=hash1&source=" ORLUNE_VERSION, "&os=linux"})
            QVERIFY2(target.contains(item), qPrintable(target));
        QCOMPARE(request["user_agent"].toString(), QString("KVD Uploader/" ORLUNE_VERSION));
        // The archive here is gone once the service has answered.
        QCOMPARE(QDir(dataFolder).entryList({"*.zip"}), QStringList());
    }

    void withoutLogsNothingIsSent()
    {
        for (const QString& name : QDir(dataFolder).entryList({"LOG_*.log"}))
            if (!name.contains("Keep"))
                QVERIFY(QFile::remove(dataFolder + "/" + name));
        QVERIFY(!updater->uploadLogFiles("ann", "token1", "salt1", "rand1", "hash1"));
        QCOMPARE(logRequests().size(), 1);
        QCOMPARE(storedArchives().size(), 1);
        QCOMPARE(QDir(dataFolder).entryList({"*.zip"}), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestLogUpload)
#include "test_log_upload.moc"
