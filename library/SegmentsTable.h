#pragma once

#include <QString>
#include <QtGlobal>
#include <optional>

struct SegmentGrid;

// The statements on `segments`, one function each, run like those of FilesTable.
namespace SegmentsTable {

// The first range of a file that the server has not confirmed, by `seg_id`.
struct PendingRange
{
    quint64 position = 0;
    qint64 size = 0;
    int rowId = 0;
    int segmentId = 0;
};

// ---- the recorder ----
void insert(quint32 fileId, quint64 position, quint64 size, quint32 segmentId);

// ---- the uploader; a failed SELECT is logged under logTag ----
std::optional<PendingRange> nextToUpload(uint fileId, const char* logTag);
// False when the statement failed; markUploadedText() is its text for the log.
bool markUploaded(int rowId, uint fileId);
QString markUploadedText(int rowId, uint fileId);
void markNotUploaded(uint fileId);
void removeAll(uint fileId);
// Rows from `position` on, and rows after it.
void removeFrom(uint fileId, quint64 position);
void removeAfter(uint fileId, quint64 position);
void resize(uint fileId, quint64 position, quint64 size);
// Enters the rows of the grid; nothing for an empty one.
void insertGrid(const SegmentGrid& grid);

} // namespace SegmentsTable
