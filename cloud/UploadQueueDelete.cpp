// Cloud removals that the user asked for locally, possibly while offline.
// Rows of `deletion_queue` leave in the order they were entered, before any
// upload of the same run.
#include "UploadQueue.h"

#include "UploadSql.h"

#include <QDebug>
#include <QSqlQuery>

bool UploadQueue::serviceRemoveFile(unsigned int id)
{
    const QString statement =
        id != 0 ? QString("SELECT `file_id`,`file_name`,`file_pseudoname`, `file_uploadkey` FROM `deletion_queue` "
                          "WHERE `file_id` = %1 LIMIT 1;")
                      .arg(id)
                : QString("SELECT `file_id`,`file_name`,`file_pseudoname`, `file_uploadkey` FROM `deletion_queue` "
                          "LIMIT 1;");
    QSqlQuery row = UploadSql::select(statement);
    if (!row.next())
        return false;
    const uint rowId = row.value(0).toUInt();
    const QString name = row.value(1).toString();
    qDebug().noquote() << "[UP]:"
                       << "serviceRemoveFile"
                       << " id:" << rowId << ", name:" << name;

    service_action = "delete_file";
    service_file_id = rowId;
    delete_result.clear();
    sendServiceRequest(fileQuery(service_action, rowId, name, row.value(2).toString(), row.value(3).toString()));
    return true;
}

void UploadQueue::handleDeleteReply(QMap<QString, QString>& map)
{
    delete_result = map.value("result");
    qDebug().noquote() << "[UP]: delete_file: " << delete_result;
    if (delete_result.isEmpty()) {
        finishRun(127);
        return;
    }
    const bool done = delete_result == "OK" || (map.contains("force") && map.value("force") == "1");
    if (done) {
        if (service_file_id != 0)
            UploadSql::exec(QString("DELETE FROM `deletion_queue` WHERE `file_id` = %1").arg(service_file_id));
        else
            UploadSql::exec(
                "DELETE FROM `deletion_queue` WHERE rowid IN (SELECT rowid FROM `deletion_queue` LIMIT 1);");
    }
    emit gotRemoveFileCall(delete_result, map.value("message"), service_file_id);
    if (delete_result == "OK") {
        // The next removal follows at once; uploads wait for the next run.
        if (!serviceRemoveFile(0))
            finishRun(0);
        return;
    }
    finishRun(127);
}
