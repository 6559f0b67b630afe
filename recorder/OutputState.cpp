#include "OutputState.h"

#include "SegmentsTable.h"
#include "ffmpegMux.h"

#include <QDebug>
#include <QFileInfo>
#include <QMutexLocker>

#include <cerrno>
#include <cstring>
#include <unistd.h>

OutputState outputState;

namespace {
// Writes above this size are unusual enough to be traced; above the refusal
// limit they are rejected outright.
constexpr int kTraceLimit = 0x200000;
constexpr int kRefuseLimit = 0x8000000;
} // namespace

bool commitFile(FILE* file)
{
    if (!file)
        return true;
    if (fflush(file) != 0)
        return false;
    const int fd = fileno(file);
    return fd < 0 || fdatasync(fd) == 0;
}

quint64 getFileSize(OutputState& state)
{
    const QFileInfo info(state.path);
    const qint64 size = info.size();
    if (size >= 0)
        return quint64(size);
    if (!state.file)
        return 0;
    const long here = ftell(state.file);
    fseek(state.file, 0, SEEK_END);
    const long end = ftell(state.file);
    fseek(state.file, here, SEEK_SET);
    if (here < 0 || end < 0) {
        const int err = errno;
        qWarning().nospace() << "[MUX]: getFileSize << " << here << "|" << end << "ferror: " << ferror(state.file)
                             << " error:" << strerror(err);
        return 0;
    }
    return quint64(end);
}

namespace {
// The muxer takes a short write for a success, so a file that can't grow
// (full disk, vanished folder) is ended here, as the stop button would: the
// rows entered so far are exactly the bytes that reached the disk.
void stopAfterWriteError(OutputState& state)
{
    if (state.session && state.session->running) {
        qWarning() << "[MUX]:"
                   << "write_packet"
                   << "stopping the recording after a write error";
        state.session->running = 0;
    }
}
} // namespace

int write_packet(void* opaque, uint8_t* buf, int size)
{
    auto* state = static_cast<OutputState*>(opaque);
    if (size < 1 || size > kTraceLimit)
        qDebug().nospace() << "[MUX]:"
                           << "write_packet"
                           << " pos:" << state->position << " << file size:" << getFileSize(*state) << " size:" << size;
    if (size > kRefuseLimit) {
        qWarning() << "[MUX]:"
                   << "write_packet"
                   << "ERROR: too large segment!!!" << size;
        return 0;
    }
    if (size < 0) {
        qWarning() << "[MUX]:"
                   << "write_packet"
                   << "negative size!!!!";
        return 0;
    }
    if (size > 0) {
        const size_t written = state->file ? fwrite(buf, size_t(size), 1, state->file) : 0;
        if (written != 1) {
            const int err = errno;
            qWarning().nospace() << "[MUX]:"
                                 << "write_packet"
                                 << "write error: " << written << " to write: " << size
                                 << "ferror: " << (state->file ? ferror(state->file) : -1)
                                 << " error:" << strerror(err);
            stopAfterWriteError(*state);
            return 0;
        }
    }
    // The bytes must be on disk before their row exists: the uploader reads
    // any range that has a row. A full disk often shows only here, when the
    // buffered bytes are flushed; such a write gets no row and ends the recording.
    if (!commitFile(state->file)) {
        const int err = errno;
        qWarning().nospace() << "[MUX]:"
                             << "write_packet"
                             << "write error: " << 0 << " to write: " << size << "ferror: " << ferror(state->file)
                             << " error:" << strerror(err);
        stopAfterWriteError(*state);
        return 0;
    }
    if (size == 0)
        return 0;
    if (!state->session) {
        qWarning() << "[MUX]: parent class is incorrect!";
        return 0;
    }

    QMutexLocker lock(&state->session->dbLock);
    qDebug("[MUX]: DB <=file[%u|%u]: pos:%lu segsz:%lu fsz:%lu|%lu", state->fileId, state->segmentNumber,
           (unsigned long)state->position, (unsigned long)size, (unsigned long)(state->position + size),
           (unsigned long)getFileSize(*state));
    SegmentsTable::insert(state->fileId, state->position, quint64(size), state->segmentNumber);
    state->segmentNumber += 1;
    state->position += quint64(size);
    return size;
}
