#include "SegmentsTable.h"

#include "LibraryStatement.h"
#include "SegmentGrid.h"

#include <QVariant>

using LibraryStatement::exec;
using LibraryStatement::select;

namespace SegmentsTable {

void insert(quint32 fileId, quint64 position, quint64 size, quint32 segmentId)
{
    exec(QString("insert into segments values('%1', %2, %3, 'false', '%4')")
             .arg(fileId)
             .arg(position)
             .arg(size)
             .arg(segmentId));
}

std::optional<PendingRange> nextToUpload(uint fileId, const char* logTag)
{
    QSqlQuery row = select(QString("SELECT `seg_pos`, `seg_size`, _rowid_, `seg_id` FROM `segments` WHERE "
                                   "`seg_uploaded`='false' AND `file_id`='%1' ORDER BY `seg_id` ASC LIMIT 1;")
                               .arg(fileId),
                           logTag);
    if (!row.next())
        return std::nullopt;
    return PendingRange{row.value(0).toULongLong(), static_cast<qint64>(row.value(1).toUInt()), row.value(2).toInt(),
                        row.value(3).toInt()};
}

QString markUploadedText(int rowId, uint fileId)
{
    return QString("UPDATE `segments` SET `seg_uploaded`='true' WHERE _rowid_='%1' AND `file_id`='%2';")
        .arg(rowId)
        .arg(fileId);
}

bool markUploaded(int rowId, uint fileId)
{
    return exec(markUploadedText(rowId, fileId));
}

void markNotUploaded(uint fileId)
{
    exec(QString("UPDATE `segments` SET `seg_uploaded`='false' WHERE `file_id`='%1'").arg(fileId));
}

void removeAll(uint fileId)
{
    exec(QString("DELETE FROM `segments` WHERE `file_id`='%1';").arg(fileId));
}

void removeFrom(uint fileId, quint64 position)
{
    exec(QString("DELETE FROM `segments` WHERE `file_id`='%1' AND `seg_pos` >= '%2';").arg(fileId).arg(position));
}

void removeAfter(uint fileId, quint64 position)
{
    exec(QString("DELETE FROM `segments` WHERE `file_id`='%1' AND `seg_pos` > '%2';").arg(fileId).arg(position));
}

void resize(uint fileId, quint64 position, quint64 size)
{
    exec(QString("UPDATE `segments` SET `seg_size`='%1' WHERE `file_id`='%2' AND `seg_pos`='%3'")
             .arg(size)
             .arg(fileId)
             .arg(position));
}

void insertGrid(const SegmentGrid& grid)
{
    if (!grid.statement.isEmpty())
        exec(grid.statement);
}

} // namespace SegmentsTable
