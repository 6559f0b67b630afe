#include "Endpoints.h"

namespace {

const char* const referenceService = "http://127.0.0.1:8765/";

QString hostFromEnvironment(const char* variable)
{
    QString url = qEnvironmentVariable(variable).trimmed();
    if (url.isEmpty())
        url = QString::fromLatin1(referenceService);
    // Callers append paths, so the root always ends in "/".
    if (!url.endsWith('/'))
        url += '/';
    return url;
}

} // namespace

namespace Endpoints {

QString serviceUrl()
{
    return hostFromEnvironment("ORLUNE_SERVICE_URL");
}
QString webUrl()
{
    return hostFromEnvironment("ORLUNE_WEB_URL");
}
QString crashDsn()
{
    return qEnvironmentVariable("ORLUNE_CRASH_DSN").trimmed();
}
QString ipEchoUrl()
{
    return webUrl() + "ip";
}
QString changeLogUrl()
{
    return webUrl() + "changelog";
}
QString reportFormUrl()
{
    return webUrl() + "report";
}
QString supportAddress()
{
    return QStringLiteral("support@orlune.invalid");
}
QString contactUrl()
{
    return webUrl() + "contact";
}

} // namespace Endpoints
