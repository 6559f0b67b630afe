// AppController's answers to the updater and the log upload.
#include "AppController.h"

#include "Endpoints.h"
#include "FvUpdater.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"
#include "UploadQueue.h"

#include <QDebug>
#include <QDialog>
#include <QMessageBox>
#include <QTextEdit>
#include <QVBoxLayout>

namespace {
constexpr int kStatusResetMs = 5000;
} // namespace

void AppController::updatedFinishedSuccessfully()
{
    qDebug() << "[AC]:"
             << "updatedFinishedSuccessfully";
}

void AppController::updateDownloadFinishedSuccessfully()
{
    // Installed by processUpdateFile when the user is idle and no upload is in flight.
    qDebug() << "[AC]:"
             << "updateDownloadFinishedSuccessfully";
    updatePending = true;
}

void AppController::saltUpdated()
{
    // The updater has just stored a fresh salt; it is cleared again on purpose.
    settingsWriter()->writeSetting(SettingsKey::salt, QString());
    qDebug() << "[AC]:"
             << "saltUpdated"
             << ", new salt: " << settings()->readSettingStr(SettingsKey::salt);
}

void AppController::UpdateButtonLock(int lock)
{
    qDebug() << "[AC]:"
             << "UpdateButtonLock" << lock;
    InterfacePort::UpdateAppStatus status = InterfacePort::NoNewVersion;
    int enable = -1; // -1: unchanged
    bool reset = true;
    switch (lock) {
    case -4: status = InterfacePort::NoNewVersion; break;
    case -3:
    case -2: status = InterfacePort::UpdateAborted2; break;
    case -1: status = InterfacePort::UpdateFailed; break;
    case 0:
        status = InterfacePort::UpdateApp;
        enable = 1;
        reset = false;
        break;
    case 1:
        status = InterfacePort::Checking;
        enable = 0;
        reset = false;
        break;
    case 2:
        status = InterfacePort::Downloading;
        enable = 0;
        reset = false;
        break;
    case 3:
        status = InterfacePort::Installing;
        enable = 0;
        reset = false;
        break;
    case 4:
        status = InterfacePort::NewVersionAvaliable;
        enable = 1;
        break;
    default:
        qDebug() << "[AC]:"
                 << "UpdateButtonLock"
                 << "unknown code" << lock;
        return;
    }
    port->setUpdateAppStatus(status);
    if (enable >= 0)
        port->setEnableUpdateApp(enable == 1);
    if (reset)
        QTimer::singleShot(kStatusResetMs, this, [this]() { port->setUpdateAppStatus(InterfacePort::NoNewVersion); });
}

void AppController::SendLogs()
{
    qDebug() << "[AC]:"
             << "SendLogs";
    const auto answer = QMessageBox::question(nullptr, "Send Orlune Debug Logs",
                                              "Are you sure you want to send debug logs to Orlune's support team?",
                                              QMessageBox::Yes | QMessageBox::No);
    if (answer == QMessageBox::Yes)
        uploadLogs();
}

void AppController::sendLogsFvUpdater()
{
    qDebug() << "[AC]:"
             << "sendLogsFvUpdater";
    uploadLogs();
}

void AppController::uploadLogs()
{
    qDebug() << "[AC]: packing archive with last 3 logs";
    FvUpdater* updater = FvUpdater::sharedUpdater();
    if (!updater)
        return;
    // The uploader holds this sign-in's rand and the hash made with it.
    const QString rand = uploader ? uploader->userRand : QString();
    const QString hash = uploader ? uploader->userSalt : QString();
    const bool started = updater->uploadLogFiles(settings()->readSettingStr(SettingsKey::login),
                                                 settings()->readSettingStr(SettingsKey::password),
                                                 settings()->readSettingStr(SettingsKey::salt), rand, hash);
    qDebug() << "[AC]:"
             << "log upload started:" << started;
}

void AppController::logUploadFinished(QString fileDesc)
{
    qDebug() << "[AC]:"
             << "logUploadFinished" << fileDesc;
    auto* dialog = new QDialog();
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->resize(600, 200);
    auto* layout = new QVBoxLayout(dialog);
    auto* text = new QTextEdit(dialog);
    text->setReadOnly(true);
    const QString mail = Endpoints::supportAddress();
    text->setHtml("<h3>A debug log was successfully sent to us.</h3><p>In order for us to troubleshoot an issue, "
                  "please complete these steps:</p><hr/><ol><li>Get in touch with us either via live chat or send "
                  "us an email to: "
                  + QString("<a href=\"mailto:%1\">%1</a>").arg(mail)
                  + "</li><li>Provide a detailed description of the issue you are having and expected "
                    "behavior.</li><li>Quote this log identifier:<br/><b>"
                  + fileDesc + "</b></li></ol><p>We'll get back to you as soon as we can.</p>");
    layout->addWidget(text);
    dialog->show();
}

void AppController::openClickUpReportForm(QString fileDesc)
{
    qDebug() << "[AC]:"
             << "openClickUpReportForm" << fileDesc;
    openBrowser(QString("%1?LogID=%2").arg(Endpoints::reportFormUrl(), fileDesc));
}

void AppController::playVideo()
{
    // The player window for lastFileId opens here once the web views exist.
    qDebug() << "[AC]:"
             << "playVideo" << lastFileId << lastFileName;
}
