#include "ServiceRouter.h"

#include "FileDownload.h"
#include "HttpRequest.h"
#include "ServiceState.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

ServiceRouter::ServiceRouter(ServiceState& state)
    : state(state)
    , api(state)
    , upload(state)
    , accountPage(state)
    , updates(state)
    , reportPage(state)
    , admin(state)
{
}

HttpResponse ServiceRouter::handle(const HttpRequest& request)
{
    const HttpResponse response = route(request);
    const int status = response.stallMs > 0 ? 0 : response.status;
    qInfo().noquote() << "[SRV]:" << request.method << request.target.left(300) << "->"
                      << (status ? QString::number(status) : QStringLiteral("stalled"));
    if (!request.path.startsWith("/admin/"))
        state.record(request, status);
    return response;
}

HttpResponse ServiceRouter::route(const HttpRequest& request)
{
    const QString& path = request.path;
    if (path == "/") {
        if (!request.isRead())
            return HttpResponse::text(405, "Use GET\n");
        if (request.hasParam("a"))
            return api.handle(request);
        HttpResponse r = HttpResponse::text(302, "See /account\n");
        r.setHeader("Location", "/account");
        return r;
    }
    if (path == "/upload")
        return request.method == "POST" ? upload.handle(request) : HttpResponse::text(405, "Use POST\n");
    if (path.startsWith("/s/"))
        return shortLink(request);
    if (path.startsWith("/admin/"))
        return admin.handle(request);
    if (accountPage.handles(path))
        return accountPage.handle(request);
    if (updates.handles(path))
        return updates.handle(request);
    if (reportPage.handles(path))
        return reportPage.handle(request);
    if (path == "/ip")
        return ipEcho(request);
    return HttpResponse::text(404, "Not found\n");
}

// Like a public IP echo service: the address the request came from, as
// {"origin": "..."}; the proxy test of the program looks for "origin".
HttpResponse ServiceRouter::ipEcho(const HttpRequest& request)
{
    if (!request.isRead())
        return HttpResponse::text(405, "Use GET\n");
    QHostAddress peer = request.peer;
    // A v4 peer on a dual-stack socket shows as ::ffff:a.b.c.d.
    bool isV4 = false;
    const quint32 v4 = peer.toIPv4Address(&isV4);
    if (isV4)
        peer = QHostAddress(v4);
    const QJsonObject body{{"origin", peer.toString()}};
    return HttpResponse::json(200, QJsonDocument(body).toJson(QJsonDocument::Compact) + '\n');
}

// /s/CODE serves the uploaded file, /s/CODE/preview its preview image.
HttpResponse ServiceRouter::shortLink(const HttpRequest& request)
{
    if (!request.isRead())
        return HttpResponse::text(405, "Use GET\n");
    const QStringList parts = request.path.mid(3).split('/');
    const auto file = state.files.findByShortCode(parts.value(0));
    if (!file || !file->uploaded)
        return HttpResponse::text(404, "No such link\n");
    if (parts.size() == 2 && parts[1] == "preview" && file->previewUploaded)
        return FileDownload::serve(request, state.files.previewPath(*file));
    if (parts.size() > 1)
        return HttpResponse::text(404, "No such link\n");
    HttpResponse r =
        FileDownload::serve(request, state.files.mediaPath(*file), FileDownload::contentTypeFor(file->fileName));
    const QString name = file->pseudoName.isEmpty() ? file->fileName : file->pseudoName;
    r.setHeader("Content-Disposition", "inline; filename*=UTF-8''" + QUrl::toPercentEncoding(name));
    return r;
}
