#pragma once

#include <QString>
#include <QtGlobal>
#include <optional>

// The statements on `files`, one function each. Every statement runs on the
// calling thread's connection and commits alone; the functions that return
// nothing leave their result unread, as a failed row is left for upload repair.
namespace FilesTable {

// The columns that the uploader picks a file or a preview by, in the order
// the rows are selected.
struct UploadCandidate
{
    uint fileId = 0;
    qint64 size = 0;
    QString name;
    QString preview;
    bool finalized = false;
    // The same column read as a number: 'true' reads as 0.
    uint finalizedAsNumber = 0;
    QString pseudoname;
    bool previewUploaded = false;
    uint segmentsCount = 0;
    bool previewGif = false;
};

// What a finished recording has written since the uploader picked its file.
struct FinalState
{
    bool finalized = false;
    qint64 size = 0;
    QString pseudoname;
    bool previewUploaded = false;
    uint segmentsCount = 0;
};

// What a service request about one file carries.
struct ServiceNames
{
    QString name;
    QString pseudoname;
    QString uploadKey;
};

// ---- the recorder ----
// Whether a finished file already uses this id (an unfinished one does not count).
bool finalizedFileExists(quint32 fileId);
// The row of a new recording: not finalized, size 0, no segments yet.
void insertRecording(const QString& fileName, quint32 fileId, bool toUpload);
// Duration in seconds of an existing row; false when there is no such row.
bool readDuration(quint32 fileId, qint64& seconds);
// Puts an existing row back to the state of a file being written.
void reopen(quint32 fileId);
void finalizeRecording(quint32 fileId, quint64 size, qint64 durationSeconds, quint32 segmentCount);

// ---- the uploader; a failed SELECT is logged under logTag ----
std::optional<ServiceNames> serviceNames(uint fileId, const char* logTag);
// The first file still waiting for upload; 0 when there is none.
uint firstPendingUpload(const char* logTag);
std::optional<UploadCandidate> nextFileToUpload(const char* logTag);
// The next uploaded file whose preview is still owed.
std::optional<UploadCandidate> nextPreviewToUpload(const char* logTag);
// The row of the file, only once it is finalized.
std::optional<FinalState> finalState(uint fileId, const char* logTag);
// The size found on disk, for a file left unfinalized; it now counts as finished.
void adoptDiskSize(uint fileId, qint64 size);
// The size of a growing file that ran out before its segments did; it now counts as finished.
void finalizeAtSize(uint fileId, qint64 size);
// A finalized file whose size was wrong; its segments go again.
void setSize(uint fileId, qint64 size);
// The file counts as finished on a grid of `segmentCount` rows.
void finalizeOnGrid(uint fileId, qint64 size, int segmentCount);
void markUploaded(uint fileId, const QString& uploadKey);
void markNotUploaded(uint fileId);
void markPreviewUploaded(uint fileId);
// Gives a preview up that cannot be read, keeping the upload key it went with.
void givePreviewUp(uint fileId, const QString& uploadKey);
// A broken file that will not be sent.
void skipUpload(uint fileId);
void remove(uint fileId);

// ---- the gallery ----
// True when the row's file name differs from its preview's: a recording, not a picture.
bool isVideo(uint fileId);
bool isUploaded(uint fileId);
void queueForUpload(uint fileId);
// The share flow's lookup of a file's names; nothing reads its row.
void lookUpNames(uint fileId);

// ---- the controller ----
// Whether a file already carries this title.
bool titleTaken(const QString& title);

} // namespace FilesTable
