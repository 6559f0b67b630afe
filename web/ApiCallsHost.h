#pragma once

#include "CommonTypes.h"

#include <QString>

// What the web bridge asks of the capture controller and the interface. The
// controller derives from this and hands itself to ApiCalls; the names match
// its own slots. Steps that need the interface do nothing until it exists.
class ApiCallsHost
{
public:
    virtual ~ApiCallsHost() = default;

    virtual void showPopup(Common::MsgType msg, QString description) {}
    // Opens the sign-up page for a user who is not signed in.
    virtual void showUnauthWarn() {}
    // The one-shot flag that keeps the next finished upload from fetching its link.
    virtual void setSkipPlayerOnUpload(bool skip) {}
    // A video whose link has just arrived, so that the player can follow it.
    virtual void setLinkedVideoId(uint file_id) {}
    // The link of a file is on the clipboard; a command-line recording waits for it.
    virtual void shareLinkArrived(uint file_id, QString url) {}
    virtual void closeCredentials() {}
    // Signals of the interface that the pages receive.
    virtual void emitUpdateGallery(uint file_id) {}
    virtual void emitUpdateUserState(ulong user_state) {}
    virtual void emitUpdateGalleryGotShareURL(QString link, uint file_id) {}
};
