#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include "UploadQueue.h"

class ApiCallsHost;
class ISettingsReader;
class ISettingsWriter;

// The object that the gallery and player pages reach as "api" over the web
// channel, and through which native code tells the pages about sharing and
// the account. Its methods are called on the main thread.
class ApiCalls : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString readFilesPathStringValue READ invokeGetFilesPath CONSTANT)
    Q_PROPERTY(QString readMachineIdStringValue READ invokeGetMachineId CONSTANT)
    Q_PROPERTY(QString readVersionStringValue READ invokeGetVersion CONSTANT)

public:
    // `controller` gets this object's activateUploader() and reloadUploader()
    // signals on its slots of the same names; `host` is usually the same object.
    ApiCalls(ISettingsReader* reader, ISettingsWriter* writer, ApiCallsHost* host, QObject* controller,
             QObject* parent = nullptr);

    void setUploader(UploadQueue* queue) { uploader = queue; }
    // The login tab of the interface: 0 signed in, 1 nobody, 2 offline.
    int tabIndex() const { return loginTab; }
    uint sharedFileId() const { return share_file_id; }

    // The value the pages read for the account: 0 nobody usable, else 1,
    // plus 2 for an authenticated user, plus 64 while offline.
    Q_INVOKABLE int invokeSignedInState();
    // True when the row's file name differs from its preview's: a recording, not a picture.
    bool isVideoFile(uint file_id);

public slots:
    QString invokeGetFilesPath();
    QString invokeGetMachineId();
    QString invokeGetVersion();
    QString invokeGetUserName();
    QString invokeGetUserSalt();
    QString invokeGetUserHash();
    void invokeApplyNewCredentials(QString login, QString password, QString salt);
    void invokeShowPopUp(QString str);

    void invokeShareClicked(uint file_id);
    void invokeGetUploadUrl(uint file_id);
    void gotShareLink(QString link, uint file_id);

    void updateItem(uint file_id);
    void updateUserState();
    void setTabIndex(int idx);

signals:
    void activateUploader();
    void reloadUploader();

private:
    ISettingsReader* settings;
    ISettingsWriter* writer;
    ApiCallsHost* host;
    QPointer<UploadQueue> uploader;
    uint share_file_id = 0;
    int loginTab = 2;
};
