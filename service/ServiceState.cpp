#include "ServiceState.h"

#include "HttpRequest.h"

#include <QDateTime>
#include <QJsonObject>

void ServiceState::record(const HttpRequest& request, int status)
{
    journal.append(QJsonObject{{"time", QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
                               {"method", QString::fromLatin1(request.method)},
                               {"target", QString::fromLatin1(request.target)},
                               {"user_agent", QString::fromLatin1(request.header("user-agent"))},
                               {"accept_encoding", QString::fromLatin1(request.header("accept-encoding"))},
                               {"content_type", QString::fromLatin1(request.header("content-type"))},
                               {"body_size", request.body.size()},
                               {"status", status}});
    while (journal.size() > journalLimit)
        journal.removeFirst();
}
