#include "UploadQueue.h"

#include "CrashReport.h"
#include "ISettingsReader.h"
#include "ISettingsWriter.h"
#include "MachineProfile.h"
#include "SettingsKeys.h"
#include "UploadCredentials.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <QVariantMap>

UploadQueue* UploadQueue::instance()
{
    // Created on first use and handed to the controller, which becomes its
    // parent and releases it with deleteLater at teardown.
    static UploadQueue* queue = new UploadQueue();
    return queue;
}

UploadQueue::UploadQueue()
{
    uploadTimer.setParent(this);
    serviceTimer.setParent(this);
    uploadTimer.setSingleShot(true);
    serviceTimer.setSingleShot(true);
    connect(&uploadTimer, &QTimer::timeout, this, &UploadQueue::uploadTimeout);
    connect(&serviceTimer, &QTimer::timeout, this, &UploadQueue::serviceTimeout);
    // A finished file makes the next run ask who the user is. The controller
    // does this itself when it is the host.
    connect(this, &UploadQueue::uploadFileDone, this, [this]() {
        if (!externalHost)
            ownHost.setUserActualized(false);
    });
}

UploadQueue::~UploadQueue()
{
    file.close();
}

void UploadQueue::init(ISettingsReader* reader, ISettingsWriter* writer)
{
    if (!reader || !writer)
        qFatal("UploadQueue::init requires valid ISettingsReader and ISettingsWriter pointers.");
    settingsReader = reader;
    settingsWriter = writer;
}

void UploadQueue::setHost(UploadHost* h)
{
    externalHost = h;
}

UploadHost* UploadQueue::host()
{
    return externalHost ? externalHost : &ownHost;
}

void UploadQueue::setNetworkManager(QNetworkAccessManager* manager)
{
    if (ownsNetwork)
        network->deleteLater();
    network = manager;
    ownsNetwork = false;
}

QNetworkAccessManager* UploadQueue::networkManager()
{
    if (!network) {
        network = new QNetworkAccessManager(this);
        ownsNetwork = true;
    }
    return network;
}

void UploadQueue::ensureMachineId()
{
    if (machine_id.isEmpty())
        machine_id = machineId();
}

void UploadQueue::setUserCredentials(QString login, QString password, QString salt)
{
    userHash = password;
    userId = login;
    if (userHash.isEmpty()) {
        qDebug() << "[UP]: Unregistered user";
        host()->setTabIndex(1);
        userSalt.clear(); // userRand keeps its earlier value
    } else {
        userRand = UploadCredentials::randomString();
        ensureMachineId();
        userSalt = UploadCredentials::userHash(userRand, salt, machine_id);
    }
    host()->updateUserState();
    qDebug().noquote() << "[UP]:"
                       << "setUserCredentials"
                       << ", userHash: " << userHash << ", userId: " << userId << ", userRand: " << userRand
                       << ", userSalt: " << userSalt;

    ensureMachineId();
    CrashReport::removeUser();
    CrashReport::setUser(QVariantMap{
        {"id", userHash.isEmpty() ? machine_id : userHash}, {"username", userId}, {"machine_id", machine_id}});
}

void UploadQueue::setFilesPath(const QString& path)
{
    files_path = path;
}

void UploadQueue::run()
{
    segment_rowid = -1;
    is_running = 1;
    file_id = 0;

    if (!host()->isUserActualized()) {
        if (debug_level > 2)
            qDebug() << "[UP]: getting user actualization...";
        if (userHash.isEmpty())
            finishRun(0);
        else
            serviceGetUser();
        return;
    }
    if (!settingsReader || !settingsReader->readSettingBool(SettingsKey::is_authenticated_user)) {
        finishRun(0);
        return;
    }
    if (serviceUploadURL.size() < 8) {
        qDebug() << "[UP]: getting closest upload server...";
        serviceGetUploadServer();
        qDebug().noquote() << "[UP]: server is: " << serviceUploadURL;
        return;
    }
    // Pending cloud removals go first; the run goes on from their answer.
    if (serviceRemoveFile(0))
        return;
    uploadChunkNext();
}

void UploadQueue::finishRun(int ret)
{
    // Cleared before the report, so that a receiver may start the next run at once.
    is_running = 0;
    emit uploadFinished(ret);
}

void UploadQueue::finishRunAndFile(int ret)
{
    file_id = 0;
    finishRun(ret);
}

bool UploadQueue::uploadCheckReAuthNeeded()
{
    return false;
}
