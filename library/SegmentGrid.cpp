#include "SegmentGrid.h"

#include <QStringList>

SegmentGrid SegmentGrid::build(quint32 fileId, qint64 fileSize)
{
    SegmentGrid grid;
    QStringList rows;
    for (qint64 pos = 0; pos < fileSize; pos += pieceSize) {
        const qint64 size = qMin(pieceSize, fileSize - pos);
        rows << QString("('%1', %2, %3, 'false', '%4')").arg(fileId).arg(pos).arg(size).arg(rows.size());
    }
    grid.count = rows.size();
    if (!rows.isEmpty())
        grid.statement = "INSERT INTO `segments` VALUES " + rows.join(",\n ") + ";";
    return grid;
}
