#pragma once

#include <QFileInfoList>
#include <QString>

// The ZIP of log files that goes to the support team.
namespace LogArchive {
// The <count> most recently modified of <logs>, newest first.
QFileInfoList newest(QFileInfoList logs, int count);
// Writes <logs> into a new ZIP at <zipPath>, each under its own name and
// read whole. False, with a log line, when the archive can't be made.
bool write(const QString& zipPath, const QFileInfoList& logs);
} // namespace LogArchive
