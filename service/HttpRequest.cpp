#include "HttpRequest.h"

QString HttpRequest::baseUrl() const
{
    // Links handed out must reach this process the way the client reached it.
    const QByteArray host = header("host");
    if (!host.isEmpty())
        return QStringLiteral("http://%1/").arg(QString::fromLatin1(host));
    return QStringLiteral("http://127.0.0.1/");
}
