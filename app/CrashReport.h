#pragma once

#include <QString>
#include <QVariantMap>

// The program's own crash and message reporting. Events are kept as JSON
// files under <data folder>/sentry-native and, when a DSN is configured
// (ORLUNE_CRASH_DSN), posted there as well.
namespace CrashReport {
// Opens reporting: the events folder, the release name, and the handlers for
// fatal signals (SIGSEGV, SIGABRT, ...), which write one last event with a
// backtrace before the process ends.
void init(const QString& databasePath, const QString& release, const QString& dsn);
// Replaces the user object attached to every later event ("id", "username", "machine_id").
void setUser(const QVariantMap& user);
void removeUser();
// Closes reporting; pending uploads are given up, files stay.
void close();
// Level: 1 warning, 2 error, 3 fatal. Returns the path of the event file, or "" on failure.
QString captureMessage(int level, const char* logger, const QString& text);
} // namespace CrashReport

void sentryCaptureWarning(const char* logger, const QString& text);
void sentryCaptureError(const char* logger, const QString& text);
void sentryCaptureFatal(const char* logger, const QString& text);
