#pragma once

#include <QFile>
#include <QList>
#include <QMutex>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QSslError>
#include <QString>
#include <QUrl>

class ISettingsReader;
class ISettingsWriter;
class QNetworkAccessManager;

// The program's updater, one per process. Start-up initialises it with the
// settings access, points it at the update feed and connects its signals to
// the controller; the controller and the tray then ask it to check.
class FvUpdater : public QObject
{
    Q_OBJECT

public:
    // Creates the one updater. Both pointers are required; a second call only warns.
    static void init(ISettingsReader* reader, ISettingsWriter* writer);
    // The updater made by init(); null (with a critical line) before it.
    static FvUpdater* sharedUpdater();

    void setFeedURL(const QUrl& feedURL);
    void setFeedURL(const QString& feedURL);
    QUrl getFeedURL() const;

    void setSkipVersionAllowed(bool allowed);
    void setRemindLaterAllowed(bool allowed);
    // Install right after a download finishes instead of waiting for a restart.
    void setInstallAtOnce(bool atOnce);
    bool installAtOnce() const;

    // Where the package and its leftovers live: the application folder.
    QString updateFolder() const;
    QString updateFilePath() const;

    // Removes "*.oldversion" and "*.oldversion2" files that an earlier update
    // moved aside, anywhere below the update folder. Returns how many went.
    int cleanUpOldVersionFiles();

    // Packs the three newest logs of the data folder into a ZIP and posts it
    // to the web host's log upload with the user's credentials. False when
    // there is no log to send, the ZIP can't be made or an upload is still
    // under way. The end is logUploadFinished(), with the service's name for
    // the file, on success only.
    bool uploadLogFiles(QString userId, QString userToken, QString userSalt, QString userRand, QString userHash);

public Q_SLOTS:
    // Each returns whether a feed request began.
    bool CheckForUpdates(bool silentAsMuchAsItCouldGet = true);
    bool CheckForUpdatesSilent();
    bool CheckForUpdatesNotSilent();

    // Installs a verified package that waits in the update folder.
    void InstallUpdateFromDownloadedFile(bool from_metadata = false);
    // Starts a fresh copy of the program, marked as delayed so that it waits
    // for this one, and asks this one to quit.
    void restartApplication();

    // The log upload's reply.
    void LogUploadProgress(qlonglong v1, qlonglong v2);
    void logSlotFinished();
    void logSlotReadyRead();
    void logSlotError(QNetworkReply::NetworkError e);
    void logSlotSslErrors(QList<QSslError> e);

Q_SIGNALS:
    void downloadFinishedSuccessfully();
    void updatedFinishedSuccessfully();
    void saltLineUpdated();
    void appQuit();
    // What the updater is doing, for the interface: -4 .. 4.
    void UIElementLock(int lock);
    void logUploadFinished(QString fileDesc);
    void addonUpdateProgress(QString status);
    void addonUpdateCompleted(bool success, QString message);

private:
    FvUpdater(ISettingsReader* reader, ISettingsWriter* writer);
    void removeDownloadedUpdate();
    QNetworkAccessManager* network();
    // The prefix of this machine's log archives: "orlune-<version>_<hardware id>_".
    QString logArchivePrefix();
    void removeLogArchives();

    static FvUpdater* m_Instance;
    static QMutex m_initMutex;

    ISettingsReader* m_reader;
    ISettingsWriter* m_writer;
    bool m_updateRunning = false;
    bool m_silentAsMuchAsItCouldGet = false;
    bool m_installAtOnce = false;
    bool m_skipVersionAllowed = true;
    bool m_remindLaterAllowed = true;
    QUrl m_feedURL;
    QString m_updateFileName = QStringLiteral("update.zip");
    QString m_updateFolder;
    QNetworkAccessManager* m_network = nullptr;
    QString m_hwid;
    QString m_logFolder;
    QFile m_logArchive;                 // the body of the log upload under way
    QPointer<QNetworkReply> m_logReply; // the log upload under way, if any
};
