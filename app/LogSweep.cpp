#include "LogSweep.h"

#include "Logging.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

// A log's age counts from its birth. Some file systems don't record a birth
// time; there the last change is the best stand-in, since a log is written
// only during the run that created it.
QDate logFileDate(const QFileInfo& info)
{
    const QDateTime born = info.birthTime();
    return (born.isValid() ? born : info.lastModified()).date();
}

} // namespace

QFileInfoList unprotectedLogFiles(const QString& folder)
{
    QFileInfoList logs = QDir(folder).entryInfoList({"LOG_*.log"}, QDir::Files);
    // Support can protect a log by renaming it.
    logs.removeIf([](const QFileInfo& info) { return info.fileName().contains("keep", Qt::CaseInsensitive); });
    return logs;
}

void deleteOldLogFilesIn(const QString& folder, int days, const QDate& today)
{
    // An empty name would mean the working folder, which is not ours to sweep.
    if (folder.isEmpty())
        return;
    for (const QFileInfo& info : unprotectedLogFiles(folder)) {
        if (logFileDate(info).daysTo(today) > days) {
            qDebug() << "[deleteOldLogFiles]: Log file" << info.filePath() << "is expired, deleting it";
            QFile::remove(info.filePath());
        }
    }
}

void deleteOldLogFiles(int days)
{
    const QString dataFolder = QStandardPaths::standardLocations(QStandardPaths::AppLocalDataLocation).value(0);
    deleteOldLogFilesIn(dataFolder, days, QDate::currentDate());
}
