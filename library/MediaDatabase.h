#pragma once

#include <QSqlDatabase>
#include <QString>

// The media library file <settings_path>/orlune.sqlite.
bool openDatabase(const QString& settingsPath);
// The only way to a database handle: one connection per thread.
QSqlDatabase connectionForCurrentThread();
void closeDatabase();
bool columnExists(const QString& table, const QString& column);
