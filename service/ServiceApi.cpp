#include "ServiceApi.h"

#include "HttpRequest.h"
#include "ServiceState.h"

#include <QDebug>
#include <QRandomGenerator>
#include <QXmlStreamWriter>

HttpResponse ServiceApi::xml(const Fields& fields)
{
    QByteArray out;
    QXmlStreamWriter writer(&out);
    writer.writeStartDocument();
    writer.writeStartElement("response");
    for (const auto& f : fields)
        writer.writeTextElement(f.first, f.second);
    writer.writeEndElement();
    writer.writeEndDocument();
    return HttpResponse::text(200, out, "text/xml; charset=utf-8");
}

HttpResponse ServiceApi::handle(const HttpRequest& request)
{
    const QString action = request.param("a");
    if (auto fault = state.faults.take(FaultSwitches::Target::Api, action))
        return faultReply(*fault);

    static const QStringList actions = {"get_user", "get_upload_url", "get_short_url", "delete_file"};
    if (!actions.contains(action)) {
        qWarning().noquote() << "[API]: unknown action" << action;
        return xml({{"result", "ERROR"}, {"message", "Unknown action"}});
    }

    Account account;
    switch (state.accounts.authenticate(request.param("user_token"), request.param("user_rand"),
                                        request.param("user_hash"), request.param("machine_id"), &account)) {
    case AccountStore::Auth::UnknownToken: return xml({{"result", "ERROR"}, {"message", "INVALID TOKEN!"}});
    case AccountStore::Auth::BadHash: return xml({{"result", "ERROR"}, {"message", "NOT AUTHORIZED!"}});
    case AccountStore::Auth::Deleted:
        return xml({{"result", "ERROR"}, {"status", "deleted"}, {"message", "Account deleted"}});
    case AccountStore::Auth::Ok: break;
    }

    if (action == "get_user")
        return xml({{"result", "OK"}, {"status", account.status}, {"name", account.login}, {"login", account.login}});
    if (action == "get_upload_url")
        return getUploadUrl(request);
    if (action == "get_short_url")
        return getShortUrl(request, account.login);
    return deleteFile(request, account.login);
}

HttpResponse ServiceApi::faultReply(const FaultSwitches::Fault& fault)
{
    if (fault.name == "stall")
        return HttpResponse::stall(fault.param("ms", "600000").toInt());
    if (fault.name == "status_500")
        return HttpResponse::text(500, "Internal Server Error\n");
    if (fault.name == "not_xml")
        return HttpResponse::text(200, "<html><body>Service is under maintenance</body></html>\n",
                                  "text/html; charset=utf-8");
    if (fault.name == "invalid_token")
        return xml({{"result", "ERROR"}, {"message", "INVALID TOKEN!"}});
    return xml({{"result", "ERROR"}, {"message", fault.param("message", "Service is temporarily unavailable")}});
}

HttpResponse ServiceApi::getUploadUrl(const HttpRequest& request)
{
    const QString key = QString::number(QRandomGenerator::system()->generate64(), 16);
    return xml({{"result", "OK"}, {"upload_url", request.baseUrl() + "upload"}, {"upload_key", key}});
}

HttpResponse ServiceApi::getShortUrl(const HttpRequest& request, const QString& owner)
{
    const auto file = state.files.find(owner, request.param("file_id").toUInt());
    if (!file || !file->uploaded || file->shortCode.isEmpty())
        return xml({{"result", "ERROR"}, {"message", "File is not uploaded"}});
    return xml({{"result", "OK"}, {"short_url", request.baseUrl() + "s/" + file->shortCode}});
}

HttpResponse ServiceApi::deleteFile(const HttpRequest& request, const QString& owner)
{
    const quint32 fileId = request.param("file_id").toUInt();
    if (!state.files.find(owner, fileId))
        // Nothing to remove: the client may forget its request.
        return xml({{"result", "ERROR"}, {"message", "File not found"}, {"force", "1"}});
    if (!state.files.remove(owner, fileId))
        return xml({{"result", "ERROR"}, {"message", "File could not be removed"}});
    qInfo().noquote() << "[API]: removed file" << fileId << "of" << owner;
    return xml({{"result", "OK"}, {"message", "File removed"}});
}
