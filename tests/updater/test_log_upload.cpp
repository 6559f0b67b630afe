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
    QDir data;
    QDir stored{service.dataDir + "/logs"};

    // A log changed <daysAgo> days back; its text is its name.
    void writeLog(const QString& name, int daysAgo)
    {
        QFile log(data.filePath(name));
        QVERIFY(log.open(QIODevice::WriteOnly) && log.write(name.toUtf8()) == name.size() && log.flush());
        QVERIFY(log.setFileTime(QDateTime::currentDateTime().addDays(-daysAgo), QFileDevice::FileModificationTime));
    }

private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName("Halvenmoor");
        QCoreApplication::setApplicationName("orlune");
        QVERIFY(service.start());
        qputenv("ORLUNE_WEB_URL", service.url("/").toUtf8());
        FvUpdater::init(SettingsManager::instance(), SettingsManager::instance());
        data.setPath(QStandardPaths::standardLocations(QStandardPaths::AppLocalDataLocation).value(0));
        QVERIFY(data.mkpath("."));
    }

    // Four logs and a protected one, the newest of all: the three newest unprotected logs go.
    void sendsTheThreeNewestLogs()
    {
        for (int day = 1; day <= 4; ++day)
            writeLog(QString("LOG_2026.01.0%1_10.00.00.log").arg(day), 10 - day);
        writeLog("LOG_2026.01.05_Keep.log", 0);
        QSignalSpy finished(FvUpdater::sharedUpdater(), &FvUpdater::logUploadFinished);
        QVERIFY(FvUpdater::sharedUpdater()->uploadLogFiles("ann", "token1", "salt1", "rand1", "hash1"));
        QVERIFY(finished.wait(10000));

        QCOMPARE(stored.entryList(QDir::Files), QStringList{finished[0][0].toString()});
        const QString zip = stored.filePath(finished[0][0].toString());
        QStringList entries = runTool("unzip", {"-Z1", zip}).split('\n');
        entries.sort();
        QCOMPARE(entries, QStringList({"LOG_2026.01.02_10.00.00.log", "LOG_2026.01.03_10.00.00.log",
                                       "LOG_2026.01.04_10.00.00.log"}));
        QCOMPARE(runTool("unzip", {"-p", zip, entries.last()}), entries.last());

        const QJsonValue request = service.requests().first();
        const QString target = request["target"].toString();
        QVERIFY2(target.startsWith("/download/uploadlogs/?file_name=orlune-" ORLUNE_VERSION "_")
                     && target.contains(
                         "&user_id=ann&user_token=token1&user_rand=rand1&user_hash=hash1&source=" ORLUNE_VERSION)
                     && target.endsWith("&os=linux"),
                 qPrintable(target));
        QCOMPARE(request["user_agent"].toString(), QString("KVD Uploader/" ORLUNE_VERSION));
        QCOMPARE(data.entryList({"*.zip"}), QStringList()); // gone once the service has answered
    }

    void withoutLogsNothingIsSent()
    {
        for (const QString& name : data.entryList({"LOG_2026.01.0?_10.00.00.log"}))
            QVERIFY(data.remove(name));
        const qsizetype requests = service.requests().size();
        QVERIFY(!FvUpdater::sharedUpdater()->uploadLogFiles("ann", "token1", "salt1", "rand1", "hash1"));
        QCOMPARE(service.requests().size(), requests);
        QCOMPARE(stored.entryList(QDir::Files).size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestLogUpload)
#include "test_log_upload.moc"
