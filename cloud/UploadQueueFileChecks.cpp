// What the uploader does when a media file on disk does not match its rows:
// missing, of another size, shorter than its segments, unreadable, or
// finalized without anything left to send.
#include "UploadQueue.h"

#include "FilesTable.h"
#include "SegmentsTable.h"
#include "UploadQuestions.h"

#include <QDebug>

namespace {
// Files this small are fixed without asking.
const qint64 silentFixSize = 2049;

void forgetFileRows(unsigned int fileId)
{
    FilesTable::remove(fileId);
    SegmentsTable::removeAll(fileId);
}
} // namespace

void UploadQueue::fileCannotBeOpened()
{
    const QString error = file.errorString();
    qDebug().noquote() << "[UP]: file [" << file_name << "] - is missing! " << error << "filepath [" << file.fileName()
                       << "]";
    if (!isRecording) {
        const auto answer = askUploadQuestion(
            "Missing file", tr("Found missing file: %1, error: %2 remove it from database?").arg(file_name, error),
            QMessageBox::Yes | QMessageBox::No);
        if (answer == QMessageBox::Yes)
            forgetFileRows(file_id);
    }
    finishRun(0);
}

bool UploadQueue::finalizedSizeDiffers(qint64 diskSize)
{
    qDebug() << "[UP]: ERROR: FINALIZED FILE IS DIFFERENT!!!" << file_size << diskSize;
    const bool fix =
        (file_size < silentFixSize && diskSize < silentFixSize)
        || askUploadQuestion("Fix file", tr("Found wrong file size: %1 != %2 fix it?").arg(file_size).arg(diskSize),
                             QMessageBox::Yes | QMessageBox::No)
               == QMessageBox::Yes;
    if (!fix)
        return true; // the disk size is taken in memory only, and the upload goes on
    FilesTable::setSize(file_id, diskSize);
    SegmentsTable::markNotUploaded(file_id);
    segment_rowid = -1;
    finishRunAndFile(0);
    return false;
}

void UploadQueue::retriedGuard()
{
    if (isRecording) {
        qDebug() << "[UP]: already retried! Recursion error, recording is in-process. Just wait for file written...";
        file.close();
        file_preview_ext.clear();
        segment_rowid = -1;
        finishRunAndFile(0);
        return;
    }
    qDebug() << "[UP]: already retried! Recursion error, no segments for non-uploaded file! (file " << file_id
             << ") is presented but not contains any segments to upload";
    const auto answer = askUploadQuestion(
        "Corrupted file",
        tr("Found corrupted file: %1, size: %2\r\n\r\nIt wll be removed!\r\nDo You wish to backup and save it before "
           "removing?")
            .arg(file_name)
            .arg(file_size),
        QMessageBox::Save | QMessageBox::Discard, QMessageBox::Discard);
    if (answer == QMessageBox::Save)
        host()->saveFileWithReformatting(file_name, file_pseudoname, true);
    if (answer == QMessageBox::Save || answer == QMessageBox::Discard) {
        removeFilesOnDisk();
        forgetFileRows(file_id);
    }
    file_preview_ext.clear();
    segment_rowid = -1;
    finishRunAndFile(0);
}

void UploadQueue::rangeBeyondEnd(quint64 start_pos, quint64 end)
{
    qDebug() << "[UP]: file seek too far from eof: " << end << " of: " << file_size;
    if (isRecording) {
        // The recorder owns its rows while it runs.
    } else if (file_finalized) {
        // Cut the segment table back to the real file; a file that ends at or
        // before the range's start loses the range and all after it.
        if (static_cast<quint64>(file_size) <= start_pos) {
            SegmentsTable::removeFrom(file_id, start_pos);
        } else {
            SegmentsTable::resize(file_id, start_pos, static_cast<quint64>(file_size) - start_pos);
            SegmentsTable::removeAfter(file_id, start_pos);
        }
    } else {
        qDebug().noquote() << "[UP]:"
                           << tr("Found corrupted file: %1, size: %2 seek to: %3  Trying to fix it!")
                                  .arg(file_name)
                                  .arg(file_size)
                                  .arg(end);
        FilesTable::finalizeAtSize(file_id, file_size);
    }
    // Nothing was completed, but the gallery rereads the row.
    file_preview_ext.clear();
    file.close();
    emit uploadFileDone(file_id);
    finishRunAndFile(0);
}

void UploadQueue::shortRead(quint64 start_pos, qint64 seg_size, qint64 got)
{
    qDebug() << "[UP]: size of segment/file mismatch: " << seg_size << " != " << got;
    qDebug() << "[UP]: OR file seek too far from pos:" << start_pos << "eof: " << start_pos + seg_size
             << " of: " << file_size;
    file.close();
    if (file_preview_ext.isEmpty()) {
        qDebug() << "[UP]: forcing whole file not to upload";
        FilesTable::skipUpload(file_id);
        host()->showPopup(Common::MsgWarning, tr("Upload was skipped because the file %1 is broken.").arg(file_name));
    } else {
        qDebug() << "[UP]: forcing preview to be uploaded";
        FilesTable::givePreviewUp(file_id, serviceUploadKey);
        file_preview_ext.clear();
        emit uploadFileDone(file_id);
    }
    finishRunAndFile(0);
}
