#pragma once

#include <QDate>
#include <QFileInfoList>
#include <QString>

// Removes the "LOG_*.log" files of <folder> whose age in days, counted up to
// <today>, is greater than <days>. Names holding "keep" in any case survive.
// deleteOldLogFiles(days) is this on the data folder and the current date.
void deleteOldLogFilesIn(const QString& folder, int days, const QDate& today);

// The "LOG_*.log" files of <folder>, without those that support protected by
// a name holding "keep" in any case.
QFileInfoList unprotectedLogFiles(const QString& folder);
