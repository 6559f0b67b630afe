#pragma once

#include <QString>
#include <QtGlobal>

// The `segments` rows that cover a whole file with pieces of 1 MiB (the last
// one shorter), numbered from 0: the layout the uploader falls back to when
// the server has lost track of a file's ranges.
struct SegmentGrid
{
    static constexpr qint64 pieceSize = 1048576;

    QString statement; // one INSERT for all rows; empty for an empty file
    int count = 0;

    static SegmentGrid build(quint32 fileId, qint64 fileSize);
};
