#pragma once

// Shared pieces of the recording session tests: a session wired to an event
// log, and the outside tools (sqlite3, ffprobe) that check what it wrote.

#include "MediaDatabase.h"
#include "TestTools.h"
#include "ffmpegMux.h"

#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

// Test sources of the lavfi device, paced to real time by the workers.
inline const char* const kTestVideo = "lavfi:testsrc2=size=640x360:rate=25";
inline const char* const kTestMic = "lavfi:sine=frequency=440";
inline const char* const kTestSystemSound = "lavfi:sine=frequency=880";

// Records the session's outcome signals in the order the GUI thread sees them.
class SessionEvents : public QObject
{
public:
    explicit SessionEvents(ffmpegMux& session)
    {
        connect(&session, &ffmpegMux::recordingStarted, this,
                [this](int s) { events << QString("started:%1").arg(s); });
        connect(&session, &ffmpegMux::recordingDone, this, [this](int s) { events << QString("done:%1").arg(s); });
        connect(&session, &ffmpegMux::recordingFailed, this, [this](int s) { events << QString("failed:%1").arg(s); });
        connect(&session, &ffmpegMux::recordingAudioFails, this,
                [this](int s) { events << QString("audioFails:%1").arg(s); });
    }
    bool has(const QString& event) const { return events.contains(event); }
    bool finished() const
    {
        for (const QString& e : events)
            if (e.startsWith("done:"))
                return true;
        return false;
    }

    QStringList events;
};

// A database in a folder of its own, opened as the program opens it.
struct TestLibrary
{
    QTemporaryDir dir;
    bool open() { return dir.isValid() && openDatabase(dir.path()); }
    QString databasePath() const { return dir.path() + "/orlune.sqlite"; }
};

// Rows of a query by the sqlite3 tool, one string per row, columns split by '|'.
inline QStringList sqliteRows(const QString& databasePath, const QString& query)
{
    return sqliteRowsOf(databasePath, query);
}
