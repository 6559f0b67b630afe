#pragma once

// Shared pieces of the worker thread tests: a receiver for encoded packets,
// the orderly stop of a worker, and an output that only carries streams.

#include "FFmpegResources.h"
#include "TestTools.h"

#include <QMutexLocker>
#include <QObject>
#include <QProcess>
#include <QThread>
#include <QWaitCondition>
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

// An output context that only carries streams: the encoders open against it
// as they do against the recording's file, with the same header flags.
inline OutputFormatContextPtr streamOnlyOutput(const char* format = "mp4")
{
    AVFormatContext* ctx = nullptr;
    avformat_alloc_output_context2(&ctx, nullptr, format, nullptr);
    return OutputFormatContextPtr(ctx);
}
