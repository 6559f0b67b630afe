#pragma once

#include <QString>
#include <QtGlobal>

// The statements the recorder runs on the media library while a file is being
// written. Each runs on the calling thread's own connection and commits alone;
// results are not examined, as a failed row is left for upload repair.
namespace OutputSql {

// Whether a finished file already uses this id (an unfinished one does not count).
bool finalizedFileExists(quint32 fileId);
// The row of a new recording: not finalized, size 0, no segments yet.
void insertFile(const QString& fileName, quint32 fileId, bool toUpload);
// Duration in seconds of an existing row; false when there is no such row.
bool readFileDuration(quint32 fileId, qint64& seconds);
// Puts an existing row back to the state of a file being written.
void reopenFile(quint32 fileId);
void insertSegment(quint32 fileId, quint64 position, quint64 size, quint32 segmentId);
void finalizeFile(quint32 fileId, quint64 size, qint64 durationSeconds, quint32 segmentCount);

} // namespace OutputSql
