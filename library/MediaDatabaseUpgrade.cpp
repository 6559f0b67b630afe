#include "MediaDatabaseUpgrade.h"

#include "MediaDatabase.h"

#include <QDebug>
#include <QDir>
#include <QSqlError>
#include <QSqlQuery>

MediaDatabaseUpgrade::MediaDatabaseUpgrade(const QSqlDatabase& db, const QString& settingsPath)
    : m_db(db)
    , m_settingsPath(settingsPath)
{
}

bool MediaDatabaseUpgrade::exec(const QString& sql) const
{
    QSqlQuery query(m_db);
    return query.exec(sql);
}

void MediaDatabaseUpgrade::writeVersion(int version) const
{
    // The number stands between backticks; SQLite reads it as a name and
    // takes its numeric value.
    exec(QString("PRAGMA user_version=`%1`").arg(version));
}

bool MediaDatabaseUpgrade::isReadable() const
{
    // The first reads of the file: its header, then its schema.
    for (const char* sql : {"PRAGMA user_version", "SELECT COUNT(*) FROM sqlite_master WHERE type='table' ;"}) {
        QSqlQuery query(m_db);
        if (!query.exec(sql)) {
            qWarning().noquote() << "[SQL]: database file unreadable:" << query.lastError().text();
            return false;
        }
    }
    return true;
}

int MediaDatabaseUpgrade::userVersion() const
{
    QSqlQuery query(m_db);
    if (query.exec("PRAGMA user_version") && query.next())
        return query.value(0).toInt();
    return 0;
}

void MediaDatabaseUpgrade::createFreshTables() const
{
    // These two lines fire when the statement worked; support knows them in
    // that sense, so they stay as they are.
    if (exec("create table segments (file_id unsigned int,seg_pos unsigned int,seg_size unsigned int,seg_uploaded "
             "bool);"))
        qDebug() << "[SQL]: segments table creation failed";
    if (exec("create table files (file_name varchar(128),file_id unsigned int,file_created unsigned long,file_size "
             "unsigned int,file_uploaded bool,file_preview  varchar(128),file_finalized bool,file_toupload "
             "bool,file_duration unsigned int,file_pseudoname varchar(128),file_uploadkey "
             "varchar(32),file_preview_uploaded bool);"))
        qDebug() << "[SQL]: files table creation failed";
}

bool MediaDatabaseUpgrade::addMissingFilesColumn(const QString& column, const char* logLine, const QString& sql) const
{
    if (columnExists("files", column))
        return true;
    qDebug() << logLine;
    if (exec(sql))
        return true;
    qDebug() << "[SQL]: SQL table upgrade failed";
    return false;
}

bool MediaDatabaseUpgrade::prepareOldTables()
{
    QSqlQuery count(m_db);
    if (!count.exec("SELECT COUNT(*) FROM sqlite_master WHERE type='table' ;") || !count.next()
        || count.value(0).toInt() < 2) {
        count.finish();
        qDebug() << "[SQL]: corrupted sqlite file";
        createFreshTables();
        return true;
    }
    count.finish();

    qDebug() << "[SQL]: have SQL tables";
    // Both columns are tried even when the first one could not be added.
    const bool keyAdded = addMissingFilesColumn("file_uploadkey", "[SQL]: adding file_uploadkey to files",
                                                "ALTER TABLE files ADD COLUMN file_uploadkey varchar(32)");
    const bool previewAdded =
        addMissingFilesColumn("file_preview_uploaded", "[SQL]: adding file_preview_uploaded to files",
                              "ALTER TABLE files ADD COLUMN file_preview_uploaded bool");
    return keyAdded && previewAdded;
}

void MediaDatabaseUpgrade::removeWebViewState() const
{
    // Drops what the web views stored under older layouts.
    QDir(m_settingsPath + "/cache").removeRecursively();
    QDir(m_settingsPath + "/QtWebEngine").removeRecursively();
}

void MediaDatabaseUpgrade::widenSegments() const
{
    if (!exec("create table segments_rename (file_id unsigned int,seg_pos unsigned long,seg_size unsigned "
              "int,seg_uploaded bool,seg_id int NOT NULL DEFAULT '-1');")) {
        qDebug() << "[SQL]: new segments table creation failed";
        return;
    }
    if (exec("INSERT INTO segments_rename SELECT `file_id`,`seg_pos`,`seg_size`,`seg_uploaded`,`seg_id` FROM "
             "`segments`;")) {
        exec("DROP TABLE `segments`;");
        exec("ALTER TABLE `segments_rename` RENAME TO `segments`");
    } else {
        qDebug() << "[SQL]: moving data to new segments table failed!";
        exec("DROP TABLE `segments_rename`;");
    }
}

void MediaDatabaseUpgrade::widenFiles() const
{
    // The declared types without a blank are what the file keeps from now on;
    // the point is a 64-bit file_size.
    if (!exec("CREATE TABLE `files_rename` ( `file_name`\tvarchar(128), `file_id`\tunsignedint, "
              "`file_created`\tunsignedlong, `file_size`\tunsignedlong, `file_uploaded`\tbool, "
              "`file_preview`\tvarchar(128), `file_finalized`\tbool, `file_toupload`\tbool, "
              "`file_duration`\tunsignedint, `file_pseudoname`\tvarchar(128), `file_uploadkey`\tvarchar(32), "
              "`file_preview_uploaded`\tbool, `file_segments_count`\tunsignedint NOT NULL DEFAULT '0' );")) {
        qDebug() << "[SQL]: new files table creation failed";
        return;
    }
    if (exec("INSERT INTO files_rename SELECT "
             "`file_name`,`file_id`,`file_created`,`file_size`,`file_uploaded`,`file_preview`,`file_finalized`,`file_"
             "toupload`,`file_duration`,`file_pseudoname`,`file_uploadkey`,`file_preview_uploaded`,`file_segments_"
             "count` FROM `files`;")) {
        exec("PRAGMA foreign_keys");
        exec("PRAGMA foreign_keys = \"0\";");
        exec("DROP TABLE `files`;");
        exec("ALTER TABLE `files_rename` RENAME TO `files`");
    } else {
        qDebug() << "[SQL]: moving data to new files table failed!";
        exec("DROP TABLE `files_rename`;");
    }
}

void MediaDatabaseUpgrade::runFrom(int version)
{
    if (version < firstChainVersion) {
        writeVersion(firstChainVersion);
        version = firstChainVersion;
    }
    // Each step falls through to the next, as a file may be several versions behind.
    switch (version) {
    case 52:
        exec("ALTER TABLE segments ADD COLUMN seg_id int NOT NULL DEFAULT '-1'");
        writeVersion(53);
        [[fallthrough]];
    case 53:
        exec("ALTER TABLE files ADD COLUMN file_segments_count unsigned int NOT NULL DEFAULT '0'");
        writeVersion(54);
        [[fallthrough]];
    case 54:
        exec("create table deletion_queue (file_id unsigned int,file_name varchar(128),file_preview  "
             "varchar(128),file_pseudoname varchar(128),file_uploadkey varchar(32),file_preview_uploaded bool);");
        writeVersion(55);
        [[fallthrough]];
    case 55:
        removeWebViewState();
        writeVersion(56);
        [[fallthrough]];
    case 56:
        qDebug() << "[SQL]: upgrade sqlite database";
        widenSegments();
        widenFiles();
        writeVersion(57);
        [[fallthrough]];
    case 57:
        qDebug() << "[SQL]: upgrade sqlite database " << currentVersion;
        exec("ALTER TABLE files ADD COLUMN file_preview_gif bool NOT NULL DEFAULT 'false'");
        writeVersion(currentVersion);
        break;
    default: break;
    }
}
