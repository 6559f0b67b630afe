#include "ServiceProcess.h"

#include "Version.h"

#include <QCryptographicHash>
#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QTimer>
#include <QXmlStreamReader>

ServiceProcess::~ServiceProcess()
{
    kill();
}

bool ServiceProcess::start()
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(SERVICE_BIN, {"--data", dataDir, "--port", "0"});
    if (!process.waitForStarted(5000))
        return false;
    QByteArray out;
    while (!out.contains('\n') && process.waitForReadyRead(10000))
        out += process.readAllStandardOutput();
    const QRegularExpressionMatch m = QRegularExpression("listening: 127\\.0\\.0\\.1:(\\d+)").match(out);
    port = m.hasMatch() ? m.captured(1).toUShort() : 0;
    return port != 0;
}

void ServiceProcess::kill()
{
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished(5000);
    }
    network.clearConnectionCache();
}

QString ServiceProcess::url(const QString& pathAndQuery) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(port).arg(pathAndQuery);
}

ServiceProcess::Account ServiceProcess::createAccount(const QString& login, QString* output) const
{
    QProcess p;
    p.start(SERVICE_BIN, {"--data", dataDir, "--create-account", login});
    p.waitForFinished(10000);
    const QString text = QString::fromUtf8(p.readAllStandardOutput());
    if (output)
        *output = text;
    const QRegularExpression pattern("^login: (\\S+)\\ntoken: (\\S+)\\nsalt: (\\S+)\\n$");
    const QRegularExpressionMatch m = pattern.match(text);
    if (p.exitCode() != 0 || !m.hasMatch())
        return {};
    return {m.captured(1), m.captured(2), m.captured(3)};
}

ServiceProcess::Reply ServiceProcess::wait(QNetworkReply* reply)
{
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    loop.exec();
    Reply r;
    r.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    r.phrase = reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toByteArray();
    for (const auto& h : reply->rawHeaderPairs())
        r.headers.insert(h.first.toLower(), h.second);
    r.body = reply->readAll();
    r.error = reply->error();
    reply->deleteLater();
    return r;
}

ServiceProcess::Reply ServiceProcess::get(const QString& pathAndQuery, const QMap<QByteArray, QByteArray>& headers)
{
    QNetworkRequest request(QUrl(url(pathAndQuery)));
    for (auto it = headers.begin(); it != headers.end(); ++it)
        request.setRawHeader(it.key(), it.value());
    return wait(network.get(request));
}

ServiceProcess::Reply ServiceProcess::post(const QString& pathAndQuery, const QByteArray& body,
                                           const QByteArray& contentType)
{
    QNetworkRequest request(QUrl(url(pathAndQuery)));
    request.setHeader(QNetworkRequest::ContentTypeHeader, contentType);
    request.setRawHeader("User-Agent", "KVD Uploader/" ORLUNE_VERSION);
    return wait(network.post(request, body));
}

QUrlQuery ServiceProcess::credentials(const Account& account, const QString& machineId)
{
    // The program's signature: SHA-1 over rand, salt and machine id.
    const QString rand = "Rand" + QString::number(qHash(account.token) % 100000);
    const QByteArray hash =
        QCryptographicHash::hash((rand + account.salt + machineId).toUtf8(), QCryptographicHash::Sha1).toHex();
    QUrlQuery q;
    q.addQueryItem("machine_id", machineId);
    q.addQueryItem("user_token", account.token);
    q.addQueryItem("user_rand", rand);
    q.addQueryItem("user_hash", QString::fromLatin1(hash));
    return q;
}

QMap<QString, QString> ServiceProcess::api(const QString& action, const Account& account, const QUrlQuery& extra,
                                           Reply* raw)
{
    QUrlQuery q;
    q.addQueryItem("a", action);
    for (const auto& item : extra.queryItems(QUrl::FullyEncoded))
        q.addQueryItem(item.first, item.second);
    for (const auto& item : credentials(account).queryItems(QUrl::FullyEncoded))
        q.addQueryItem(item.first, item.second);
    q.addQueryItem("version", ORLUNE_VERSION);
    const Reply r = get("/?" + q.toString(QUrl::FullyEncoded));
    if (raw)
        *raw = r;
    return parseXml(r.body);
}

QMap<QString, QString> ServiceProcess::parseXml(const QByteArray& xml, bool* ok)
{
    QMap<QString, QString> map;
    QXmlStreamReader reader(xml);
    bool rootSeen = false;
    while (reader.readNextStartElement()) {
        if (!rootSeen) {
            rootSeen = reader.name() == QLatin1String("response");
            if (!rootSeen)
                break;
            continue;
        }
        map.insert(reader.name().toString(), reader.readElementText());
    }
    if (ok)
        *ok = rootSeen && !reader.hasError();
    return map;
}

bool ServiceProcess::arm(const QString& faultQuery)
{
    return post("/admin/fault?" + faultQuery, {}).status == 200;
}

QJsonArray ServiceProcess::files()
{
    return QJsonDocument::fromJson(get("/admin/files").body).array();
}

QJsonObject ServiceProcess::file(quint32 fileId)
{
    for (const QJsonValue& v : files())
        if (v.toObject().value("file_id").toVariant().toUInt() == fileId)
            return v.toObject();
    return {};
}

QJsonArray ServiceProcess::requests()
{
    return QJsonDocument::fromJson(get("/admin/requests").body).array();
}
