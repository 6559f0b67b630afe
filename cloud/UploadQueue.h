#pragma once

#include "CommonTypes.h"
#include "FilesTable.h"
#include "UploadHost.h"

#include <QDateTime>
#include <QFile>
#include <QList>
#include <QMap>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QObject>
#include <QSslError>
#include <QString>
#include <QTimer>
#include <QUrlQuery>

class ISettingsReader;
class ISettingsWriter;
class QAuthenticator;
class QNetworkAccessManager;

// The one object that talks to the cloud. One instance per process; the
// capture controller takes it at start-up, becomes its parent and drives its
// runs from the tick timer. A run asks the service who the user is and which
// upload server to use, carries out pending cloud removals, then sends the
// ranges of each media file that the recorder entered in `segments`, one POST
// at a time, followed by the file's preview. Every run ends with
// uploadFinished(ret): 0 nothing more for now, 1 queue empty, 127 failed,
// 128 a get_user reply was processed.
//
// Everything runs on the main thread from network replies and timers; the
// database holds all progress, so a crash resumes at the first range that
// the server has not confirmed.
class UploadQueue : public QObject
{
    Q_OBJECT

public:
    // The process-wide instance, created on first use without a parent.
    static UploadQueue* instance();
    ~UploadQueue() override;

    // Stores the settings interfaces; both are required.
    void init(ISettingsReader* reader, ISettingsWriter* writer);
    // The controller's side of the conversation (account state, pop-ups,
    // dialogs). Without one, a built-in host keeps the account flag itself.
    void setHost(UploadHost* host);
    UploadHost* host();
    // All requests go through this manager; without one the queue makes its own.
    void setNetworkManager(QNetworkAccessManager* manager);
    QNetworkAccessManager* networkManager();

    void setUserCredentials(QString login, QString password, QString salt);
    void setFilesPath(const QString& path);

    // Starts one run. The caller makes sure that is_running is clear.
    void run();

    void serviceGetUser();
    void serviceGetUploadServer();
    // Asks for the short link of an uploaded file; answered by gotShareLinkCall.
    void serviceGetShareLink(unsigned int file_id);
    // Sends the removal of one queued cloud file (the first row for 0); true if a request went out.
    bool serviceRemoveFile(unsigned int file_id);

    // Resets a file's upload state and carries out a server action:
    // -1 or 0 send again, 1 rebuild the segments in 1 MiB pieces, 2 delete the file here.
    void uploadError(int action);

    // The controller reads these after run().
    int stateValue() const { return debug_level; }
    bool hasMovedData() const { return segments_done > 0; }

    // Members in the order the rest of the program knows them.
    unsigned int service_file_id = 0; // file of the running service request, 0 for user and server requests
    QString service_action;           // "get_user", "get_upload_url", "get_short_url", "delete_file"
    QString serviceUploadURL;         // cached upload server; empty: ask get_upload_url
    QString serviceUploadKey;
    QString short_url;
    QString delete_result;
    int is_running = 0; // a run is in progress; cleared wherever uploadFinished is emitted
    unsigned int file_id = 0;
    bool isRecording = false; // set by the controller while a recording session exists
    QString file_name;
    QString file_pseudoname;
    QString file_preview_ext; // empty while media ranges go; the preview's extension while it goes
    QString files_path;
    int debug_level = 1;
    QString userHash; // the stored credential, sent as user_token; empty: nobody signed in
    QString userId;
    QString userRand; // made anew by each setUserCredentials, sent as user_rand
    QString userSalt; // SHA-1 of rand, salt and machine id, sent as user_hash
    QTimer uploadTimer;
    QTimer serviceTimer;
    ISettingsReader* settingsReader = nullptr;
    ISettingsWriter* settingsWriter = nullptr;
    bool aborted = false;
    QString server_id; // last X-KVD-SrvID seen
    QNetworkReply* upload_reply = nullptr;
    QNetworkReply* service_reply = nullptr;
    int segments_done = 0;
    int segment_rowid = -1;
    int segment_id = 0;
    unsigned int file_segments_count = 0;
    bool file_finalized = false;
    bool file_preview_uploaded = false;
    bool file_preview_gif = false;
    QString file_preview;
    QString machine_id;
    qint64 file_size = 0;
    QFile file;
    QDateTime last_user_time;

    // Time-outs: a service request may take a minute, an upload may stall for five.
    int serviceTimeoutMs = 60000;
    int uploadStallMs = 300000;

public slots:
    void uploadChunkNext();
    void slotFinished();
    void slotReadyRead();
    void slotError(QNetworkReply::NetworkError e);
    void slotSslErrors(QList<QSslError> e);
    void uploadProgress(qlonglong sent, qlonglong total);
    void uploadTimeout();

    void serviceSlotFinished();
    void serviceSlotReadyRead();
    void serviceSlotError(QNetworkReply::NetworkError code);
    void serviceSlotSslErrors(QList<QSslError> errors);
    void serviceTimeout();
    void serviceProxyAuthRequired(QNetworkProxy proxy, QAuthenticator* auth);
    bool uploadCheckReAuthNeeded();

signals:
    void uploadFinished(int ret);
    void uploadFileDone(unsigned int file_id);
    void gotShareLinkCall(QString s, unsigned int f_id);
    void gotRemoveFileCall(QString s, QString m, unsigned int f_id);
    void uploadPreviewFile();
    void resultReady(int s);
    void showAuthMessage(QString s, QString t);

private:
    UploadQueue();

    // Ends the run with ret; is_running is cleared before the report goes out.
    void finishRun(int ret);
    // Ends the run with ret and forgets the current file.
    void finishRunAndFile(int ret);
    void ensureMachineId();

    // Service requests (UploadQueueService.cpp).
    QUrlQuery accountQuery(const QString& action);
    QUrlQuery fileQuery(const QString& action, unsigned int fileId, const QString& name, const QString& pseudoname,
                        const QString& uploadKey);
    void sendServiceRequest(const QUrlQuery& query);
    void dropServiceReply();
    void handleUserReply(QMap<QString, QString>& map);
    void handleUploadUrlReply(QMap<QString, QString>& map, bool good);
    void handleShortUrlReply(QMap<QString, QString>& map);
    void goodAnswerTail();
    void badAnswerTail();
    // The delete_file answer (UploadQueueDelete.cpp).
    void handleDeleteReply(QMap<QString, QString>& map);

    // Segment upload (UploadQueueSegments.cpp).
    enum class FilePick { Again, RunEnded, None };
    void nextRangeOfCurrentFile(int retried, quint64& start_pos, qint64& seg_size);
    // The columns that both file queries select.
    void takeFileColumns(const FilesTable::UploadCandidate& row);
    FilePick pickNextFile(int& retried);
    bool pickNextPreview(quint64& start_pos, qint64& seg_size);
    void sendRange(quint64 start_pos, qint64 seg_size);
    void endWithoutRange();
    // Marks an accepted range; the run's return code.
    int confirmRange(QNetworkReply* reply, int status);

    // Files that do not match their rows (UploadQueueFileChecks.cpp).
    void fileCannotBeOpened();
    // False when the run ended with the file's size fixed.
    bool finalizedSizeDiffers(qint64 diskSize);
    void retriedGuard();
    void rangeBeyondEnd(quint64 start_pos, quint64 end);
    void shortRead(quint64 start_pos, qint64 seg_size, qint64 got);

    // Server actions and refused ranges (UploadQueueRepair.cpp).
    void rebuildSegments();
    void removeFilesOnDisk();
    void handleRefusedRange(QNetworkReply* reply, int status);

    // Failed row lookups of the uploader are logged under its own tag.
    static constexpr const char* sqlLogTag = "[UP]:";

    UploadHost ownHost; // keeps the account flag while no controller is attached
    UploadHost* externalHost = nullptr;
    QNetworkAccessManager* network = nullptr;
    bool ownsNetwork = false;
};
