#pragma once

#include "CommonTypes.h"

#include <QMap>
#include <QNetworkProxy>
#include <QString>

class QAuthenticator;

// What the uploader needs from the capture controller: the flag that says the
// account data is fresh, the login tab state, the account answer, pop-ups,
// the save dialog and proxy credentials. The controller derives from this and
// hands itself over with UploadQueue::setHost; the names match its slots, so
// its own slots become the overrides.
//
// The defaults keep the account flag here and do nothing else, which is what
// the uploader uses while no controller is attached.
class UploadHost
{
public:
    virtual ~UploadHost() = default;

    // True once a get_user answer with result "OK" or "ERROR" has arrived.
    virtual bool isUserActualized() { return actualized; }
    virtual void setUserActualized(bool fresh) { actualized = fresh; }
    // 0 signed in, 1 nobody signed in, 2 service unreachable.
    virtual void setTabIndex(int idx) {}
    // The parsed answer of a service request about the account.
    virtual void setUserInfo2(QMap<QString, QString>& map, QString serviceRequestType) {}
    virtual void showPopup(Common::MsgType msg, QString description) {}
    // Offers to save a copy of a media file outside the library; returns the chosen path.
    virtual QString saveFileWithReformatting(QString filename, QString file_pseudoname, bool reformat = true)
    {
        return {};
    }
    virtual void serviceProxyAuthRequired(QNetworkProxy proxy, QAuthenticator* auth) {}
    // Lets the web pages see a changed sign-in state.
    virtual void updateUserState() {}

private:
    bool actualized = false;
};
