// What happens when the upload server refuses a range or demands an action:
// the file's upload state is reset, its segments rebuilt, or the file removed.
#include "UploadQueue.h"

#include "FilesTable.h"
#include "ReplyLog.h"
#include "SegmentGrid.h"
#include "SegmentsTable.h"

#include <QDebug>
#include <QFileInfo>
#include <QMetaEnum>
#include <QNetworkRequest>

namespace {
const QByteArray positionMismatch = "Uploaded position mismatch";
const QByteArray notRegistered = "This video file is not registered!";
} // namespace

void UploadQueue::uploadError(int action)
{
    qDebug() << "[UP]:"
             << "uploadError"
             << " reverting file uploaded state for:" << file_id << ", action:" << action;
    if (file_id == 0)
        return;
    FilesTable::markNotUploaded(file_id);
    SegmentsTable::markNotUploaded(file_id);
    if (action != 1 && action != 2)
        return; // every range goes again
    SegmentsTable::removeAll(file_id);
    if (action == 1) {
        rebuildSegments();
        return;
    }
    qDebug().noquote() << "[UP]:"
                       << "uploadError"
                       << ", server asks for file[" << file_name << "]:" << file_id << " deletion";
    FilesTable::remove(file_id);
    // The server itself asked, so nothing goes to the deletion queue.
    removeFilesOnDisk();
}

void UploadQueue::rebuildSegments()
{
    qDebug().noquote() << "[UP]:"
                       << "uploadError"
                       << ", server asks for file[" << file_name << "]:" << file_id << " segments re-creation";
    const qint64 size = QFileInfo(files_path + "/" + file_name).size();
    if (size < 0)
        return;
    const SegmentGrid grid = SegmentGrid::build(file_id, size);
    if (!grid.statement.isEmpty()) {
        qDebug().noquote() << "[UP]:"
                           << "sql=\n" + grid.statement;
        SegmentsTable::insertGrid(grid);
    }
    qDebug() << "[UP]:"
             << "uploadError"
             << " new segments count:" << grid.count << ", file sizes:" << QString("%1|%2").arg(size).arg(file_size);
    // The file now counts as finished, on a fixed grid.
    FilesTable::finalizeOnGrid(file_id, size, grid.count);
}

void UploadQueue::removeFilesOnDisk()
{
    file.close();
    if (!QFile::remove(files_path + "/" + file_name))
        qDebug().noquote() << "[UP]: can't remove file [" << file_name << "]";
    // A screenshot is its own preview.
    if (file_name == file_preview)
        return;
    if (!QFile::remove(files_path + "/" + file_preview))
        qDebug().noquote() << "[UP]: can't remove preview file [" << file_preview << "]";
    if (file_preview_gif) {
        const QString gif = file_preview.left(file_preview.size() - 3) + "gif";
        if (!QFile::remove(files_path + "/" + gif))
            qDebug().noquote() << "[UP]: can't remove preview file [" << gif << "]";
    }
}

void UploadQueue::slotError(QNetworkReply::NetworkError e)
{
    uploadTimer.stop();
    qDebug() << "[UP]:"
             << "slotError" << QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(e) << ":";
    if (aborted)
        qDebug() << "[UP]: this request been aborted!";
    if (upload_reply) {
        const QVariant status = upload_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (status.isValid()) {
            qDebug() << "[UP]: Reply String:" << status.toInt();
            qDebug() << "[UP]: Reply Phrase:"
                     << upload_reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray();
        } else {
            qDebug() << "[UP]: bad reply";
        }
        qDebug().noquote() << "[UP]: Eror String:" << upload_reply->errorString();
        ReplyLog::details(upload_reply);
        handleRefusedRange(upload_reply, status.toInt());
        upload_reply->deleteLater();
        upload_reply = nullptr;
    }
    // Each failed upload makes the next run ask for a server again.
    serviceUploadURL.clear();
    serviceUploadKey.clear();
    finishRun(127);
}

void UploadQueue::handleRefusedRange(QNetworkReply* reply, int status)
{
    if (status == 416 && file_id != 0) {
        const QString server = QString::fromLatin1(reply->rawHeader("X-KVD-SrvID"));
        if (reply->hasRawHeader("X-KVD-FileAction")) {
            const QByteArray action = reply->rawHeader("X-KVD-FileAction");
            qDebug() << "[UP]: Action from server:" << action;
            uploadError(action.toInt());
        } else if (server == server_id) {
            if (reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray() == positionMismatch) {
                qDebug() << "[UP]: Got position mismatch!";
                uploadError(1);
            } else {
                qDebug() << "[UP]: Server returns error, but action is not known!";
            }
        } else {
            qDebug().noquote() << "[UP]:"
                               << "slotError"
                               << ", server:" << server << " old:" << server_id;
            if (segments_done > 0)
                qDebug() << "[UP]:"
                         << "slotError"
                         << ", upload server has been changed, reuploading file!";
            server_id = server;
            uploadError(0);
        }
    } else if (status == 516) {
        qDebug() << "[UP]: Got bad answer from core!";
        if (file_id != 0 && reply->rawHeader("X-Server-Info") == notRegistered) {
            qDebug().noquote() << QString::asprintf("[UP]: file[%u] - is not registered", file_id);
            if (!file_preview_ext.isEmpty()) {
                // The service has no media for this preview: give the preview up.
                qDebug() << "[UP]: Workaround for thumb uploading for" << file_id;
                FilesTable::markPreviewUploaded(file_id);
            }
        }
    }
}

void UploadQueue::slotSslErrors(QList<QSslError> e)
{
    uploadTimer.stop();
    qDebug() << "[UP]:"
             << "slotSslErrors" << e;
    uploadError(-1);
    // The errors are not ignored: the reply's own error follows through slotError.
    finishRun(0);
}
