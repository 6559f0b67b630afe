// The conversation with the service API: who the user is, which upload
// server to use, the short link of a finished file. Requests are HTTP GETs
// with all parameters in the query; answers are XML with root `response`.
#include "UploadQueue.h"

#include "Endpoints.h"
#include "FilesTable.h"
#include "ReplyLog.h"
#include "ServiceQuery.h"
#include "ServiceReply.h"

#include <QDebug>
#include <QMetaEnum>
#include <QNetworkAccessManager>
#include <QNetworkRequest>

QUrlQuery UploadQueue::accountQuery(const QString& action)
{
    ensureMachineId();
    return ServiceQuery::account(action, ServiceIdentity{machine_id, userHash, userRand, userSalt});
}

QUrlQuery UploadQueue::fileQuery(const QString& action, unsigned int fileId, const QString& name,
                                 const QString& pseudoname, const QString& uploadKey)
{
    ensureMachineId();
    return ServiceQuery::file(action, fileId, name, pseudoname,
                              ServiceIdentity{machine_id, userHash, userRand, userSalt}, uploadKey);
}

void UploadQueue::sendServiceRequest(const QUrlQuery& query)
{
    QUrl url(Endpoints::serviceUrl());
    url.setQuery(query);
    QNetworkRequest request(url);
    ServiceQuery::setCommonHeaders(request);
    aborted = false;
    service_reply = networkManager()->get(request);
    serviceTimer.start(serviceTimeoutMs);
    connect(service_reply, &QNetworkReply::finished, this, &UploadQueue::serviceSlotFinished);
    connect(service_reply, &QNetworkReply::readyRead, this, &UploadQueue::serviceSlotReadyRead);
    connect(service_reply, &QNetworkReply::errorOccurred, this, &UploadQueue::serviceSlotError);
    connect(service_reply, &QNetworkReply::sslErrors, this, &UploadQueue::serviceSlotSslErrors);
}

void UploadQueue::serviceGetUser()
{
    service_action = "get_user";
    service_file_id = 0;
    sendServiceRequest(accountQuery(service_action));
}

void UploadQueue::serviceGetUploadServer()
{
    service_action = "get_upload_url";
    service_file_id = 0;
    server_id.clear();
    sendServiceRequest(accountQuery(service_action));
}

void UploadQueue::serviceGetShareLink(unsigned int id)
{
    const std::optional<FilesTable::ServiceNames> names = FilesTable::serviceNames(id, sqlLogTag);
    if (!names) {
        qDebug() << "[UP]: serviceGetShareLink"
                 << " ERROR! Requested file is not in db" << id;
    }
    service_action = "get_short_url";
    service_file_id = id;
    const FilesTable::ServiceNames found = names.value_or(FilesTable::ServiceNames());
    sendServiceRequest(fileQuery(service_action, id, found.name, found.pseudoname, found.uploadKey));
}

void UploadQueue::dropServiceReply()
{
    if (!service_reply)
        return;
    service_reply->deleteLater();
    service_reply = nullptr;
}

void UploadQueue::serviceSlotFinished()
{
    serviceTimer.stop();
    ServiceReply reply;
    if (aborted) {
        qDebug() << "[UP]: this request been aborted!";
    } else if (!service_reply) {
        qDebug() << "[UP]: no reply on finished slot!";
    } else {
        const QVariant status = service_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid()) {
            qDebug() << "[UP]: bad reply";
        } else if (status.toInt() == 200) {
            reply = ServiceReply::parse(service_reply->readAll());
        } else {
            qDebug() << "[UP]: can't get uploader service link";
        }
    }
    for (const auto& entry : reply.entries)
        qDebug().noquote() << "[UP]:"
                           << "serviceSlotFinished"
                           << "[" + entry.first + "] = " << ServiceReply::logValue(entry.first, entry.second);
    dropServiceReply();

    QMap<QString, QString> map = reply.map();
    if (service_action == "get_user") {
        handleUserReply(map);
    } else if (service_action == "get_upload_url") {
        handleUploadUrlReply(map, reply.good);
    } else if (service_action == "get_short_url" && reply.good) {
        handleShortUrlReply(map);
    } else if (service_action == "delete_file" && reply.good) {
        handleDeleteReply(map);
    } else {
        badAnswerTail();
        return;
    }
    if (reply.good)
        goodAnswerTail();
    else
        badAnswerTail();
}

void UploadQueue::handleUserReply(QMap<QString, QString>& map)
{
    last_user_time = QDateTime::currentDateTime();
    const QString result = map.value("result");
    if (result == "OK" || result == "ERROR")
        host()->setUserActualized(true);
    host()->setUserInfo2(map, service_action);
    // A fresh account answer may bring another upload server.
    serviceUploadURL.clear();
    serviceUploadKey.clear();
    finishRun(128);
}

void UploadQueue::handleUploadUrlReply(QMap<QString, QString>& map, bool good)
{
    serviceUploadURL.clear();
    serviceUploadKey.clear();
    if (map.value("result") == "OK") {
        if (map.contains("upload_url")) {
            serviceUploadURL = map.value("upload_url");
            if (serviceUploadURL.isEmpty()) {
                host()->setUserActualized(false);
                const uint lastId = FilesTable::firstPendingUpload(sqlLogTag);
                qDebug() << "[UP]:"
                         << "serviceSlotFinished"
                         << " user deactualized, last file_id:" << lastId;
            }
        }
        if (map.contains("upload_key"))
            serviceUploadKey = map.value("upload_key");
        qDebug().noquote() << "[UP]: serviceUploadURL: " << serviceUploadURL
                           << ", serviceUploadKey: " << serviceUploadKey;
        if (good && !serviceUploadURL.isEmpty())
            uploadChunkNext();
        else if (good)
            finishRun(127); // without good XML the tail for bad answers ends the run
        return;
    }
    if (good && map.size() >= 2)
        host()->setUserInfo2(map, service_action);
    qDebug().noquote() << "[UP]: serviceUploadURL: " << serviceUploadURL << ", serviceUploadKey: " << serviceUploadKey;
    if (good)
        finishRun(127);
}

void UploadQueue::handleShortUrlReply(QMap<QString, QString>& map)
{
    short_url = map.value("result") == "OK" ? map.value("short_url") : QString();
    qDebug().noquote() << "[UP]: gotShareURL: " << short_url;
    if (short_url.isEmpty())
        finishRun(127);
    else
        emit gotShareLinkCall(short_url, service_file_id);
}

void UploadQueue::goodAnswerTail()
{
    host()->setTabIndex(userHash.isEmpty() ? 1 : 0);
}

void UploadQueue::badAnswerTail()
{
    host()->setTabIndex(2);
    finishRun(127);
}

void UploadQueue::serviceSlotReadyRead() {}

void UploadQueue::serviceSlotError(QNetworkReply::NetworkError code)
{
    serviceTimer.stop();
    qDebug() << "[UP]:"
             << "serviceSlotError" << QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(code);
    if (aborted)
        qDebug() << "[UP]: this request been aborted!";
    if (service_reply) {
        qDebug() << "[UP]: Reply String:" << service_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        qDebug().noquote() << "[UP]: Eror String:" << service_reply->errorString();
        ReplyLog::details(service_reply);
        dropServiceReply();
    }
    if (service_action == "get_upload_url" || service_action == "get_user")
        finishRun(0);
    host()->setTabIndex(2);
}

void UploadQueue::serviceSlotSslErrors(QList<QSslError> errors)
{
    qDebug() << "[UP]:"
             << "serviceSlotSslErrors" << errors;
    if (service_action == "get_upload_url" || service_action == "get_user")
        finishRun(0);
    dropServiceReply();
    host()->setTabIndex(2);
}

void UploadQueue::serviceTimeout()
{
    qDebug() << "[UP]:"
             << "serviceTimeout";
    aborted = true;
    // The reply goes without a finished signal, so a run waiting for a link
    // or a removal stays marked as running.
    if (service_reply)
        disconnect(service_reply, nullptr, this, nullptr);
    serviceSlotError(QNetworkReply::TimeoutError);
}

void UploadQueue::serviceProxyAuthRequired(QNetworkProxy proxy, QAuthenticator* auth)
{
    qDebug() << "[UP]:"
             << "serviceProxyAuthRequired" << proxy.hostName() << proxy.port();
    host()->serviceProxyAuthRequired(proxy, auth);
}
