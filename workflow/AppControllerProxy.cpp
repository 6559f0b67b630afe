#include "AppController.h"

#include "Endpoints.h"
#include "ISettingsReader.h"
#include "ISettingsWriter.h"
#include "SettingsKeys.h"
#include "UploadQueue.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaEnum>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <optional>

namespace {

// The proxy the settings describe; nothing for a type outside the list of
// the settings dialog ("Default", "Socks5", "HTTP", "Cache HTTP").
std::optional<QNetworkProxy> proxyOfType(int type, const QString& host, const QString& port, const QString& login,
                                         const QString& pwd)
{
    QNetworkProxy proxy;
    switch (type) {
    case 0: return QNetworkProxy(QNetworkProxy::DefaultProxy); // the application's own, no host or user
    case 1: proxy.setType(QNetworkProxy::Socks5Proxy); break;
    case 2: proxy.setType(QNetworkProxy::HttpProxy); break;
    case 3: proxy.setType(QNetworkProxy::HttpCachingProxy); break;
    default: return std::nullopt;
    }
    proxy.setHostName(host);
    // A port that is no number, or beyond the last one, becomes 0, which the
    // test then fails on; cut to 16 bits it would name another port.
    bool isNumber = false;
    const uint number = port.toUInt(&isNumber);
    proxy.setPort(isNumber && number <= 0xffff ? quint16(number) : 0);
    if (!login.isEmpty()) {
        proxy.setUser(login);
        proxy.setPassword(pwd);
    }
    return proxy;
}

void applyProxy(QNetworkAccessManager* manager, const QNetworkProxy& proxy)
{
    if (!manager)
        return;
    // Open connections would keep going the old way.
    manager->clearConnectionCache();
    manager->setProxy(proxy);
}

} // namespace

void AppController::proxyChanged()
{
    const bool enabled = settings()->readSettingBool(SettingsKey::proxy_server);
    const int type = settings()->readSettingInt(SettingsKey::proxy_type);
    const QString host = settings()->readSettingStr(SettingsKey::proxy_host);
    const QString port = settings()->readSettingStr(SettingsKey::proxy_port);
    const QString login = settings()->readSettingStr(SettingsKey::proxy_login);
    const QString pwd = settings()->readSettingStr(SettingsKey::proxy_pwd);
    // The password itself stays out of the log; only whether there is one.
    qDebug() << "[AC]:"
             << "proxyChanged"
             << "enabled:" << enabled << ", type:" << type << ", host:" << host << ", port:" << port
             << ", login:" << login << ", pwd" << (pwd.isEmpty() ? "empty" : "set");
    QNetworkProxy proxy(QNetworkProxy::NoProxy);
    if (enabled) {
        const std::optional<QNetworkProxy> built = proxyOfType(type, host, port, login, pwd);
        if (built)
            proxy = *built;
        else
            qDebug() << "[AC]:"
                     << "proxyChanged"
                     << "unknown proxy type" << type;
    }
    applyProxy(serviceNetwork, proxy);
    if (uploader && uploader->networkManager() != serviceNetwork)
        applyProxy(uploader->networkManager(), proxy);
    // Beyond the two managers above, the application-wide proxy carries every
    // other way to the cloud too: the sign-in web view (the web engine follows
    // it), the log upload and the updater, whose managers keep the default.
    const bool concrete = proxy.type() != QNetworkProxy::NoProxy && proxy.type() != QNetworkProxy::DefaultProxy;
    QNetworkProxy::setApplicationProxy(concrete ? proxy : QNetworkProxy(QNetworkProxy::NoProxy));
}

void AppController::toggleProxyServer(bool enabled)
{
    qDebug() << "[AC]:"
             << "toggleProxyServer"
             << "(" << enabled << ")";
    proxyChanged();
    // Only a tick that runTasks has wired up to the uploader is worth starting.
    if (!tickTimer->isActive() && uploader)
        activateUploader();
}

void AppController::testProxyConnection()
{
    qDebug() << "[AC]:"
             << "testProxyConnection";
    abandonProxyTest();
    settingsWriter()->writeSetting(SettingsKey::proxy_verification_status, int(Common::Untested));
    const QString host = settings()->readSettingStr(SettingsKey::proxy_host).trimmed();
    const QString port = settings()->readSettingStr(SettingsKey::proxy_port).trimmed();
    if (host.isEmpty() || port.isEmpty()) {
        qDebug() << "[AC]:"
                 << "testProxyConnection"
                 << "Host or port is empty";
        settingsWriter()->writeSetting(SettingsKey::proxy_verification_status, int(Common::Failed));
        showPopup(Common::MsgError, QStringLiteral("Host or port is empty"));
        return;
    }
    const int type = settings()->readSettingInt(SettingsKey::proxy_type);
    const std::optional<QNetworkProxy> proxy =
        proxyOfType(type, host, port, settings()->readSettingStr(SettingsKey::proxy_login),
                    settings()->readSettingStr(SettingsKey::proxy_pwd));
    if (!proxy) {
        qDebug() << "[AC]:"
                 << "testProxyConnection"
                 << "Unknown proxy type" << type;
        settingsWriter()->writeSetting(SettingsKey::proxy_verification_status, int(Common::Failed));
        showPopup(Common::MsgError, QStringLiteral("Unknown proxy type"));
        return;
    }
    proxyTestNetwork->setProxy(*proxy);
    QNetworkRequest request{QUrl(Endpoints::ipEchoUrl())};
    request.setHeader(QNetworkRequest::UserAgentHeader, QByteArrayLiteral("Orlune-ProxyTest/1.0"));
    proxyTestReply = proxyTestNetwork->get(request);
    connect(proxyTestReply, &QNetworkReply::finished, this, &AppController::onProxyTestFinished);
    proxyTestTimer->start(proxyTestTimeoutMs);
    qDebug() << "[AC]:"
             << "testProxyConnection"
             << "Test started with proxy:" << proxy->hostName() << ":" << proxy->port();
}

void AppController::onProxyTestFinished()
{
    proxyTestTimer->stop();
    auto* reply = qobject_cast<QNetworkReply*>(sender());
    if (!reply) {
        qDebug() << "[AC]:"
                 << "onProxyTestFinished"
                 << "Reply is null";
        return;
    }
    if (reply == proxyTestReply)
        proxyTestReply.clear();
    const QByteArray body = reply->readAll();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    qDebug() << "[AC]:"
             << "onProxyTestFinished"
             << "Error:" << QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(reply->error())
             << "Status:" << status << "Response:" << QString::fromUtf8(body.left(1000));
    if (reply->error() != QNetworkReply::NoError) {
        settingsWriter()->writeSetting(SettingsKey::proxy_verification_status, int(Common::Failed));
        showPopup(Common::MsgError, reply->errorString());
    } else if (QJsonDocument::fromJson(body).object().contains(QStringLiteral("origin"))) {
        qDebug() << "[AC]:"
                 << "Proxy test successful";
        settingsWriter()->writeSetting(SettingsKey::proxy_verification_status, int(Common::Verified));
        showPopup(Common::MsgInfo, QStringLiteral("Proxy connection works. You can enable it now."));
    } else {
        qDebug() << "[AC]:"
                 << "Proxy test failed: invalid response format";
        settingsWriter()->writeSetting(SettingsKey::proxy_verification_status, int(Common::Failed));
        showPopup(Common::MsgError, QStringLiteral("Proxy connection failed: invalid response"));
    }
    reply->deleteLater();
}

void AppController::onProxyTestTimeout()
{
    qDebug() << "[AC]:"
             << "onProxyTestTimeout";
    // The late answer, if one ever comes, must not report a second result.
    abandonProxyTest();
    proxyTestNetwork->clearConnectionCache();
    settingsWriter()->writeSetting(SettingsKey::proxy_verification_status, int(Common::Failed));
    showPopup(Common::MsgError, QStringLiteral("Proxy connection timeout"));
}

void AppController::abandonProxyTest()
{
    proxyTestTimer->stop();
    if (!proxyTestReply)
        return;
    QNetworkReply* reply = proxyTestReply;
    proxyTestReply.clear();
    disconnect(reply, nullptr, this, nullptr);
    reply->abort();
    reply->deleteLater();
}
