#pragma once

#include <QSqlDatabase>
#include <QString>

// Brings an open library file up to the current layout (user_version 58).
// Every step writes its version even when its statements failed, so a failed
// change is never retried on a later start.
class MediaDatabaseUpgrade
{
public:
    static constexpr int currentVersion = 58;
    static constexpr int firstChainVersion = 52;

    MediaDatabaseUpgrade(const QSqlDatabase& db, const QString& settingsPath);

    // False when SQLite cannot read the file at all (not a database, cut
    // short, locked): nothing may then be written to it, since the chain would
    // stamp a new header over what is left of the user's data.
    bool isReadable() const;
    // "PRAGMA user_version"; a failed read or no row gives 0.
    int userVersion() const;
    // For files below version 52: creates the two tables of a fresh or damaged
    // file, or adds the columns an old file lacks. False when adding a column
    // failed, which the caller turns into the removal question.
    bool prepareOldTables();
    // Runs the chain from the given version up to the current one.
    void runFrom(int version);

private:
    bool exec(const QString& sql) const;
    void writeVersion(int version) const;
    void createFreshTables() const;
    bool addMissingFilesColumn(const QString& column, const char* logLine, const QString& sql) const;
    void removeWebViewState() const;
    void widenSegments() const;
    void widenFiles() const;

    QSqlDatabase m_db;
    QString m_settingsPath;
};
