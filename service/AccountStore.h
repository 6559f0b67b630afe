#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <optional>

// One account of the service: the values a signed-in program holds
// (login, token as its password, salt) and a web password for the sign-in page.
struct Account
{
    QString login;
    QString token;
    QString salt;
    QString passwordHash; // empty: the account can't sign in on the page
    QString status = QStringLiteral("active");
};

// The accounts the service knows, kept in accounts.json in the data folder.
// The file is reread when another process (the account command) changed it.
class AccountStore
{
public:
    enum class Auth { Ok, UnknownToken, BadHash, Deleted };

    explicit AccountStore(const QString& dataDir);

    // Adds an account with a fresh token and salt; fails for a taken or malformed login.
    std::optional<Account> create(const QString& login, const QString& password, QString* error);
    std::optional<Account> signIn(const QString& login, const QString& password);
    // The token names the account; the hash must be SHA-1 of rand, salt and machine id.
    Auth authenticate(const QString& token, const QString& rand, const QString& hash, const QString& machineId,
                      Account* account);
    bool setStatus(const QString& login, const QString& status);

    static bool isValidLogin(const QString& login);
    static QString credentialHash(const QString& rand, const QString& salt, const QString& machineId);

private:
    void reloadIfChanged();
    bool save();
    static QString randomText(int length);
    static QString hashPassword(const QString& salt, const QString& password);
    static Account fromJson(const QJsonObject& o);
    static QJsonObject toJson(const Account& a);

    QString path;
    QDateTime loadedStamp;
    qint64 loadedSize = -1;
    QList<Account> accounts;
};
