#pragma once

#include "AppController.h"
#include "MediaDatabase.h"
#include "PrivateServers.h"
#include "SettingsManager.h"
#include "TestTools.h"

#include <QCoreApplication>

// Names the settings store as the program does and opens the media library in `settings_path`.
inline bool openProgramDatabase()
{
    QCoreApplication::setOrganizationName("Halvenmoor");
    QCoreApplication::setApplicationName("orlune");
    return openDatabase(SettingsManager::instance()->readSettingStr("settings_path"));
}

inline AppController* startController(InterfacePort* port)
{
    auto* controller = new AppController();
    controller->setInterfacePort(port);
    controller->runTasks();
    return controller;
}

// Rows of a statement run by the sqlite3 tool on the program's database, columns split by '|'.
inline QStringList sqliteRows(const QString& statement)
{
    return sqliteRowsOf(SettingsManager::instance()->readSettingStr("settings_path") + "/orlune.sqlite", statement);
}
