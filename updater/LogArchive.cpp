#include "LogArchive.h"

#include <quazip.h>
#include <quazipfile.h>
#include <quazipnewinfo.h>

#include <QDebug>
#include <QFile>

#include <algorithm>

QFileInfoList LogArchive::newest(QFileInfoList logs, int count)
{
    std::stable_sort(logs.begin(), logs.end(),
                     [](const QFileInfo& a, const QFileInfo& b) { return a.lastModified() > b.lastModified(); });
    return logs.mid(0, count);
}

bool LogArchive::write(const QString& zipPath, const QFileInfoList& logs)
{
    QuaZip zip(zipPath);
    // Entry names in the code page that archivers without UTF-8 support expect.
    zip.setFileNameCodec("IBM866");
    if (!zip.open(QuaZip::mdCreate)) {
        qDebug() << "[FW]: Failed to open zip file for writing";
        return false;
    }
    bool ok = true;
    for (const QFileInfo& log : logs) {
        QFile in(log.filePath());
        if (!in.open(QIODevice::ReadOnly)) {
            qDebug() << "[FW]: can't read log" << log.filePath();
            continue;
        }
        const QByteArray text = in.readAll();
        QuaZipFile entry(&zip);
        if (!entry.open(QIODevice::WriteOnly, QuaZipNewInfo(log.fileName(), log.filePath()))
            || entry.write(text) != text.size()) {
            qDebug() << "[FW]: can't add" << log.fileName() << "to the zip, error" << entry.getZipError();
            ok = false;
        }
        entry.close();
    }
    zip.close();
    return ok && zip.getZipError() == 0;
}
