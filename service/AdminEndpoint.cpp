#include "AdminEndpoint.h"

#include "HttpRequest.h"
#include "ServiceState.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

HttpResponse jsonReply(int status, const QJsonValue& value)
{
    const QJsonDocument doc = value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    return HttpResponse::json(status, doc.toJson(QJsonDocument::Indented));
}

HttpResponse failure(int status, const QString& message)
{
    qWarning().noquote() << "[ADM]:" << message;
    return jsonReply(status, QJsonObject{{"result", "ERROR"}, {"message", message}});
}

// MD5 of the bytes the record vouches for; a file may hold a stray tail after a kill.
QString md5Of(const QString& path, qint64 size)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QCryptographicHash hash(QCryptographicHash::Md5);
    for (qint64 left = size; left > 0;) {
        const QByteArray chunk = file.read(qMin<qint64>(left, 1 << 20));
        if (chunk.isEmpty())
            return {};
        hash.addData(chunk);
        left -= chunk.size();
    }
    return QString::fromLatin1(hash.result().toHex());
}

} // namespace

HttpResponse AdminEndpoint::handle(const HttpRequest& request)
{
    if (!request.peer.isLoopback())
        return failure(403, "admin requests are taken from loopback only");
    const QString& path = request.path;
    const bool post = request.method == "POST";
    if (path == "/admin/fault" && post)
        return armFault(request);
    if (path == "/admin/reset" && post) {
        state.faults.clear();
        return jsonReply(200, QJsonObject{{"result", "OK"}});
    }
    if (path == "/admin/account" && post)
        return setAccountStatus(request);
    if (path == "/admin/faults" && request.isRead())
        return jsonReply(200, state.faults.list());
    if (path == "/admin/files" && request.isRead())
        return listFiles(request);
    if (path == "/admin/requests" && request.isRead())
        return jsonReply(200, state.journal);
    return failure(404, "unknown admin request " + request.method + ' ' + path);
}

HttpResponse AdminEndpoint::armFault(const HttpRequest& request)
{
    QMap<QString, QString> params;
    for (const auto& item : request.query.queryItems(QUrl::FullyDecoded))
        if (item.first != "name" && item.first != "count")
            params.insert(item.first, item.second);
    bool ok = true;
    const int count = request.hasParam("count") ? request.param("count").toInt(&ok) : 1;
    if (!ok)
        return failure(400, "count must be a number");
    QString error;
    if (!state.faults.arm(request.param("name"), count, params, &error))
        return failure(400, error);
    return jsonReply(200, QJsonObject{{"result", "OK"}, {"faults", state.faults.list()}});
}

HttpResponse AdminEndpoint::listFiles(const HttpRequest& request)
{
    QJsonArray list;
    for (const StoredFile& f : state.files.all()) {
        QJsonObject o = FileStore::toJson(f);
        o.insert("md5", md5Of(state.files.mediaPath(f), f.size));
        o.insert("short_url", f.shortCode.isEmpty() ? QString() : request.baseUrl() + "s/" + f.shortCode);
        if (!f.previewExt.isEmpty())
            o.insert("preview_md5", md5Of(state.files.previewPath(f), f.previewSize));
        list.append(o);
    }
    return jsonReply(200, list);
}

HttpResponse AdminEndpoint::setAccountStatus(const HttpRequest& request)
{
    const QString status = request.param("status");
    if (status != "active" && status != "deleted")
        return failure(400, "status must be active or deleted");
    if (!state.accounts.setStatus(request.param("login"), status))
        return failure(404, "no account " + request.param("login"));
    return jsonReply(200, QJsonObject{{"result", "OK"}});
}
