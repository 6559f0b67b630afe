#include "FilesTable.h"

#include "LibraryStatement.h"
#include "SqlText.h"

#include <QDateTime>
#include <QVariant>

using LibraryStatement::exec;
using LibraryStatement::select;

namespace {

// The title a new recording starts with: the file name up to its last dot.
QString pseudoName(const QString& fileName)
{
    const int dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? fileName : fileName.left(dot);
}

// Both of the uploader's file queries select these columns in this order.
std::optional<FilesTable::UploadCandidate> uploadCandidate(const QString& statement, const char* logTag)
{
    QSqlQuery row = select(statement, logTag);
    if (!row.next())
        return std::nullopt;
    FilesTable::UploadCandidate file;
    file.fileId = row.value(0).toUInt();
    file.size = row.value(1).toLongLong();
    file.name = row.value(2).toString();
    file.preview = row.value(3).toString();
    file.finalized = row.value(4).toBool();
    file.finalizedAsNumber = row.value(4).toUInt();
    file.pseudoname = row.value(5).toString();
    file.previewUploaded = row.value(6).toBool();
    file.segmentsCount = row.value(7).toUInt();
    file.previewGif = row.value(8).toBool();
    return file;
}

} // namespace

namespace FilesTable {

bool finalizedFileExists(quint32 fileId)
{
    QSqlQuery query =
        select(QString("SELECT _rowid_ FROM `files` WHERE `file_id`='%1' AND `file_finalized`='true';").arg(fileId));
    return query.next();
}

void insertRecording(const QString& fileName, quint32 fileId, bool toUpload)
{
    // One pass of arg() so that a '%' in a file name is never taken for a placeholder.
    exec(QString("insert into files values('%1', %2, %3, %4, 'false', '%5', 'false', '%6', '0', '%7', '%8', "
                 "'false', '0', 'true')")
             .arg(sqlText(fileName), QString::number(fileId), QString::number(QDateTime::currentSecsSinceEpoch()),
                  QString::number(0), sqlText(fileName + ".jpg"), toUpload ? QString("true") : QString("false"),
                  sqlText(pseudoName(fileName)), sqlText(QString())));
}

bool readDuration(quint32 fileId, qint64& seconds)
{
    QSqlQuery query = select(QString("SELECT `file_duration` FROM `files` WHERE `file_id`='%1';").arg(fileId));
    if (!query.next())
        return false;
    seconds = query.value(0).toLongLong();
    return true;
}

void reopen(quint32 fileId)
{
    exec(QString("UPDATE `files` SET `file_finalized`='false', `file_size`='0', `file_duration`='0', "
                 "`file_segments_count`='0' WHERE `file_id`='%1';")
             .arg(fileId));
}

void finalizeRecording(quint32 fileId, quint64 size, qint64 durationSeconds, quint32 segmentCount)
{
    exec(QString("UPDATE `files` SET `file_finalized`='true', `file_size`='%1', `file_duration`='%2', "
                 "`file_segments_count`='%4' WHERE `file_id`='%3';")
             .arg(size)
             .arg(durationSeconds)
             .arg(fileId)
             .arg(segmentCount));
}

std::optional<ServiceNames> serviceNames(uint fileId, const char* logTag)
{
    QSqlQuery row = select(
        QString("SELECT `file_name`,`file_pseudoname`, `file_uploadkey` FROM `files` WHERE `file_id`='%1'").arg(fileId),
        logTag);
    if (!row.next())
        return std::nullopt;
    return ServiceNames{row.value(0).toString(), row.value(1).toString(), row.value(2).toString()};
}

uint firstPendingUpload(const char* logTag)
{
    QSqlQuery pending =
        select("SELECT `file_id` FROM `files` WHERE `file_uploaded`='false'  AND `file_toupload`='true' ORDER BY "
               "`file_id` ASC LIMIT 1;",
               logTag);
    return pending.next() ? pending.value(0).toUInt() : 0;
}

std::optional<UploadCandidate> nextFileToUpload(const char* logTag)
{
    return uploadCandidate(
        "SELECT `file_id`, `file_size`, `file_name`, `file_preview`, `file_finalized`, `file_pseudoname`, "
        "`file_preview_uploaded`, `file_segments_count`, `file_preview_gif`  FROM `files` WHERE "
        "`file_uploaded`='false'  AND `file_toupload`='true' ORDER BY `file_id` ASC LIMIT 1;",
        logTag);
}

std::optional<UploadCandidate> nextPreviewToUpload(const char* logTag)
{
    return uploadCandidate(
        "SELECT `file_id`, `file_size`, `file_name`, `file_preview`, `file_finalized`, `file_pseudoname`, "
        "`file_preview_uploaded`, `file_segments_count`, `file_preview_gif` FROM `files` WHERE "
        "`file_uploaded`='true' AND `file_toupload`='true' AND `file_preview_uploaded`='false'ORDER BY `file_id` ASC "
        "LIMIT 1;",
        logTag);
}

std::optional<FinalState> finalState(uint fileId, const char* logTag)
{
    QSqlQuery fin = select(QString("SELECT `file_finalized`, `file_size`, `file_pseudoname`, "
                                   "`file_preview_uploaded`, `file_segments_count` FROM `files` WHERE "
                                   "`file_id`='%1' AND `file_finalized`='true'")
                               .arg(fileId),
                           logTag);
    if (!fin.next())
        return std::nullopt;
    return FinalState{fin.value(0).toBool(), fin.value(1).toLongLong(), fin.value(2).toString(), fin.value(3).toBool(),
                      fin.value(4).toUInt()};
}

void adoptDiskSize(uint fileId, qint64 size)
{
    exec(QString("UPDATE `files` SET `file_size`='%1', `file_finalized`='true' WHERE `file_id`='%2'")
             .arg(size)
             .arg(fileId));
}

void finalizeAtSize(uint fileId, qint64 size)
{
    exec(QString("UPDATE `files` SET `file_finalized`='true', `file_size`='%1' WHERE `file_id`='%2'")
             .arg(size)
             .arg(fileId));
}

void setSize(uint fileId, qint64 size)
{
    exec(QString("UPDATE `files` SET `file_size`='%1' WHERE `file_id`='%2'").arg(size).arg(fileId));
}

void finalizeOnGrid(uint fileId, qint64 size, int segmentCount)
{
    exec(QString("UPDATE `files` SET `file_finalized`='true', `file_size`='%1', `file_segments_count`='%2' "
                 "WHERE `file_id`='%3'")
             .arg(size)
             .arg(segmentCount)
             .arg(fileId));
}

void markUploaded(uint fileId, const QString& uploadKey)
{
    exec(QString("UPDATE `files` SET `file_uploaded`='true', `file_uploadkey`='%2' WHERE `file_id`='%1'")
             .arg(fileId)
             .arg(sqlText(uploadKey)));
}

void markNotUploaded(uint fileId)
{
    exec(QString("UPDATE `files` SET `file_uploaded`='false', `file_preview_uploaded`='false' WHERE "
                 "`file_id`='%1'")
             .arg(fileId));
}

void markPreviewUploaded(uint fileId)
{
    exec(QString("UPDATE `files` SET `file_preview_uploaded`='true' WHERE `file_id`='%1'").arg(fileId));
}

void givePreviewUp(uint fileId, const QString& uploadKey)
{
    exec(QString("UPDATE `files` SET `file_preview_uploaded`='true', `file_uploadkey`='%2' WHERE `file_id`='%1'")
             .arg(fileId)
             .arg(sqlText(uploadKey)));
}

void skipUpload(uint fileId)
{
    exec(QString("UPDATE `files` SET `file_toupload`='false' WHERE `file_id`='%1'").arg(fileId));
}

void remove(uint fileId)
{
    exec(QString("DELETE FROM `files` WHERE `file_id`='%1';").arg(fileId));
}

bool isVideo(uint fileId)
{
    QSqlQuery query =
        select(QStringLiteral("SELECT `file_name`,`file_preview` FROM `files` WHERE `file_id`='%1'").arg(fileId));
    if (!query.isActive() || !query.next())
        return false;
    return query.value(0).toString() != query.value(1).toString();
}

bool isUploaded(uint fileId)
{
    QSqlQuery query = select(QStringLiteral("SELECT `file_uploaded` FROM `files` WHERE `file_id`='%1'").arg(fileId));
    return query.isActive() && query.next() && query.value(0).toString() == QLatin1String("true");
}

void queueForUpload(uint fileId)
{
    exec(QStringLiteral("UPDATE `files` SET `file_toupload`='true' WHERE `file_id`='%1';").arg(fileId));
}

void lookUpNames(uint fileId)
{
    select(QStringLiteral("SELECT `file_pseudoname`, `file_name` FROM `files` WHERE `file_id`='%1'").arg(fileId));
}

bool titleTaken(const QString& title)
{
    QSqlQuery query = select(QString("SELECT _rowid_ FROM `files` WHERE `file_pseudoname`='%1';").arg(sqlText(title)));
    return query.next();
}

} // namespace FilesTable
