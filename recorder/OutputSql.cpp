#include "OutputSql.h"

#include "MediaDatabase.h"
#include "SqlText.h"

#include <QDateTime>
#include <QSqlQuery>
#include <QVariant>

namespace {

void execute(const QString& statement)
{
    QSqlQuery query(connectionForCurrentThread());
    query.exec(statement);
}

// The title a new recording starts with: the file name up to its last dot.
QString pseudoName(const QString& fileName)
{
    const int dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? fileName : fileName.left(dot);
}

} // namespace

namespace OutputSql {

bool finalizedFileExists(quint32 fileId)
{
    QSqlQuery query(connectionForCurrentThread());
    query.exec(QString("SELECT _rowid_ FROM `files` WHERE `file_id`='%1' AND `file_finalized`='true';").arg(fileId));
    return query.next();
}

void insertFile(const QString& fileName, quint32 fileId, bool toUpload)
{
    // One pass of arg() so that a '%' in a file name is never taken for a placeholder.
    execute(QString("insert into files values('%1', %2, %3, %4, 'false', '%5', 'false', '%6', '0', '%7', '%8', "
                    "'false', '0', 'true')")
                .arg(sqlText(fileName), QString::number(fileId), QString::number(QDateTime::currentSecsSinceEpoch()),
                     QString::number(0), sqlText(fileName + ".jpg"), toUpload ? QString("true") : QString("false"),
                     sqlText(pseudoName(fileName)), sqlText(QString())));
}

bool readFileDuration(quint32 fileId, qint64& seconds)
{
    QSqlQuery query(connectionForCurrentThread());
    query.exec(QString("SELECT `file_duration` FROM `files` WHERE `file_id`='%1';").arg(fileId));
    if (!query.next())
        return false;
    seconds = query.value(0).toLongLong();
    return true;
}

void reopenFile(quint32 fileId)
{
    execute(QString("UPDATE `files` SET `file_finalized`='false', `file_size`='0', `file_duration`='0', "
                    "`file_segments_count`='0' WHERE `file_id`='%1';")
                .arg(fileId));
}

void insertSegment(quint32 fileId, quint64 position, quint64 size, quint32 segmentId)
{
    execute(QString("insert into segments values('%1', %2, %3, 'false', '%4')")
                .arg(fileId)
                .arg(position)
                .arg(size)
                .arg(segmentId));
}

void finalizeFile(quint32 fileId, quint64 size, qint64 durationSeconds, quint32 segmentCount)
{
    execute(QString("UPDATE `files` SET `file_finalized`='true', `file_size`='%1', `file_duration`='%2', "
                    "`file_segments_count`='%4' WHERE `file_id`='%3';")
                .arg(size)
                .arg(durationSeconds)
                .arg(fileId)
                .arg(segmentCount));
}

} // namespace OutputSql
