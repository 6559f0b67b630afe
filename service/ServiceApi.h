#pragma once

#include "FaultSwitches.h"
#include "HttpResponse.h"

#include <QList>
#include <QPair>
#include <QString>

struct HttpRequest;
struct ServiceState;

// The service API at the root: GET with the action in the query key "a",
// answered with XML whose root is <response>.
class ServiceApi
{
public:
    explicit ServiceApi(ServiceState& state)
        : state(state)
    {
    }

    HttpResponse handle(const HttpRequest& request);

    using Fields = QList<QPair<QString, QString>>;
    static HttpResponse xml(const Fields& fields);

private:
    HttpResponse faultReply(const FaultSwitches::Fault& fault);
    HttpResponse getUploadUrl(const HttpRequest& request);
    HttpResponse getShortUrl(const HttpRequest& request, const QString& owner);
    HttpResponse deleteFile(const HttpRequest& request, const QString& owner);

    ServiceState& state;
};
