// The library file checked from outside with sqlite3: the version chain, damaged
// and foreign files, and a folder that cannot hold the database.
#include "DatabaseDialogs.h"
#include "LogCapture.h"
#include "MediaDatabase.h"
#include "SqlText.h"
#include "TestTools.h"

#include <QDir>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const char* const kOldSegments =
    "create table segments (file_id unsigned int,seg_pos unsigned int,seg_size unsigned int,seg_uploaded bool);";
const char* const kOldFiles =
    "create table files (file_name varchar(128),file_id unsigned int,file_created unsigned long,file_size unsigned int,"
    "file_uploaded bool,file_preview  varchar(128),file_finalized bool,file_toupload bool,file_duration unsigned int,"
    "file_pseudoname varchar(128),file_uploadkey varchar(32),file_preview_uploaded bool);";

const QString kNoRenames = "SELECT count(*) FROM sqlite_master WHERE name LIKE '%_rename' => 0";

// The layout a file had at version 55, before the widening.
QString version55Schema()
{
    return QString(kOldSegments) + kOldFiles
           + "ALTER TABLE segments ADD COLUMN seg_id int NOT NULL DEFAULT '-1';"
             "ALTER TABLE files ADD COLUMN file_segments_count unsigned int NOT NULL DEFAULT '0';"
             "create table deletion_queue (file_id unsigned int,file_name varchar(128),file_preview  varchar(128),"
             "file_pseudoname varchar(128),file_uploadkey varchar(32),file_preview_uploaded bool);";
}

const QStringList kCurrentFilesTypes = {"file_name:varchar(128)",
                                        "file_id:unsignedint",
                                        "file_created:unsignedlong",
                                        "file_size:unsignedlong",
                                        "file_uploaded:bool",
                                        "file_preview:varchar(128)",
                                        "file_finalized:bool",
                                        "file_toupload:bool",
                                        "file_duration:unsignedint",
                                        "file_pseudoname:varchar(128)",
                                        "file_uploadkey:varchar(32)",
                                        "file_preview_uploaded:bool",
                                        "file_segments_count:unsignedint",
                                        "file_preview_gif:bool"};

QStringList columnTypes(const QString& file, const QString& table)
{
    return sqliteTool(file, QString("SELECT name||':'||type FROM pragma_table_info('%1')").arg(table))
        .split('\n', Qt::SkipEmptyParts);
}

void makeFolderWithFile(const QString& folder)
{
    QVERIFY(QDir().mkpath(folder + "/sub"));
    QFile file(folder + "/sub/state.bin");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("kept?");
}

} // namespace

class TestMediaDatabase : public QObject
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

    void checkCurrentLayout()
    {
        QCOMPARE(sqliteUserVersion(dbFile()), 58);
        QCOMPARE(columnTypes(dbFile(), "files"), kCurrentFilesTypes);
        QCOMPARE(sqliteColumns(dbFile(), "segments"),
                 QStringList({"file_id", "seg_pos", "seg_size", "seg_uploaded", "seg_id"}));
        QCOMPARE(columnTypes(dbFile(), "segments").at(1), QString("seg_pos:unsigned long"));
        QCOMPARE(sqliteColumns(dbFile(), "deletion_queue").size(), 6);
        const QString filesSql = sqliteTableSql(dbFile(), "files");
        QVERIFY2(filesSql.contains("`file_id`\tunsignedint") && filesSql.contains("`file_size`\tunsignedlong"),
                 qPrintable(filesSql));
        checkQuery(kNoRenames);
    }

    void checkQuery(const QString& query)
    {
        QCOMPARE(sqliteTool(dbFile(), query.section(" => ", 0, 0)), query.section(" => ", 1));
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

    // Each row: the file before the start (none, empty, or made by these
    // statements), the folders the chain removes, the log lines it writes once
    // and what it writes ("!": must not), and queries with what sqlite3 then prints.
    void chain_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<bool>("current"); // ends in the current layout
        QTest::addColumn<QStringList>("removedFolders");
        QTest::addColumn<QStringList>("loggedOnce");
        QTest::addColumn<QStringList>("logged");
        QTest::addColumn<QStringList>("queries"); // "statement => output"
        const QStringList fresh = {"[SQL]: corrupted sqlite file", "[SQL]: segments table creation failed",
                                   "[SQL]: files table creation failed", "[SQL]: upgrade sqlite database"};
        const QStringList folders = {"cache", "QtWebEngine"};
        const QStringList fresh58 = {"[SQL]: upgrade sqlite database  58", "!moving data"};
        // Both tables were created, which is what the creation lines report.
        QTest::newRow("no file") << "" << true << folders << fresh << fresh58 << QStringList{};
        QTest::newRow("empty file") << "empty" << true << folders << fresh << fresh58 << QStringList{};
        QTest::newRow("version 30")
            << QString(kOldSegments)
                   + "create table files (file_name varchar(128),file_id unsigned int,file_created unsigned long,"
                     "file_size unsigned int,file_uploaded bool,file_preview  varchar(128),file_finalized bool,"
                     "file_toupload bool,file_duration unsigned int,file_pseudoname varchar(128));"
                     "insert into files values('a.mp4', 77, 1600000000, 900, 'false', 'a.mp4.jpg', 'true', 'true', "
                     "'4', 'a');"
                     "insert into segments values(77, 0, 900, 'false');"
                     "PRAGMA user_version=30;"
            << true << QStringList{}
            << QStringList{"[SQL]: have SQL tables", "[SQL]: adding file_uploadkey to files",
                           "[SQL]: adding file_preview_uploaded to files"}
            << QStringList{"!corrupted", "!upgrade failed"}
            << QStringList{"SELECT file_name, file_id, file_size, file_uploadkey IS NULL, file_segments_count, "
                           "file_preview_gif FROM files => a.mp4|77|900|1|0|false",
                           "SELECT file_id, seg_pos, seg_id FROM segments => 77|0|-1"};
        QTest::newRow("version 55")
            << version55Schema()
                   + "insert into files values('rec1.mp4', 305419896, 1700000000, 5000000000, 'true', "
                     "'rec1.mp4.jpg', 'true', 'true', '12', 'rec1', 'KEY1', 'true', '3');"
                     "insert into files values('shot.png', 42, 1700000100, 1234, 'false', 'shot.png', 'true', "
                     "'false', '1', 'shot', '', 'true', '1');"
                     "insert into segments values(305419896, 0, 1000, 'true', 0);"
                     "insert into segments values(305419896, 4294967296, 500, 'false', 1);"
                     "insert into segments values(42, 0, 1234, 'false', -1);"
                     "insert into deletion_queue values(7, 'gone.mp4', 'gone.mp4.jpg', 'gone', 'K7', 'false');"
                     "PRAGMA user_version=55;"
            << true << QStringList{"cache"} << QStringList{} << QStringList{"!table creation failed"}
            << QStringList{"SELECT * FROM files ORDER BY file_id => "
                           "shot.png|42|1700000100|1234|false|shot.png|true|false|1|shot||true|1|false\n"
                           "rec1.mp4|305419896|1700000000|5000000000|true|rec1.mp4.jpg|true|true|12|rec1|KEY1|true|"
                           "3|false",
                           "SELECT typeof(file_size) FROM files WHERE file_id=305419896 => integer",
                           "SELECT * FROM segments ORDER BY _rowid_ => "
                           "305419896|0|1000|true|0\n305419896|4294967296|500|false|1\n42|0|1234|false|-1",
                           "SELECT * FROM deletion_queue => 7|gone.mp4|gone.mp4.jpg|gone|K7|false"};
        // A version-56 file whose files table never got file_segments_count:
        // the files widening cannot copy, so the old table stays and the last
        // step still adds its column to it.
        QTest::newRow("failed steps still advance")
            << QString(kOldSegments) + kOldFiles
                   + "ALTER TABLE segments ADD COLUMN seg_id int NOT NULL DEFAULT '-1';"
                     "insert into files values('o.mp4', 5, 1, 2, 'true', 'o.mp4.jpg', 'true', 'true', '1', 'o', 'K', "
                     "'true');"
                     "insert into segments values(5, 0, 2, 'true', 0);"
                     "PRAGMA user_version=56;"
            << false << QStringList{} << QStringList{"[SQL]: moving data to new files table failed!"}
            << QStringList{"!moving data to new segments table failed!"}
            << QStringList{"PRAGMA user_version => 58",
                           kNoRenames,
                           "SELECT type FROM pragma_table_info('segments') WHERE name='seg_pos' => unsigned long",
                           "SELECT type FROM pragma_table_info('files') WHERE name='file_size' => unsigned int",
                           "SELECT file_name, file_preview_gif FROM files => o.mp4|false",
                           "SELECT seg_id FROM segments => 0"};
    }

    void chain()
    {
        QFETCH(QString, before);
        QFETCH(bool, current);
        QFETCH(QStringList, removedFolders);
        QFETCH(QStringList, loggedOnce);
        QFETCH(QStringList, logged);
        QFETCH(QStringList, queries);
        if (before == "empty")
            QVERIFY(QFile(dbFile()).open(QIODevice::WriteOnly));
        else if (!before.isEmpty())
            sqliteTool(dbFile(), before);
        for (const QString& folder : removedFolders)
            makeFolderWithFile(settingsPath() + "/" + folder);

        LogCapture log;
        QVERIFY(openDatabase(settingsPath()));

        if (current)
            checkCurrentLayout();
        for (const QString& folder : removedFolders)
            QVERIFY2(!QDir(settingsPath() + "/" + folder).exists(), qPrintable(folder));
        for (const QString& line : loggedOnce)
            QVERIFY2(log.lineCount(line) == 1, qPrintable(line));
        for (const QString& text : logged) // "!text": no line contains it
            QVERIFY2(log.contains(text.mid(text.startsWith('!'))) != text.startsWith('!'), qPrintable(text));
        for (const QString& query : queries)
            checkQuery(query);
    }

    void currentFileIsLeftAlone()
    {
        QVERIFY(openDatabase(settingsPath()));
        closeDatabase();
        sqliteTool(dbFile(), "insert into files values('x.mp4', 9, 1, 2, 'false', 'x.mp4.jpg', 'true', 'true', '1', "
                             "'x', '', 'false', '1', 'true');");
        makeFolderWithFile(settingsPath() + "/cache");
        const QByteArray before = fileDigest(dbFile());

        LogCapture log;
        QVERIFY(openDatabase(settingsPath()));
        closeDatabase();

        QCOMPARE(fileDigest(dbFile()), before);
        QVERIFY(QFile::exists(settingsPath() + "/cache/sub/state.bin"));
        QVERIFY(!log.contains("[SQL]:"));
    }

    void quotedTitlesSurviveTheRoundTrip()
    {
        QVERIFY(openDatabase(settingsPath()));
        const QString title = "Bob's 'demo'";
        QSqlQuery query(connectionForCurrentThread());
        QVERIFY(query.exec(QString("insert into files values('%1', %2, %3, %4, 'false', '%5', 'false', '%6', '0', "
                                   "'%7', '%8', 'false', '0', 'true')")
                               .arg(sqlText("it's.mp4"))
                               .arg(11)
                               .arg(1700000000)
                               .arg(0)
                               .arg(sqlText("it's.mp4.jpg"), "true", sqlText(title), "")));
        QCOMPARE(sqliteTool(dbFile(), "SELECT file_name, file_pseudoname FROM files WHERE file_id=11"),
                 QString("it's.mp4|Bob's 'demo'"));
        QCOMPARE(sqlText("plain"), QString("plain"));
        QCOMPARE(sqlText("''"), QString("''''"));
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
        // A file from before version 52 whose files is a view: adding the old
        // columns to it fails, which leads to the removal question.
        sqliteTool(dbFile(), QString(kOldSegments)
                                 + "create table files_store (file_name varchar(128),file_id unsigned int);"
                                   "create view files as select * from files_store;"
                                   "insert into files_store values('old.mp4', 3);"
                                   "PRAGMA user_version=40;");
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
            sqliteTool(dbFile(),
                       version55Schema()
                           + QString("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i+1 FROM n WHERE i<2000) "
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

QTEST_GUILESS_MAIN(TestMediaDatabase)
#include "test_media_database.moc"
