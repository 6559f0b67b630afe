#include "AccountPage.h"

#include "HttpRequest.h"
#include "ServiceState.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

bool AccountPage::handles(const QString& path) const
{
    return path == "/account" || path == "/account/" || path.startsWith("/account/") || path == "/qwebchannel.js";
}

HttpResponse AccountPage::handle(const HttpRequest& request)
{
    if (request.path == "/account/signin" || request.path == "/account/signup") {
        if (request.method != "POST")
            return HttpResponse::text(405, "Use POST\n");
        return submit(request, request.path.endsWith("signup"));
    }
    if (!request.isRead())
        return HttpResponse::text(405, "Use GET\n");
    // The channel script is part of the toolkit's web channel library.
    const QString resource = request.path == "/qwebchannel.js" ? ":/qtwebchannel/qwebchannel.js" : ":/account.html";
    QFile file(resource);
    if (!file.open(QIODevice::ReadOnly))
        return HttpResponse::text(404, "Not found\n");
    return HttpResponse::text(200, file.readAll(),
                              resource.endsWith(".js") ? "application/javascript" : "text/html; charset=utf-8");
}

HttpResponse AccountPage::submit(const HttpRequest& request, bool signUp)
{
    const QUrlQuery form(QString::fromUtf8(request.body).replace('+', ' '));
    const QString login = form.queryItemValue("login", QUrl::FullyDecoded).trimmed();
    const QString password = form.queryItemValue("password", QUrl::FullyDecoded);
    QJsonObject answer;
    std::optional<Account> account;
    QString error;
    if (password.isEmpty())
        error = QStringLiteral("Password is required");
    else if (signUp)
        account = state.accounts.create(login, password, &error);
    else if (!(account = state.accounts.signIn(login, password)))
        error = QStringLiteral("Wrong login or password");
    if (account)
        answer = {{"result", "OK"}, {"login", account->login}, {"token", account->token}, {"salt", account->salt}};
    else
        answer = {{"result", "ERROR"}, {"message", error}};
    return HttpResponse::json(account ? 200 : 400, QJsonDocument(answer).toJson(QJsonDocument::Compact));
}
