#pragma once

#include <QStringList>

// Names of the top-level boxes of an MP4 file, in order, read straight from
// its bytes. A box of size 0 runs to the end of the file; size 1 takes its
// 64-bit size from the header.
QStringList topLevelBoxes(const QString& path);
