// The account session: signing in and out, what the service says about the
// account, and the credentials handed on to the uploader.
#include "AppController.h"

#include "ApiCalls.h"
#include "Endpoints.h"
#include "ISettingsReader.h"
#include "ISettingsWriter.h"
#include "SettingsKeys.h"
#include "UploadQueue.h"

#include <QAuthenticator>
#include <QDebug>

namespace {
// Login state of the interface: nobody signed in.
constexpr int kLoginStateNoLogin = 1;

QString accountPage(const char* fragment)
{
    return Endpoints::webUrl() + QStringLiteral("account") + QLatin1String(fragment);
}

QString shortened(const QString& text)
{
    constexpr int kLongest = 80;
    return text.size() > kLongest ? text.left(kLongest) + QStringLiteral("...") : text;
}
} // namespace

void AppController::logIn()
{
    qDebug() << "[AC]:"
             << "logIn";
    showAuthMessage(accountPage("#signIn"), QStringLiteral("Log-In"), true);
}

void AppController::signUp()
{
    qDebug() << "[AC]:"
             << "signUp";
    showAuthMessage(accountPage("#signUp"), QStringLiteral("Sign-Up"), true);
}

void AppController::showUnauthWarn()
{
    qDebug() << "[AC]:"
             << "showUnauthWarn";
    showAuthMessage(accountPage("#signUp"), QStringLiteral("Sign-Up"), true);
}

void AppController::showAuthMessage(QString uri, QString title, bool clear_cookies)
{
    qDebug() << "[AC]: ----------------WEB---------------------";
    qDebug() << "[AC]:"
             << "showAuthMessage"
             << "uri:" << uri << "title:" << title << "clear_cookies:" << clear_cookies;
    if (!uri.isEmpty()) {
        port->showCredentials(uri, title, clear_cookies);
        return;
    }
    if (!settings()->readSettingBool(SettingsKey::is_authenticated_user))
        signUp();
}

void AppController::logOut()
{
    qDebug() << "[AC]:"
             << "logOut";
    ISettingsWriter* w = settingsWriter();
    for (const char* key : {SettingsKey::login, SettingsKey::password, SettingsKey::salt})
        w->writeSetting(key, QString());
    for (const char* key : {"is_authenticated_user", "instant_share_disabled_manually",
                            "mouse_highlight_disabled_manually", "auto_upload", "mouse_highlight"})
        w->writeSetting(key, false);
    w->writeSetting(SettingsKey::recording_quality, 0);
    w->writeSetting(SettingsKey::isVideoQualityNeverSet, true);
    if (uploader)
        uploader->setUserCredentials(settings()->readSettingStr(SettingsKey::login),
                                     settings()->readSettingStr(SettingsKey::password),
                                     settings()->readSettingStr(SettingsKey::salt));
    userActualized = false;
    port->setLoginState(kLoginStateNoLogin);
}

void AppController::refreshAccount()
{
    qDebug() << "[AC]:"
             << "refreshAccount";
    userActualized = false;
    activateUploader();
}

void AppController::refreshOffline()
{
    qDebug() << "[AC]:"
             << "refreshOffline";
    if (!tickTimer->isActive() && tickTimer->timerId() != -1)
        activateUploader();
    restartUploaderRetries();
}

void AppController::restartUploaderRetries()
{
    if (!uploader)
        return;
    for (QTimer* retry : {&uploader->uploadTimer, &uploader->serviceTimer}) {
        if (retry->isActive() && retry->timerId() != -1)
            retry->start(100);
    }
}

void AppController::setUserInfo2(QMap<QString, QString>& map, QString serviceRequestType)
{
    qDebug().noquote() << "[AC]: setUserInfo2" << serviceRequestType
                       << " status:" << map.value(QStringLiteral("status"), QStringLiteral("<UNDEFINED>"))
                       << ", message:" << shortened(map.value(QStringLiteral("message")));
    const QString result = map.value(QStringLiteral("result"));
    const bool getUser = serviceRequestType == QLatin1String("get_user");
    ISettingsWriter* w = settingsWriter();
    if (result == QLatin1String("OK") && getUser) {
        const QString name = map.value(QStringLiteral("name"));
        if (!name.isEmpty() && name != settings()->readSettingStr(SettingsKey::login)) {
            w->writeSetting(SettingsKey::login, name);
            if (uploader)
                uploader->setUserCredentials(settings()->readSettingStr(SettingsKey::login),
                                             settings()->readSettingStr(SettingsKey::password),
                                             settings()->readSettingStr(SettingsKey::salt));
        }
        w->writeSetting(SettingsKey::is_authenticated_user, true);
        if (!settings()->readSettingBool(SettingsKey::instant_share_disabled_manually))
            w->writeSetting(SettingsKey::auto_upload, true);
        if (!settings()->readSettingBool(SettingsKey::mouse_highlight_disabled_manually))
            w->writeSetting(SettingsKey::mouse_highlight, true);
    } else if (getUser) {
        w->writeSetting(SettingsKey::is_authenticated_user, false);
    }
    if (map.contains(QStringLiteral("message")))
        port->setXmlMessage(map.value(QStringLiteral("message")));

    if (result != QLatin1String("ERROR"))
        return;
    const QString message = map.value(QStringLiteral("message")).toUpper();
    if (map.value(QStringLiteral("status")) == QLatin1String("deleted") || message == QLatin1String("INVALID TOKEN!"))
        logOut();
    // "NOT AUTHORIZED!" is a known refusal too, but the account stays.
}

void AppController::setTabIndex(int idx)
{
    qDebug() << "[AC]:"
             << "setTabIndex"
             << ":" << idx;
    port->setLoginState(idx);
    if (apiCalls)
        apiCalls->setTabIndex(idx);
}

void AppController::serviceProxyAuthRequired(QNetworkProxy proxy, QAuthenticator* auth)
{
    qDebug() << "[AC]:"
             << "serviceProxyAuthRequired" << proxy.hostName();
    if (!auth)
        return;
    auth->setUser(settings()->readSettingStr(SettingsKey::proxy_login));
    auth->setPassword(settings()->readSettingStr(SettingsKey::proxy_pwd));
}

bool AppController::isUserActualized()
{
    return userActualized;
}

void AppController::setUserActualized(bool fresh)
{
    userActualized = fresh;
}

void AppController::updateUserState()
{
    if (apiCalls)
        apiCalls->updateUserState();
}
