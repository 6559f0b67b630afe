#pragma once
// A copy of the program started by a start-up test, waited on through the
// log file it opens.
#include "OrluneProcess.h"

// Starts the program and waits until a log file that is new since the start
// holds the text; that log's name, or empty when none does in time.
inline QString startUntilLogged(QProcess& process, const QStringList& args, const QString& text,
                                const QProcessEnvironment& env = orluneEnvironment(), int timeoutMs = 60000)
{
    const QStringList before = logNames();
    startOrlune(process, args, env);
    QString log;
    const bool logged = waitUntil(
        [&] {
            log = newLogSince(before);
            return !log.isEmpty() && readLog(log).contains(text);
        },
        timeoutMs);
    return logged ? log : QString();
}
