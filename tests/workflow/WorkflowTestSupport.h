#pragma once

// Shared pieces of the controller tests: the program's identity and settings
// in the isolated home, its database opened as start-up opens it, a
// controller started as start-up starts it, and the outside tools (sqlite3,
// ffprobe) that check what the controller produced, and the devices of a
// sound server of the test's own.

#include "AppController.h"
#include "MediaDatabase.h"
#include "PrivateServers.h"
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

// A sine-wave microphone on `pulse`; the module's index.
inline QString plugMicrophone(const PrivatePulse& pulse, const QString& name = "test_mic",
                              const QString& description = "Microphone")
{
    return pulse.load("module-sine-source",
                      {"source_name=" + name, "frequency=440", "source_properties=device.description=" + description});
}

inline QString plugSpeakers(const PrivatePulse& pulse)
{
    return pulse.load("module-null-sink", {"sink_name=test_speakers", "sink_properties=device.description=Speakers"});
}

// Starts `pulse` with speakers and a microphone (`mic`: its module), the
// program's database with the microphone switched on, and a controller.
inline AppController* startWithSound(PrivatePulse& pulse, QString& mic, InterfacePort* port = nullptr)
{
    if (!pulse.start(QString()) || plugSpeakers(pulse).isEmpty() || (mic = plugMicrophone(pulse)).isEmpty()
        || !openProgramDatabase())
        return nullptr;
    SettingsManager::instance()->writeSetting("mute_audio", false);
    return startController(port);
}
