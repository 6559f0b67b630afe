#pragma once

// The real orlune program (ORLUNE_BIN) run by the start-up tests: its
// environment, its console output and exit status, and what it leaves in the
// isolated home (log files, the settings store, the database).

#include "TestTools.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <QtTest>

struct OrluneRun
{
    bool finished = false;
    int exitCode = -1;
    QString out;
    QString err;
};

inline QString orluneBin()
{
    return qEnvironmentVariable("ORLUNE_BIN");
}

inline QString orluneDataFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Halvenmoor/orlune");
}

inline QString orluneConfigFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
           + QStringLiteral("/Halvenmoor/orlune.conf");
}

// The environment of a copy of this test's own: the single-instance lock and
// socket live in its temp folder, so copies started by other tests can't answer.
inline QProcessEnvironment orluneEnvironment()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    const QString tmp = QDir::homePath() + QStringLiteral("/tmp");
    QDir().mkpath(tmp);
    env.insert(QStringLiteral("TMPDIR"), tmp);
    return env;
}

inline void startOrlune(QProcess& process, const QStringList& args,
                        const QProcessEnvironment& env = orluneEnvironment())
{
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(orluneBin(), args);
}

// Collects what a started copy printed once it has ended (or is killed at the time-out).
inline OrluneRun collectOrlune(QProcess& process, int timeoutMs)
{
    OrluneRun run;
    run.finished = process.waitForFinished(timeoutMs) && process.exitStatus() == QProcess::NormalExit;
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    }
    run.exitCode = process.exitCode();
    run.out = QString::fromLocal8Bit(process.readAllStandardOutput());
    run.err = QString::fromLocal8Bit(process.readAllStandardError());
    return run;
}

inline OrluneRun runOrlune(const QStringList& args, int timeoutMs, const QProcessEnvironment& env = orluneEnvironment())
{
    QProcess process;
    startOrlune(process, args, env);
    return collectOrlune(process, timeoutMs);
}

// Lines of `text` that begin with `prefix`.
inline QStringList linesStartingWith(const QString& text, const QString& prefix)
{
    QStringList found;
    for (const QString& line : text.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.startsWith(prefix))
            found << line;
    }
    return found;
}

inline QStringList logNames()
{
    return QDir(orluneDataFolder()).entryList({QStringLiteral("LOG_*.log")}, QDir::Files, QDir::Name);
}

inline QString readLog(const QString& name)
{
    QFile f(orluneDataFolder() + QLatin1Char('/') + name);
    return f.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(f.readAll()) : QString();
}

// The text of the newest log file of the program.
inline QString newestLog()
{
    const QStringList logs = logNames();
    return logs.isEmpty() ? QString() : readLog(logs.last());
}

// The name of a log file that was not there before; empty while there is none.
// Log names have one-second resolution: wait a second between starts.
inline QString newLogSince(const QStringList& before)
{
    for (const QString& name : logNames()) {
        if (!before.contains(name))
            return name;
    }
    return QString();
}

inline QString sqlite3(const QString& database, const QString& statement)
{
    return runTool(QStringLiteral("sqlite3"), {QStringLiteral("-batch"), database, statement});
}
