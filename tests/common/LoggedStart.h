#pragma once
// A copy of the program started by a start-up test, waited on through the
// log file it opens.
#include "OrluneProcess.h"

// Starts the program and waits until a log file that is new since the start
// holds the text; that log's name, or empty when none does in time. A copy
// that dies before it has opened a log (seen rarely on a loaded machine: the
// toolkit aborts while connecting to a test X server that answered a moment
// before) is reported with its standard error and started once more.
inline QString startUntilLogged(QProcess& process, const QStringList& args, const QString& text,
                                const QProcessEnvironment& env = orluneEnvironment(), int timeoutMs = 60000)
{
    QString log;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const QStringList before = logNames();
        startOrlune(process, args, env);
        const bool logged = waitUntil(
            [&] {
                log = newLogSince(before);
                return (!log.isEmpty() && readLog(log).contains(text)) || process.state() == QProcess::NotRunning;
            },
            timeoutMs);
        if (logged && !log.isEmpty() && readLog(log).contains(text))
            return log;
        if (process.state() != QProcess::NotRunning || !log.isEmpty())
            return QString();
        qWarning().noquote() << "the program ended before its log, exit" << process.exitCode() << "status"
                             << process.exitStatus()
                             << "stderr:" << QString::fromLocal8Bit(process.readAllStandardError());
    }
    return QString();
}
