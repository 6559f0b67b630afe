#pragma once

// Recording test helpers: packet sink, worker stops, stream-only output, test sources, session events.

#include "FFmpegResources.h"
#include "MediaDatabase.h"
#include "TestTools.h"
#include "ffmpegMux.h"

#include <QMutexLocker>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QWaitCondition>
#include <algorithm>
#include <functional>
#include <vector>

// Takes the packets of frameEncoded on the test's thread and keeps them.
class PacketSink : public QObject
{
public:
    template <typename Encoder>
    explicit PacketSink(Encoder* encoder)
    {
        connect(encoder, &Encoder::frameEncoded, this,
                [this](void* p) { packets.emplace_back(static_cast<AVPacket*>(p)); });
    }
    std::vector<PacketPtr> packets;
};

// Ends a source thread: clear its loop flag and wait for it.
template <typename Worker>
bool stopSource(Worker* worker, unsigned long ms = 5000)
{
    worker->running = 0;
    return worker->wait(ms);
}

// Ends an encoder thread: clear its loop flag, wake it under its lock, wait.
template <typename Encoder>
bool stopEncoder(Encoder* encoder, unsigned long ms = 10000)
{
    encoder->running = 0;
    {
        QMutexLocker lock(&encoder->queueLock);
        encoder->queueCondition.wakeAll();
    }
    return encoder->wait(ms);
}

// An output that only carries streams, with the header flags of the recording's file.
inline OutputFormatContextPtr streamOnlyOutput(const char* format = "mp4")
{
    AVFormatContext* ctx = nullptr;
    avformat_alloc_output_context2(&ctx, nullptr, format, nullptr);
    return OutputFormatContextPtr(ctx);
}

// Test sources of the lavfi device, paced to real time by the workers.
inline const char* const kTestVideo = "lavfi:testsrc2=size=640x360:rate=25";
inline const char* const kTestMic = "lavfi:sine=frequency=440";

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
        return std::any_of(events.begin(), events.end(), [](const QString& e) { return e.startsWith("done:"); });
    }

    // Runs the session with `during` once started; the events seen ("no start"/"no end" on a hang).
    QStringList run(ffmpegMux& session, const std::function<void()>& during)
    {
        session.start();
        if (!QTest::qWaitFor([&] { return has("started:0") || finished(); }, 15000) || !has("started:0"))
            return events << "no start";
        during();
        session.running = 0;
        if (!QTest::qWaitFor([&] { return finished(); }, 30000) || !session.wait(10000))
            return events << "no end";
        QTest::qWait(300); // the signals still queued to this thread
        return events;
    }

    QStringList events;
};

// A database in a folder of its own, opened as the program opens it.
struct TestLibrary
{
    QTemporaryDir dir;
    bool open() { return dir.isValid() && openDatabase(dir.path()); }
    QString databasePath() const { return dir.path() + "/orlune.sqlite"; }
    // The columns of a file's row as the sqlite3 tool gives them (empty: no row).
    QStringList fileRow(quint32 id, const QString& columns) const
    {
        const QStringList rows =
            sqliteRowsOf(databasePath(), QString("SELECT %1 FROM files WHERE file_id=%2;").arg(columns).arg(id));
        return rows.size() == 1 ? rows[0].split('|') : QStringList();
    }
    // Points a session at the 640x360 test picture and `mic`, writing `name` into this folder.
    void aim(ffmpegMux& coder, const char* mic, const QString& name, unsigned toUpload = 0) const
    {
        coder.setInputOutput(kTestVideo, mic, name, 0, dir.path(), toUpload);
        coder.setCaptureParams(0, 0, 640, 360);
    }
};
