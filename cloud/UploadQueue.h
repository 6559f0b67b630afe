#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

class ISettingsReader;
class ISettingsWriter;

// The one object that talks to the cloud. One instance per process; the
// capture controller takes it at start-up, becomes its parent and drives its
// runs from the tick timer. This version knows the user's credentials and the
// media folder; a run that has nothing to do ends at once with
// uploadFinished(1), so that the controller's tick keeps re-arming itself.
class UploadQueue : public QObject
{
    Q_OBJECT

public:
    // The process-wide instance, created on first use without a parent.
    static UploadQueue* instance();

    // Stores the settings interfaces; both are required.
    void init(ISettingsReader* reader, ISettingsWriter* writer);
    void setUserCredentials(QString login, QString password, QString salt);
    void setFilesPath(const QString& path);

    // Starts one run. The caller makes sure that is_running is clear.
    void run();

    // Extra log lines appear above 2; the controller reads it after run().
    int stateValue() const { return debug_level; }
    // True when the current run has confirmed segments of a file.
    bool hasMovedData() const { return segments_done > 0; }

    int is_running = 0;      // a run is in progress; cleared wherever uploadFinished is emitted
    unsigned int file_id = 0;
    bool isRecording = false; // set by the controller while a recording session exists
    QString file_name;
    QString file_pseudoname;
    QString files_path;
    int debug_level = 1;
    QString userHash;         // the stored credential, sent as user_token; empty: nobody signed in
    QString userId;
    QString userRand;         // made anew by each setUserCredentials, sent as user_rand
    QString userSalt;         // SHA-1 of rand, salt and machine id, sent as user_hash
    QTimer uploadTimer;       // retry timers of the transfer and the service requests
    QTimer serviceTimer;
    ISettingsReader* settingsReader = nullptr;
    ISettingsWriter* settingsWriter = nullptr;
    int segments_done = 0;
    int segment_rowid = -1;
    QString machine_id;

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
    // Ends the run: clears the flags and reports ret after the caller has returned.
    void finishRunLater(int ret);
    static QString randomString();
};
