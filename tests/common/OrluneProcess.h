#pragma once

// The real orlune program (ORLUNE_BIN) run by the tests: its environment, its
// console output and exit status, and what it leaves in the isolated home
// (log files, the settings store, the database, the recordings).

#include "ServiceProcess.h"
#include "TestTools.h"

#include <QDir>
#include <QProcess>
#include <QStringList>

struct OrluneRun
{
    bool finished = false;
    int exitCode = -1;
    QString out;
    QString err;
};

QString orluneBin();
QString orluneDataFolder();
QString orluneConfigFile();
// Signed in to the service as the account page would leave it, with automatic
// upload on, plus any further settings: written to the store before a start.
void storeSignedIn(const ServiceProcess::Account& account, const QVariantMap& more = {});
QString orluneDatabaseFile();
// The recordings folder the store names.
QString orluneFilesPath();
// Names of the recordings in the default recordings folder.
QStringList orluneRecordings();

// The environment of a copy of this test's own: the single-instance lock and
// socket live in its temp folder, so copies started by other tests can't answer.
QProcessEnvironment orluneEnvironment();
void startOrlune(QProcess& process, const QStringList& args, const QProcessEnvironment& env = orluneEnvironment());
// Collects what a started copy printed once it has ended (or is killed at the time-out).
OrluneRun collectOrlune(QProcess& process, int timeoutMs);
OrluneRun runOrlune(const QStringList& args, int timeoutMs, const QProcessEnvironment& env = orluneEnvironment());

// Lines of `text` that begin with `prefix`.
QStringList linesStartingWith(const QString& text, const QString& prefix);
// The recorded file from the one "file: " line of standard output; empty without one.
QString printedFile(const QString& out);

QStringList logNames();
QString readLog(const QString& name);
// The text of the newest log file of the program.
QString newestLog();
// The name of a log file that was not there before; empty while there is none.
// Log names have one-second resolution: wait a second between starts.
QString newLogSince(const QStringList& before);
