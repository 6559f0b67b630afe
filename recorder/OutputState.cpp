#include "OutputState.h"

#include "OutputSql.h"
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

void commitFile(FILE* file)
{
    if (!file)
        return;
    fflush(file);
    const int fd = fileno(file);
    if (fd >= 0)
        fdatasync(fd);
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

int write_packet(void* opaque, uint8_t* buf, int size)
{
    auto* state = static_cast<OutputState*>(opaque);
    if (size < 1 || size > kTraceLimit)
        qDebug().nospace() << "[MUX]:" << "write_packet" << " pos:" << state->position
                           << " << file size:" << getFileSize(*state) << " size:" << size;
    if (size > kRefuseLimit) {
        qWarning() << "[MUX]:" << "write_packet" << "ERROR: too large segment!!!" << size;
        return 0;
    }
    if (size < 0) {
        qWarning() << "[MUX]:" << "write_packet" << "negative size!!!!";
        return 0;
    }
    if (size > 0) {
        const size_t written = state->file ? fwrite(buf, size_t(size), 1, state->file) : 0;
        if (written != 1) {
            const int err = errno;
            qWarning().nospace() << "[MUX]:" << "write_packet" << "write error: " << written << " to write: " << size
                                 << "ferror: " << (state->file ? ferror(state->file) : -1)
                                 << " error:" << strerror(err);
            return 0;
        }
    }
    // The bytes must be on disk before their row exists: the uploader reads
    // any range that has a row.
    commitFile(state->file);
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
    OutputSql::insertSegment(state->fileId, state->position, quint64(size), state->segmentNumber);
    state->segmentNumber += 1;
    state->position += quint64(size);
    return size;
}
