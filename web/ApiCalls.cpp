#include "ApiCalls.h"

#include "ApiCallsHost.h"
#include "FilesTable.h"
#include "ISettingsReader.h"
#include "ISettingsWriter.h"
#include "MachineProfile.h"
#include "SettingsKeys.h"
#include "UploadQueue.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QDebug>
#include <QGuiApplication>

ApiCalls::ApiCalls(ISettingsReader* reader, ISettingsWriter* writer, ApiCallsHost* host, QObject* controller,
                   QObject* parent)
    : QObject(parent)
    , settings(reader)
    , writer(writer)
    , host(host)
{
    if (controller) {
        connect(this, SIGNAL(activateUploader()), controller, SLOT(activateUploader()));
        connect(this, SIGNAL(reloadUploader()), controller, SLOT(reloadUploader()));
    }
}

QString ApiCalls::invokeGetFilesPath()
{
    return settings->readSettingStr(SettingsKey::files_path);
}

QString ApiCalls::invokeGetMachineId()
{
    return machineId();
}

QString ApiCalls::invokeGetVersion()
{
    return QCoreApplication::applicationVersion();
}

QString ApiCalls::invokeGetUserName()
{
    return settings->readSettingStr(SettingsKey::login);
}

QString ApiCalls::invokeGetUserSalt()
{
    return settings->readSettingStr(SettingsKey::salt);
}

QString ApiCalls::invokeGetUserHash()
{
    return settings->readSettingStr(SettingsKey::password);
}

void ApiCalls::invokeApplyNewCredentials(QString login, QString password, QString salt)
{
    qDebug().noquote() << "[ApiCalls]:"
                       << " applying credentials for user: " + login + ", password: " + password + ", salt:" + salt
                              + ", machineId:" + machineId();
    writer->writeSetting(SettingsKey::login, login);
    writer->writeSetting(SettingsKey::password, password);
    writer->writeSetting(SettingsKey::salt, salt);
    if (host)
        host->closeCredentials();
    emit reloadUploader();
}

void ApiCalls::invokeShowPopUp(QString str)
{
    if (host)
        host->showPopup(Common::MsgStorage, str);
}

int ApiCalls::invokeSignedInState()
{
    if (!uploader || uploader->userHash.isEmpty() || uploader->userSalt.isEmpty() || uploader->userId.isEmpty()
        || loginTab == 1)
        return 0;
    int state = 1;
    if (settings->readSettingBool(SettingsKey::is_authenticated_user))
        state += 2;
    if (loginTab == 2)
        state += 64;
    return state;
}

bool ApiCalls::isVideoFile(uint file_id)
{
    return FilesTable::isVideo(file_id);
}

void ApiCalls::invokeShareClicked(uint file_id)
{
    qDebug() << "[ApiCalls]:"
             << "share clicked, adding to queue..." << file_id;
    FilesTable::queueForUpload(file_id);
    if (host)
        host->setSkipPlayerOnUpload(false);
    emit activateUploader();
    updateItem(file_id);
}

void ApiCalls::invokeGetUploadUrl(uint file_id)
{
    qDebug() << "[ApiCalls]:"
             << "invokeGetUploadUrl..." << file_id;
    if (!settings->readSettingBool(SettingsKey::is_authenticated_user)) {
        if (host)
            host->showUnauthWarn();
        return;
    }
    if (!FilesTable::isUploaded(file_id)) {
        invokeShareClicked(file_id);
        return;
    }
    if (!uploader) {
        share_file_id = 0;
        return;
    }
    share_file_id = file_id;
    qDebug() << "[ApiCalls]:"
             << "get upload link...";
    connect(uploader, &UploadQueue::gotShareLinkCall, this, &ApiCalls::gotShareLink, Qt::UniqueConnection);
    uploader->serviceGetShareLink(file_id);
}

void ApiCalls::gotShareLink(QString link, uint file_id)
{
    if (uploader)
        disconnect(uploader, &UploadQueue::gotShareLinkCall, this, &ApiCalls::gotShareLink);
    qDebug() << "[ApiCalls]:"
             << "gotShareLink" << link << file_id;
    if (QClipboard* clipboard = QGuiApplication::clipboard())
        clipboard->setText(link);

    FilesTable::lookUpNames(file_id);
    const QString text = QStringLiteral("Your private sharing link is ready.<br/><b>Press Ctrl + V to paste it.</b>");
    if (host) {
        if (isVideoFile(file_id)) {
            host->setLinkedVideoId(file_id);
            host->showPopup(Common::MsgExtVideoLink, text);
        } else {
            host->showPopup(Common::MsgExtLink, text);
        }
    }
    share_file_id = 0;
    if (host) {
        host->emitUpdateGalleryGotShareURL(link, file_id);
        host->shareLinkArrived(file_id, link);
    }
}

void ApiCalls::updateItem(uint file_id)
{
    qDebug() << "[ApiCalls]:"
             << "updateGallery for " << file_id;
    if (host)
        host->emitUpdateGallery(file_id);
}

void ApiCalls::updateUserState()
{
    if (host)
        host->emitUpdateUserState(ulong(invokeSignedInState()));
}

void ApiCalls::setTabIndex(int idx)
{
    loginTab = idx;
    updateUserState();
}
