#include "ReportPage.h"

#include "HttpRequest.h"
#include "ServiceState.h"

#include <QDateTime>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QUrlQuery>

namespace {
QByteArray page(const QString& logId, const QString& note)
{
    const QString id = logId.toHtmlEscaped();
    return QStringLiteral(
               "<!DOCTYPE html><html lang=\"en\"><head><meta charset=\"utf-8\"><title>Orlune bug report</title>"
               "<style>body{font-family:sans-serif;max-width:560px;margin:32px auto;padding:0 16px;color:#222}"
               "h1{color:#5100A4}label{display:block;margin:12px 0 4px}input,textarea{width:100%;"
               "box-sizing:border-box;padding:8px;font-size:15px}textarea{height:160px}button{margin-top:16px;"
               "padding:10px 24px;background:#5100A4;color:#fff;border:0;font-size:15px}</style></head><body>"
               "<h1>Report a problem</h1><p>%1</p><form method=\"post\" action=\"/report\">"
               "<label for=\"log\">Log identifier</label><input id=\"log\" name=\"log_id\" value=\"%2\" readonly>"
               "<label for=\"mail\">Your e-mail</label><input id=\"mail\" name=\"email\" type=\"email\">"
               "<label for=\"what\">What happened, and what did you expect?</label>"
               "<textarea id=\"what\" name=\"description\" required></textarea>"
               "<button type=\"submit\">Send report</button></form></body></html>")
        .arg(note.toHtmlEscaped(), id)
        .toUtf8();
}
} // namespace

HttpResponse ReportPage::handle(const HttpRequest& request)
{
    if (request.method == "POST")
        return submit(request);
    if (!request.isRead())
        return HttpResponse::text(405, "Use GET or POST\n");
    const QString logId = request.param("LogID");
    const QString note = logId.isEmpty() ? QStringLiteral("No log was sent with this report.")
                                         : QStringLiteral("Your logs have arrived. Tell us what went wrong:");
    return HttpResponse::text(200, page(logId, note), "text/html; charset=utf-8");
}

HttpResponse ReportPage::submit(const HttpRequest& request)
{
    const QUrlQuery form(QString::fromUtf8(request.body).replace('+', ' '));
    QJsonObject report;
    for (const char* key : {"log_id", "email", "description"})
        report.insert(key, form.queryItemValue(key, QUrl::FullyDecoded));
    if (report.value("description").toString().trimmed().isEmpty())
        return HttpResponse::text(400, "A description is required\n");
    const QString stamp = QDateTime::currentDateTimeUtc().toString("yyyyMMdd-hhmmss-zzz");
    report.insert("received", stamp);
    QDir().mkpath(QDir(state.dataDir).filePath("reports"));
    QSaveFile file(QDir(state.dataDir).filePath("reports/" + stamp + ".json"));
    if (!file.open(QIODevice::WriteOnly) || file.write(QJsonDocument(report).toJson()) < 0 || !file.commit())
        return HttpResponse::text(500, "The report could not be stored\n");
    return HttpResponse::text(200, "Thank you: your report has been received.\n");
}
