#pragma once

// Shared pieces of the controller tests: the program's identity and settings
// in the isolated home, its database opened as start-up opens it, a
// controller started as start-up starts it, and the outside tools (sqlite3,
// ffprobe) that check what the controller produced.

#include "AppController.h"
#include "MediaDatabase.h"
#include "SettingsManager.h"
#include "TestTools.h"

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

// A controller after runTasks, talking to `port` (none: no interface).
inline AppController* startController(InterfacePort* port = nullptr)
{
    auto* controller = new AppController();
    controller->setInterfacePort(port);
    controller->runTasks();
    return controller;
}

inline QString databaseFile()
{
    return SettingsManager::instance()->readSettingStr("settings_path") + "/orlune.sqlite";
}

// Rows of a statement run by the sqlite3 tool, one string per row, columns split by '|'.
inline QStringList sqliteRows(const QString& statement)
{
    return sqliteRowsOf(databaseFile(), statement);
}
