#include "UploadEndpoint.h"

#include "HttpRequest.h"
#include "ServiceState.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QRegularExpression>

namespace {
const QByteArray positionMismatch = "Uploaded position mismatch";
const QByteArray notRegistered = "This video file is not registered!";
} // namespace

HttpResponse UploadEndpoint::reply(int status, const QByteArray& phrase)
{
    HttpResponse r = HttpResponse::text(status, status == 200 ? "OK\n" : phrase + '\n');
    r.phrase = phrase;
    r.setHeader("X-KVD-SrvID", state.serverId().toLatin1());
    return r;
}

HttpResponse UploadEndpoint::refuse(int status, const QByteArray& info)
{
    qWarning().noquote() << "[UPL]: refused with" << status << info;
    HttpResponse r = reply(status);
    r.setHeader("X-Server-Info", info);
    r.body = info + '\n';
    return r;
}

HttpResponse UploadEndpoint::faultReply(const FaultSwitches::Fault& fault, bool* proceed)
{
    *proceed = false;
    if (fault.name == "stall")
        return HttpResponse::stall(fault.param("ms", "600000").toInt());
    if (fault.name == "upload_416")
        return reply(416);
    if (fault.name == "upload_position_mismatch")
        return reply(416, positionMismatch);
    if (fault.name == "status_500")
        return reply(500);
    if (fault.name == "upload_416_action") {
        HttpResponse r = reply(416);
        r.setHeader("X-KVD-FileAction", fault.param("action", "0").toLatin1());
        return r;
    }
    if (fault.name == "upload_516") {
        HttpResponse r = reply(516, "Not Registered");
        r.setHeader("X-Server-Info", notRegistered);
        return r;
    }
    // srvid_change: this and every later answer comes from "another" server.
    ++state.serverGeneration;
    if (fault.param("status") == "416")
        return reply(416);
    *proceed = true;
    return {};
}

HttpResponse UploadEndpoint::handle(const HttpRequest& request)
{
    const auto fault = state.faults.take(FaultSwitches::Target::Upload, QString());
    if (fault) {
        bool proceed = false;
        HttpResponse r = faultReply(*fault, &proceed);
        if (!proceed)
            return r;
    }
    HttpResponse r = handleRange(request);
    // srvid_change with action=N: the new server also demands an action of an accepted range.
    if (fault && fault->name == "srvid_change" && !fault->param("action").isEmpty() && r.status / 100 == 2)
        r.setHeader("X-KVD-FileAction", fault->param("action").toLatin1());
    return r;
}

HttpResponse UploadEndpoint::handleRange(const HttpRequest& request)
{

    Account account;
    if (state.accounts.authenticate(request.param("user_token"), request.param("user_rand"), request.param("user_hash"),
                                    request.param("machine_id"), &account)
        != AccountStore::Auth::Ok)
        return refuse(403, "Not authorized");

    const quint32 fileId = request.param("file_id").toUInt();
    if (fileId == 0)
        return refuse(400, "Missing file_id");
    bool ok = false;
    const qint64 length = request.param("length").toLongLong(&ok);
    if (!ok || length != request.body.size())
        return refuse(400, "Length mismatch");
    const QString md5 = QString::fromLatin1(QCryptographicHash::hash(request.body, QCryptographicHash::Md5).toHex());
    if (md5.compare(request.param("md5val"), Qt::CaseInsensitive) != 0)
        return refuse(400, "MD5 mismatch");

    StoredFile file = state.files.find(account.login, fileId).value_or(StoredFile());
    const bool known = file.fileId != 0;
    file.owner = account.login;
    file.fileId = fileId;
    if (!request.param("file_preview_ext").isEmpty()) {
        if (!known)
            return refuse(516, notRegistered);
        return storePreview(request, file);
    }
    return storeMedia(request, file);
}

HttpResponse UploadEndpoint::storeMedia(const HttpRequest& request, StoredFile& file)
{
    const qint64 startPos = request.param("start_pos").toLongLong();
    const qint64 fullSize = request.param("fullsize").toLongLong();
    const bool finalized = request.param("finalized") == "1";
    if (finalized && startPos + request.body.size() > fullSize) {
        qWarning().noquote() << "[UPL]: range" << startPos << "+" << request.body.size() << "beyond fullsize"
                             << fullSize;
        return reply(416, positionMismatch);
    }
    switch (state.files.appendMedia(file, startPos, request.body)) {
    case FileStore::Append::PositionMismatch:
        qInfo().noquote() << "[UPL]: file" << file.fileId << "has" << file.size << "bytes, range starts at" << startPos;
        return reply(416, positionMismatch);
    case FileStore::Append::IoError: return refuse(500, "Storage failure");
    case FileStore::Append::Done: break;
    }
    file.fileName = request.param("file_name");
    file.pseudoName = request.param("file_pseudoname");
    file.fullSize = fullSize;
    file.finalized = finalized;
    file.uploadKey = request.param("upload_key");
    const bool complete = finalized && file.size == fullSize;
    if (complete) {
        file.uploaded = true;
        if (file.shortCode.isEmpty())
            file.shortCode = FileStore::newShortCode();
    }
    if (!state.files.save(file))
        return refuse(500, "Storage failure");

    HttpResponse r = reply(200);
    r.setHeader("X-KVD-SegmentOK", "1");
    if (complete) {
        r.setHeader("X-KVD-Uploaded", "1");
        qInfo().noquote() << "[UPL]: file" << file.fileId << "complete," << file.size << "bytes";
    }
    return r;
}

HttpResponse UploadEndpoint::storePreview(const HttpRequest& request, StoredFile& file)
{
    static const QRegularExpression extPattern("^[A-Za-z0-9]{1,8}$");
    const QString ext = request.param("file_preview_ext");
    if (!extPattern.match(ext).hasMatch())
        return refuse(400, "Bad preview extension");
    if (request.param("start_pos").toLongLong() != 0)
        return reply(416, positionMismatch);
    if (!state.files.writePreview(file, ext, request.body))
        return refuse(500, "Storage failure");
    const bool complete = request.body.size() == request.param("fullsize").toLongLong();
    file.previewUploaded = complete;
    if (!state.files.save(file))
        return refuse(500, "Storage failure");
    HttpResponse r = reply(200);
    r.setHeader("X-KVD-SegmentOK", "1");
    if (complete)
        r.setHeader("X-KVD-Uploaded", "1");
    return r;
}
