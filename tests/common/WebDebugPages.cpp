#include "WebDebugPages.h"

#include "Polling.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

QJsonArray WebDebugPages::list(quint16 port, int timeoutMs)
{
    QNetworkAccessManager network;
    QNetworkReply* reply = network.get(QNetworkRequest(QUrl(QString("http://127.0.0.1:%1/json").arg(port))));
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    const QJsonArray pages = reply->isFinished() ? QJsonDocument::fromJson(reply->readAll()).array() : QJsonArray();
    reply->abort();
    reply->deleteLater();
    return pages;
}

QJsonObject WebDebugPages::waitForPage(const QString& urlPart, int timeoutMs, quint16 port)
{
    QJsonObject found;
    waitUntil(
        [&] {
            for (const QJsonValue& page : list(port, 2000))
                if (page.toObject().value("url").toString().contains(urlPart))
                    found = page.toObject();
            return !found.isEmpty();
        },
        timeoutMs);
    return found;
}
