// The controller as host of the web bridge: what the pages' share and account
// calls ask of it, passed on to the interface when there is one.
#include "AppController.h"

#include <QDebug>
#include <QWebEngineProfile>

#include <exception>

void AppController::setSkipPlayerOnUpload(bool skip)
{
    skipPlayerOnUpload = skip;
}

void AppController::setLinkedVideoId(uint file_id)
{
    lastFileId = file_id;
}

void AppController::shareLinkArrived(uint file_id, QString url)
{
    emit shareLinkReady(file_id, url);
}

void AppController::closeCredentials()
{
    port->closeCredentials();
}

void AppController::emitUpdateGallery(uint file_id)
{
    port->updateGallery(file_id);
}

void AppController::emitUpdateUserState(ulong user_state)
{
    port->updateUserState(user_state);
}

void AppController::emitUpdateGalleryGotShareURL(QString link, uint file_id)
{
    port->updateGalleryGotShareURL(link, file_id);
}

void AppController::logWebEngineSetup()
{
    // Only the interface has web views; a run without one (a command-line
    // recording) leaves the web engine unstarted.
    if (!interfaceFactory)
        return;
    // The web views keep their HTTP cache in memory: nothing of the account pages stays on disk.
    try {
        qDebug() << "Step 1";
        QWebEngineProfile* profile = QWebEngineProfile::defaultProfile();
        qDebug() << "Step 2";
        if (profile) {
            qDebug() << "Step 3";
            profile->setHttpCacheType(QWebEngineProfile::MemoryHttpCache);
            qDebug() << "Step 4";
            qDebug() << "[AC]: HTTP cache set to memory-only mode";
        } else {
            qWarning() << "[AC]: Failed to get default QWebEngineProfile";
        }
    } catch (const std::exception& e) {
        qWarning() << "[AC]: Failed to set HTTP cache type:" << e.what();
    } catch (...) {
        qWarning() << "[AC]: Unknown exception while setting HTTP cache type";
    }
    qDebug() << "Step 5";
    qDebug() << "Step 5";
}
