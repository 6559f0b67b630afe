#include "UpdateEndpoint.h"

#include "FileDownload.h"
#include "HttpRequest.h"
#include "ServiceState.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace {
const QString feedPath = QStringLiteral("/download/check/Appcast.xml");
const QString logPath = QStringLiteral("/download/uploadlogs/");
const QString downloadsPrefix = QStringLiteral("/downloads/");
} // namespace

bool UpdateEndpoint::handles(const QString& path) const
{
    return path == feedPath || path == logPath || path == "/download/uploadlogs" || path.startsWith(downloadsPrefix);
}

HttpResponse UpdateEndpoint::handle(const HttpRequest& request)
{
    if (request.path.startsWith("/download/uploadlogs"))
        return request.method == "POST" ? storeLog(request) : HttpResponse::text(405, "Use POST\n");
    if (!request.isRead())
        return HttpResponse::text(405, "Use GET\n");
    const QDir data(state.dataDir);
    if (request.path == feedPath)
        return FileDownload::serve(request, data.filePath("Appcast.xml"), "text/xml; charset=utf-8");
    // Only plain names inside the downloads folder are served.
    const QString name = request.path.mid(downloadsPrefix.size());
    if (name.isEmpty() || name.contains('/') || name.startsWith('.'))
        return HttpResponse::text(404, "Not found\n");
    return FileDownload::serve(request, data.filePath("downloads/" + name));
}

HttpResponse UpdateEndpoint::storeLog(const HttpRequest& request)
{
    bool ok = false;
    const qint64 length = request.param("length").toLongLong(&ok);
    if (request.body.isEmpty() || (ok && length != request.body.size())) {
        qWarning().noquote() << "[LOG]: refused log upload of" << request.body.size() << "bytes, length" << length;
        return HttpResponse::text(400, "Length mismatch\n");
    }
    QString name = QFileInfo(request.param("file_name")).fileName();
    if (name.isEmpty() || name.startsWith('.'))
        name = QStringLiteral("log.zip");
    name = QDateTime::currentDateTimeUtc().toString("yyyyMMdd-hhmmsszzz_") + name;
    QDir().mkpath(QDir(state.dataDir).filePath("logs"));
    QSaveFile file(QDir(state.dataDir).filePath("logs/" + name));
    if (!file.open(QIODevice::WriteOnly) || file.write(request.body) != request.body.size() || !file.commit()) {
        qWarning().noquote() << "[LOG]: can't store" << name << file.errorString();
        return HttpResponse::text(500, "Storage failure\n");
    }
    qInfo().noquote() << "[LOG]: stored" << name << "from" << request.param("hwid");
    HttpResponse r = HttpResponse::text(200, "OK\n");
    r.setHeader("X-KVD-Uploaded", name.toUtf8());
    return r;
}
