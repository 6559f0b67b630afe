#pragma once

// Shared pieces of the controller tests: the program's identity and settings
// in the isolated home, its database opened as start-up opens it, and the
// outside tools (sqlite3, ffprobe) that check what the controller produced.

#include "MediaDatabase.h"
#include "SettingsManager.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStringList>

// Names the settings store as the program does and opens the media library
// in `settings_path`. Returns false when the database could not be opened.
inline bool openProgramDatabase()
{
    QCoreApplication::setOrganizationName("Halvenmoor");
    QCoreApplication::setApplicationName("orlune");
    return openDatabase(SettingsManager::instance()->readSettingStr("settings_path"));
}

inline QString databaseFile()
{
    return SettingsManager::instance()->readSettingStr("settings_path") + "/orlune.sqlite";
}

// Runs a tool and returns its standard output, trimmed; empty on failure.
inline QString runTool(const QString& program, const QStringList& args)
{
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return QString();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// Rows of a statement run by the sqlite3 tool, one string per row, columns split by '|'.
inline QStringList sqliteRows(const QString& statement)
{
    const QString out = runTool("sqlite3", {"-batch", databaseFile(), statement});
    return out.isEmpty() ? QStringList() : out.split('\n');
}
