// Cloud removals that the user asked for locally, possibly while offline.
// Rows of `deletion_queue` leave in the order they were entered, before any
// upload of the same run.
#include "UploadQueue.h"

#include "DeletionQueueTable.h"

#include <QDebug>

bool UploadQueue::serviceRemoveFile(unsigned int id)
{
    const std::optional<DeletionQueueTable::Entry> entry =
        id != 0 ? DeletionQueueTable::find(id, sqlLogTag) : DeletionQueueTable::first(sqlLogTag);
    if (!entry)
        return false;
    const uint rowId = entry->fileId;
    const QString name = entry->name;
    qDebug().noquote() << "[UP]:"
                       << "serviceRemoveFile"
                       << " id:" << rowId << ", name:" << name;

    service_action = "delete_file";
    service_file_id = rowId;
    delete_result.clear();
    sendServiceRequest(fileQuery(service_action, rowId, name, entry->pseudoname, entry->uploadKey));
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
            DeletionQueueTable::remove(service_file_id);
        else
            DeletionQueueTable::removeFirst();
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
