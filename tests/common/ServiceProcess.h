#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QString>
#include <QUrlQuery>

// The service executable run as a child process on a free loopback port, with
// a blocking HTTP client for the test's requests.
class ServiceProcess
{
public:
    struct Account
    {
        QString login, token, salt;
    };
    struct Reply
    {
        int status = 0; // 0: no HTTP answer at all
        QByteArray phrase;
        QHash<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
        int error = 0;
        bool has(const QByteArray& name) const { return headers.contains(name.toLower()); }
        QByteArray header(const QByteArray& name) const { return headers.value(name.toLower()); }
    };

    explicit ServiceProcess(const QString& dataDir)
        : dataDir(dataDir)
    {
    }
    ~ServiceProcess();

    bool start();
    void kill();
    QString url(const QString& pathAndQuery) const;
    // Runs the account command; an empty login comes back when it fails.
    Account createAccount(const QString& login, QString* output = nullptr) const;

    Reply get(const QString& pathAndQuery, const QMap<QByteArray, QByteArray>& headers = {});
    Reply post(const QString& pathAndQuery, const QByteArray& body,
               const QByteArray& contentType = "application/octet-stream");
    // The service API request of the program, signed for this account and machine.
    QMap<QString, QString> api(const QString& action, const Account& account, const QUrlQuery& extra = {},
                               Reply* raw = nullptr);
    static QMap<QString, QString> parseXml(const QByteArray& xml, bool* ok = nullptr);
    static QUrlQuery credentials(const Account& account, const QString& machineId = "test-machine");

    // The admin side: a fault switched on (false when refused), the stored
    // files, one of them by id (empty when unknown), the latest requests.
    bool arm(const QString& faultQuery);
    QJsonArray files();
    QJsonObject file(quint32 fileId);
    QJsonArray requests();

    const QString dataDir;

private:
    Reply wait(class QNetworkReply* reply);

    QProcess process;
    quint16 port = 0;
    QNetworkAccessManager network;
};
