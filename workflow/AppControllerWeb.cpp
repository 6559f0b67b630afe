// The controller as host of the web bridge: what the pages' share and account
// calls ask of it, passed on to the interface when there is one.
#include "AppController.h"

#include <QDebug>

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
