// Damaged and foreign files: the removal question, garbage and truncated
// files, and a folder that cannot hold the database.
#include "DatabaseDialogs.h"
#include "LogCapture.h"
#include "MediaDatabase.h"
#include "TestTools.h"

#include <QDir>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

class TestMediaDatabaseFailures : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir* dir = nullptr;
    int questionsAsked = 0;

    QString settingsPath() const { return dir->path(); }
    QString dbFile() const { return dir->path() + "/orlune.sqlite"; }

    void answerQuestionWith(bool yes)
    {
        setDatabaseQuestionAnswer([this, yes]() {
            ++questionsAsked;
            return yes;
        });
    }

    // A file from before version 52 whose files is a view: adding the old
    // columns to it fails, which leads to the removal question.
    void makeUnupgradableFile()
    {
        sqliteTool(
            dbFile(),
            "create table segments (file_id unsigned int,seg_pos unsigned int,seg_size unsigned int,seg_uploaded bool);"
            "create table files_store (file_name varchar(128),file_id unsigned int);"
            "create view files as select * from files_store;"
            "insert into files_store values('old.mp4', 3);"
            "PRAGMA user_version=40;");
    }

private slots:
    void init()
    {
        dir = new QTemporaryDir;
        QVERIFY(dir->isValid());
        questionsAsked = 0;
    }
    void cleanup()
    {
        setDatabaseQuestionAnswer({});
        closeDatabase();
        delete dir;
        dir = nullptr;
    }

    // Yes starts over on an empty file; No, or nobody to ask, keeps the incomplete table.
    void unupgradableFileAsksForRemoval_data()
    {
        QTest::addColumn<int>("answer"); // 1 yes, 0 no, -1 no widgets to ask with
        QTest::newRow("no") << 0;
        QTest::newRow("yes") << 1;
        QTest::newRow("nobody to ask") << -1;
    }
    void unupgradableFileAsksForRemoval()
    {
        QFETCH(int, answer);
        makeUnupgradableFile();
        if (answer >= 0)
            answerQuestionWith(answer == 1);

        LogCapture log;
        QVERIFY(openDatabase(settingsPath()));

        QCOMPARE(questionsAsked, answer >= 0 ? 1 : 0);
        QVERIFY(answer >= 0 || log.contains("Remove database to fix that?"));
        QCOMPARE(log.lineCount("[SQL]: remove database"), answer == 1 ? 1 : 0);
        QCOMPARE(sqliteUserVersion(dbFile()), 58);
        if (answer != 1) {
            QCOMPARE(log.lineCount("[SQL]: have SQL tables"), 1);
            // The second column is still tried after the first one failed.
            QCOMPARE(log.lineCount("[SQL]: SQL table upgrade failed"), 2);
            QCOMPARE(sqliteTool(dbFile(), "SELECT type FROM sqlite_master WHERE name='files'"), QString("view"));
            QCOMPARE(sqliteTool(dbFile(), "SELECT * FROM files_store"), QString("old.mp4|3"));
            return;
        }
        QCOMPARE(log.lineCount("[SQL]: corrupted sqlite file"), 1);
        QCOMPARE(sqliteTool(dbFile(), "SELECT type FROM sqlite_master WHERE name='files'"), QString("table"));
        QCOMPARE(sqliteTool(dbFile(), "SELECT count(*) FROM sqlite_master WHERE name='files_store'"), QString("0"));
        QCOMPARE(sqliteColumns(dbFile(), "files").size(), 14);
        // The fresh connection works under the same name.
        QSqlQuery query(connectionForCurrentThread());
        QVERIFY(query.exec("SELECT count(*) FROM files") && query.next());
        QCOMPARE(query.value(0).toInt(), 0);
    }

    // Files SQLite cannot read are reported as unopenable and left byte for
    // byte as they were, even if the user would answer Yes to any question.
    void unreadableFileIsReportedAndKept_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("version");
        QTest::addColumn<int>("keepBytes");
        QTest::newRow("random bytes") << "garbage" << 0 << 64 * 1024;
        QTest::newRow("current, first page only") << "truncated" << 58 << 4096;
        QTest::newRow("current, half a header") << "truncated" << 58 << 50;
        QTest::newRow("old, first page only") << "truncated" << 55 << 4096;
        QTest::newRow("old, cut mid-page") << "truncated" << 55 << 6000;
        QTest::newRow("pre-chain, cut mid-page") << "truncated" << 40 << 10000;
    }
    void unreadableFileIsReportedAndKept()
    {
        QFETCH(QString, kind);
        QFETCH(int, version);
        QFETCH(int, keepBytes);
        if (kind == "garbage") {
            QFile file(dbFile());
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(randomBytes(keepBytes, 1234)) == keepBytes);
        } else {
            sqliteTool(
                dbFile(),
                QString("create table segments (file_id unsigned int,seg_pos unsigned int,seg_size unsigned int,"
                        "seg_uploaded bool, seg_id int NOT NULL DEFAULT '-1');"
                        "create table files (file_name varchar(128),file_id unsigned int,file_pseudoname varchar(128));"
                        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<2000) "
                        "INSERT INTO segments SELECT i, i*1000, 1000, 'false', i FROM n;"
                        "PRAGMA user_version=%1;")
                    .arg(version));
            QVERIFY(QFileInfo(dbFile()).size() > 4 * 4096);
            QVERIFY(QFile::resize(dbFile(), keepBytes));
        }
        const QByteArray before = fileDigest(dbFile());
        answerQuestionWith(true);
        QVERIFY(QDir().mkpath(settingsPath() + "/cache"));

        LogCapture log;
        QVERIFY(!openDatabase(settingsPath()));
        closeDatabase();

        QCOMPARE(fileDigest(dbFile()), before);
        QCOMPARE(QFileInfo(dbFile()).size(), qint64(keepBytes));
        QCOMPARE(questionsAsked, 0);
        QVERIFY(QDir(settingsPath() + "/cache").exists());
        QVERIFY(log.contains("[SQL]: database file unreadable:"));
        QVERIFY(log.contains("Cannot open database"));
        QVERIFY(!log.contains("[SQL]: remove database"));
    }

    void missingFolderFailsToOpen()
    {
        const QString missing = settingsPath() + "/not/there";
        LogCapture log;
        QVERIFY(!openDatabase(missing));
        QVERIFY(log.contains("Cannot open database"));
        QVERIFY(log.contains("DB path:\n" + missing + "/orlune.sqlite"));
        QVERIFY(!QFile::exists(missing + "/orlune.sqlite"));
    }
};

QTEST_GUILESS_MAIN(TestMediaDatabaseFailures)
#include "test_media_database_failures.moc"
