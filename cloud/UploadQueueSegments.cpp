// The transfer of media files and previews to the upload server: the choice
// of the next range, one POST at a time, and the reading of the answer.
#include "UploadQueue.h"

#include "FilesTable.h"
#include "MediaDatabase.h"
#include "ReplyLog.h"
#include "SegmentsTable.h"
#include "ServiceQuery.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkRequest>

namespace {
// A range is held in memory whole, for the hash and for the POST.
const qint64 largestRange = 104857600;
// Below this size an unfinished file without segments is the stub of a recording that died at once.
const qint64 stubSize = 1500;
} // namespace

void UploadQueue::uploadChunkNext()
{
    qDebug() << "[UP]:"
             << "uploadChunkNext";
    connectionForCurrentThread();
    int retried = 0;
    quint64 start_pos = 0;
    qint64 seg_size = 0;
    for (;;) {
        // A: the next range of the file in hand.
        if (file_id == 0) {
            if (debug_level >= 3)
                qDebug() << "[UP]: no file_id setted...";
        } else {
            nextRangeOfCurrentFile(retried, start_pos, seg_size);
        }
        // B: a file still in hand goes to sending.
        if (file_id != 0)
            break;
        // C: the next file that is not yet on the server.
        const FilePick pick = pickNextFile(retried);
        if (pick == FilePick::Again)
            continue;
        if (pick == FilePick::RunEnded)
            return;
        // D: the next preview that is owed.
        if (!pickNextPreview(start_pos, seg_size))
            return;
        break;
    }
    sendRange(start_pos, seg_size);
}

void UploadQueue::nextRangeOfCurrentFile(int retried, quint64& start_pos, qint64& seg_size)
{
    if (const std::optional<SegmentsTable::PendingRange> range = SegmentsTable::nextToUpload(file_id, sqlLogTag)) {
        start_pos = range->position;
        seg_size = range->size;
        segment_rowid = range->rowId;
        segment_id = range->segmentId;
        if (start_pos == 0) {
            qDebug() << "[UP]: first try of this file uploading...";
            if (!isRecording)
                host()->showPopup(Common::MsgCloud, QString("Uploading file %1...").arg(file_name));
        }
        if (file_finalized)
            return;
        // The recording may have ended since the file was picked.
        if (const std::optional<FilesTable::FinalState> fin = FilesTable::finalState(file_id, sqlLogTag)) {
            file_finalized = fin->finalized;
            file_size = fin->size;
            file_pseudoname = fin->pseudoname;
            file_preview_uploaded = fin->previewUploaded;
            file_segments_count = fin->segmentsCount;
            if (file_size == 0)
                file_size = file.size();
        }
        return;
    }

    qDebug() << "[UP]: all segments from file are uploaded, segments: " << segments_done
             << " total bytes:" << file.pos();
    file.close();
    segment_rowid = -1;
    if (isRecording && file_finalized)
        return;
    if (file_finalized) {
        if (file_size <= 0)
            return;
        if (segments_done == 0 && file_preview_ext.isEmpty()) {
            // Nothing went up in this pass, yet the file is not marked uploaded.
            qDebug() << "[UP]: Recording is not active, finalized, beginning, no segments";
            uploadError(-1);
            file_id = 0;
            return;
        }
        if (!file_preview_ext.isEmpty() || file_preview_uploaded || file_name == file_preview)
            return;
        qDebug() << "[UP]: Preview is in upload queue for file" << file_id;
        file_id = 0;
        return;
    }
    if (!isRecording && file_segments_count == 0 && retried != 0 && file_size < stubSize) {
        qDebug().noquote() << QString::asprintf(
            "[UP]: retried=%d, file_finalized=%d, file_size=%lld, file_segments_count=%u, isRecording=%d", retried,
            int(file_finalized), file_size, file_segments_count, int(isRecording));
        FilesTable::adoptDiskSize(file_id, file.pos());
        uploadError(-1);
        file_id = 0;
    }
}

void UploadQueue::takeFileColumns(const FilesTable::UploadCandidate& row)
{
    segments_done = 0;
    file_id = row.fileId;
    file_size = row.size;
    file_name = row.name;
    file_preview = row.preview;
    file_finalized = row.finalized;
    file_pseudoname = row.pseudoname;
    file_preview_uploaded = row.previewUploaded;
    file_segments_count = row.segmentsCount;
    file_preview_gif = row.previewGif;
}

UploadQueue::FilePick UploadQueue::pickNextFile(int& retried)
{
    const std::optional<FilesTable::UploadCandidate> row = FilesTable::nextFileToUpload(sqlLogTag);
    if (!row)
        return FilePick::None;
    takeFileColumns(*row);
    file_preview_ext.clear();
    qDebug().noquote() << "[UP]: file [" << file_name << "] size:" << file_size << " file_id: " << file_id;

    if (file.isOpen())
        file.close();
    file.setFileName(files_path + "/" + file_name);
    if (!file.open(QIODevice::ReadOnly)) {
        fileCannotBeOpened();
        return FilePick::RunEnded;
    }
    const qint64 diskSize = file.size();
    if (diskSize != file_size) {
        qDebug() << "[UP]: file sizes mismatch: " << file_size << " != " << diskSize;
        if (file_size == 0 && diskSize >= 1 && !isRecording) {
            // The process died while recording: the file on disk is all there is.
            FilesTable::adoptDiskSize(file_id, diskSize);
        }
        if (file_finalized && !finalizedSizeDiffers(diskSize))
            return FilePick::RunEnded;
        file_size = diskSize;
    }
    if (retried == 0) {
        if (!file_finalized && !isRecording && file_size < stubSize && file_segments_count == 0)
            qDebug().noquote() << QString::asprintf(
                "[UP]: Bad things happened here, retried=%d, file_finalized=%d, file_size=%lld, "
                "file_segments_count=%u, isRecording=%d",
                retried, int(file_finalized), file_size, file_segments_count, int(isRecording));
    } else if (file_finalized) {
        retriedGuard();
        return FilePick::RunEnded;
    }
    segment_rowid = -1;
    ++retried;
    qDebug() << "[UP]: Re-trying of non-uploaded file! (file " << file_id << ")";
    return FilePick::Again;
}

bool UploadQueue::pickNextPreview(quint64& start_pos, qint64& seg_size)
{
    const std::optional<FilesTable::UploadCandidate> row = FilesTable::nextPreviewToUpload(sqlLogTag);
    if (!row) {
        // The queue is empty.
        segment_rowid = -1;
        file_id = 0;
        file_preview_ext.clear();
        if (file.isOpen())
            file.close();
        finishRun(1);
        return false;
    }
    takeFileColumns(*row);
    // The service has always been sent the finalized column here; 'true' reads as 0.
    file_segments_count = row->finalizedAsNumber;
    qDebug().noquote() << "[UP]: file [" << file_name << "] : " << file_preview << ", size:" << file_size;

    if (file.isOpen())
        file.close();
    QString path = files_path + "/" + file_preview;
    const QString animatedPath = path.left(path.size() - 3) + "gif";
    bool animated = false;
    if (file_preview_gif && QFileInfo(animatedPath).isFile()) {
        qDebug().noquote() << "[UP]: file [" << file_preview.left(file_preview.size() - 3) << "] GIF will be uploaded!";
        path = animatedPath;
        animated = true;
    }
    file.setFileName(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qDebug().noquote() << "[UP]: preview file [" << file_preview << "] - is missing! " << file.errorString()
                           << "filepath [" << path << "]";
        FilesTable::markPreviewUploaded(file_id);
        finishRun(0);
        return false;
    }
    seg_size = file_size = file.size();
    segment_rowid = 0;
    start_pos = 0;
    file_preview_ext = animated ? QStringLiteral("gif") : file_preview.right(3);
    return true;
}

void UploadQueue::endWithoutRange()
{
    file_preview_ext.clear();
    if (file.isOpen())
        file.close();
    finishRunAndFile(0);
}

void UploadQueue::sendRange(quint64 start_pos, qint64 seg_size)
{
    if (segment_rowid < 0) {
        qDebug() << "[UP]: No segments to upload!";
        endWithoutRange();
        return;
    }
    if (!file.seek(static_cast<qint64>(start_pos))) {
        qDebug() << "[UP]: file seek failed: " << start_pos;
        endWithoutRange();
        return;
    }
    const quint64 end = start_pos + static_cast<quint64>(seg_size);
    if (end > static_cast<quint64>(file_size)) {
        // A growing file: its known size moves on.
        file_size = file.size();
        qDebug() << "[UP]: file seek raised: " << file_size;
        if (end > static_cast<quint64>(file_size)) {
            rangeBeyondEnd(start_pos, end);
            return;
        }
    }
    qDebug() << "[UP]: segment " << segments_done << " pos " << start_pos << " size: " << seg_size;

    QByteArray buffer;
    if (seg_size <= largestRange)
        buffer = file.read(seg_size);
    else
        qWarning() << "[UP]: Segment size is bigger than expected! Segment: " << segments_done << " pos: " << start_pos
                   << " size: " << seg_size;
    if (buffer.size() < seg_size || buffer.isEmpty()) {
        shortRead(start_pos, seg_size, buffer.size());
        return;
    }

    UploadRange range;
    range.fileName = file_name;
    range.pseudoName = file_pseudoname;
    range.fileId = file_id;
    range.segmentId = segment_id;
    range.previewExt = file_preview_ext;
    range.finalized = file_finalized;
    range.startPos = start_pos;
    range.length = seg_size;
    range.fullSize = file_size;
    range.segmentsCount = file_segments_count;
    range.md5 = QString::fromLatin1(QCryptographicHash::hash(buffer, QCryptographicHash::Md5).toHex());
    range.uploadKey = serviceUploadKey;
    ensureMachineId();

    // The upload server's own query, if any, is replaced by the range's parameters.
    QUrl url(serviceUploadURL);
    url.setQuery(ServiceQuery::range(range, ServiceIdentity{machine_id, userHash, userRand, userSalt}));
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/octet-stream"));
    request.setRawHeader("Content-Length", QByteArray::number(seg_size));
    ServiceQuery::setCommonHeaders(request);

    upload_reply = networkManager()->post(request, buffer);
    aborted = false;
    uploadTimer.start(uploadStallMs);
    connect(upload_reply, &QNetworkReply::uploadProgress, this, &UploadQueue::uploadProgress);
    connect(upload_reply, &QNetworkReply::finished, this, &UploadQueue::slotFinished);
    connect(upload_reply, &QNetworkReply::readyRead, this, &UploadQueue::slotReadyRead);
    connect(upload_reply, &QNetworkReply::errorOccurred, this, &UploadQueue::slotError);
    connect(upload_reply, &QNetworkReply::sslErrors, this, &UploadQueue::slotSslErrors);
}

void UploadQueue::uploadProgress(qlonglong sent, qlonglong total)
{
    qDebug() << "[UP]: progress " << sent << total;
    // A stall time-out: five minutes without progress.
    uploadTimer.start(uploadStallMs);
}

void UploadQueue::uploadTimeout()
{
    qDebug() << "[UP]:"
             << "uploadTimeout";
    if (!upload_reply) {
        qDebug() << "[UP]: no reply on finished slot!";
        return;
    }
    aborted = true;
    QNetworkReply* reply = upload_reply;
    reply->abort(); // runs slotError at once, which ends the run
    reply->deleteLater();
    upload_reply = nullptr;
}

void UploadQueue::slotReadyRead()
{
    qDebug() << "[UP]:"
             << "slotReadyRead"
             << " SLOT";
}

void UploadQueue::slotFinished()
{
    qDebug() << "[UP]:"
             << "slotFinished";
    uploadTimer.stop();
    if (!upload_reply) {
        // Reply errors end here: slotError has taken the reply away.
        qDebug() << "[UP]:"
                 << "slotFinished"
                 << "no reply on finished slot!";
        return;
    }
    if (aborted) {
        qDebug() << "[UP]:"
                 << "this request been aborted!";
        return;
    }
    QNetworkReply* reply = upload_reply;
    int ret = 0;
    bool settled = false;
    if (reply->hasRawHeader("X-KVD-SrvID")) {
        const QString server = QString::fromLatin1(reply->rawHeader("X-KVD-SrvID"));
        if (server != server_id) {
            qDebug().noquote() << "[UP]:"
                               << "slotFinished"
                               << ", server:" << server << " old:" << server_id;
            server_id = server;
            // A first range may come from anywhere; a change in the middle of a file is not right.
            if (segments_done > 0) {
                if (reply->hasRawHeader("X-KVD-FileAction")) {
                    uploadError(reply->rawHeader("X-KVD-FileAction").toInt());
                    settled = true;
                } else {
                    qDebug() << "[UP]:"
                             << "slotFinished"
                             << ", upload server has been changed, but there is no error code! Things goes wrong!";
                }
                ret = 127;
                file_id = 0;
            }
        }
    }
    if (!settled) {
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid()) {
            qDebug() << "[UP]: bad reply";
            return;
        }
        const int code = status.toInt();
        if ((code == 200 || code == 204) && file_id > 0 && segment_rowid >= 0) {
            ret = confirmRange(reply, code);
        } else if (code == 416) {
            qDebug() << "[UP]: Bad range! Need to fully re-upload whole file!";
            if (file_id != 0) {
                qDebug() << "[UP]: Segments will be cleaned-up";
                uploadError(reply->rawHeader("X-KVD-FileAction").toInt());
            } else {
                qDebug() << "[UP]: Segments must be cleaned-up, but file id is unknown: " << file_id;
            }
        } else {
            qDebug() << "[UP]: Bad answer from server! code: " << code;
            file_id = 0;
            ret = 127;
        }
    }
    reply->deleteLater();
    upload_reply = nullptr;
    if (file_id > 0) {
        uploadChunkNext();
    } else {
        qDebug() << "[UP]: file id is unknown";
        finishRun(ret);
    }
}

int UploadQueue::confirmRange(QNetworkReply* reply, int status)
{
    const bool segmentOk = reply->hasRawHeader("X-KVD-SegmentOK");
    const bool uploaded = reply->hasRawHeader("X-KVD-Uploaded");
    qDebug() << "[UP]:" << status << "OK, update DB: segment:" << segment_rowid << ", file:" << file_id
             << (segmentOk ? "[SegmentOK]" : "[--]") << (uploaded ? "[Uploaded]" : "[--]");
    if (!segmentOk) {
        qDebug() << "[UP]: Strange Reply:";
        ReplyLog::details(reply);
        file_id = 0;
        return 127;
    }
    if (file_preview_ext.isEmpty()) {
        if (!SegmentsTable::markUploaded(segment_rowid, file_id))
            qDebug().noquote() << "[UP]: SQL not executed: query "
                               << "\"" + SegmentsTable::markUploadedText(segment_rowid, file_id) + "\"";
    }
    ++segments_done;
    if (status == 200 && uploaded) {
        qDebug() << "[UP]: Server answers that file is fully uploaded!";
        if (file_preview_ext.isEmpty()) {
            FilesTable::markUploaded(file_id, serviceUploadKey);
            emit uploadFileDone(file_id);
        } else {
            FilesTable::markPreviewUploaded(file_id);
        }
        qDebug() << "[UP]: =====================================================";
        qDebug() << "[UP]: Server Reply:";
        ReplyLog::details(reply);
        qDebug() << "[UP]: =====================================================";
    }
    return 0;
}
