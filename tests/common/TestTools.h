#pragma once

// Pieces every test folder needs: outside tools run to check what the program
// produced (sqlite3, ffprobe), polling with a deadline, and the box layout
// of an MP4 file read straight from its bytes.

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QtTest>

// Runs a tool and returns its standard output, trimmed; empty on failure.
inline QString runTool(const QString& program, const QStringList& args)
{
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return QString();
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// Rows of a statement run by the sqlite3 tool on a database file, one string
// per row, columns split by '|'.
inline QStringList sqliteRowsOf(const QString& databasePath, const QString& statement)
{
    const QString out = runTool(QStringLiteral("sqlite3"), {QStringLiteral("-batch"), databasePath, statement});
    return out.isEmpty() ? QStringList() : out.split(QLatin1Char('\n'));
}

// Polls until the condition holds or the time is up, serving events meanwhile.
template <typename F>
bool waitUntil(F condition, int timeoutMs)
{
    QElapsedTimer t;
    t.start();
    while (!condition()) {
        if (t.elapsed() > timeoutMs)
            return false;
        QTest::qWait(50);
    }
    return true;
}

// Names of the top-level boxes of an MP4 file, in order. A box of size 0
// runs to the end of the file; size 1 takes its 64-bit size from the header.
inline QStringList topLevelBoxes(const QString& path)
{
    QFile f(path);
    QStringList boxes;
    if (!f.open(QIODevice::ReadOnly))
        return boxes;
    const qint64 end = f.size();
    qint64 at = 0;
    while (at + 8 <= end) {
        f.seek(at);
        const QByteArray head = f.read(16);
        quint64 size = (quint64(quint8(head[0])) << 24) | (quint64(quint8(head[1])) << 16)
                       | (quint64(quint8(head[2])) << 8) | quint64(quint8(head[3]));
        if (size == 1 && head.size() == 16) {
            size = 0;
            for (int i = 8; i < 16; ++i)
                size = (size << 8) | quint8(head[i]);
        } else if (size == 0) {
            size = quint64(end - at);
        }
        boxes << QString::fromLatin1(head.mid(4, 4));
        if (size < 8)
            break;
        at += qint64(size);
    }
    return boxes;
}
