#include "AccountStore.h"

#include "JsonFile.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QRandomGenerator>
#include <QRegularExpression>

AccountStore::AccountStore(const QString& dataDir)
    : path(QDir(dataDir).filePath("accounts.json"))
{
    reloadIfChanged();
}

void AccountStore::reloadIfChanged()
{
    const QFileInfo info(path);
    const QDateTime stamp = info.exists() ? info.lastModified() : QDateTime();
    const qint64 size = info.exists() ? info.size() : -1;
    if (stamp == loadedStamp && size == loadedSize)
        return;
    loadedStamp = stamp;
    loadedSize = size;
    accounts.clear();
    const QJsonArray list = JsonFile::load(path).value("accounts").toArray();
    for (const auto& v : list)
        accounts.append(fromJson(v.toObject()));
}

bool AccountStore::save()
{
    QJsonArray list;
    for (const Account& a : accounts)
        list.append(toJson(a));
    const bool ok = JsonFile::save(path, QJsonObject{{"accounts", list}});
    const QFileInfo info(path);
    loadedStamp = info.lastModified();
    loadedSize = info.size();
    return ok;
}

bool AccountStore::isValidLogin(const QString& login)
{
    static const QRegularExpression pattern("^[A-Za-z0-9._@+-]{1,64}$");
    return pattern.match(login).hasMatch();
}

std::optional<Account> AccountStore::create(const QString& login, const QString& password, QString* error)
{
    reloadIfChanged();
    if (!isValidLogin(login)) {
        *error = QStringLiteral("Login must be 1 to 64 letters, digits or . _ @ + -");
        return std::nullopt;
    }
    for (const Account& a : accounts) {
        if (a.login.compare(login, Qt::CaseInsensitive) == 0) {
            *error = QStringLiteral("Login is taken");
            return std::nullopt;
        }
    }
    Account account;
    account.login = login;
    account.token = randomText(40);
    account.salt = randomText(16);
    if (!password.isEmpty())
        account.passwordHash = hashPassword(account.salt, password);
    accounts.append(account);
    if (!save()) {
        accounts.removeLast();
        *error = QStringLiteral("Account store can't be written");
        return std::nullopt;
    }
    qInfo().noquote() << "[ACC]: created account" << login;
    return account;
}

std::optional<Account> AccountStore::signIn(const QString& login, const QString& password)
{
    reloadIfChanged();
    for (const Account& a : accounts) {
        if (a.login.compare(login, Qt::CaseInsensitive) == 0 && !a.passwordHash.isEmpty()
            && a.passwordHash == hashPassword(a.salt, password) && a.status != "deleted")
            return a;
    }
    qInfo().noquote() << "[ACC]: sign-in refused for" << login;
    return std::nullopt;
}

AccountStore::Auth AccountStore::authenticate(const QString& token, const QString& rand, const QString& hash,
                                              const QString& machineId, Account* account)
{
    reloadIfChanged();
    for (const Account& a : accounts) {
        if (token.isEmpty() || a.token != token)
            continue;
        *account = a;
        if (a.status == "deleted")
            return Auth::Deleted;
        if (hash.compare(credentialHash(rand, a.salt, machineId), Qt::CaseInsensitive) != 0) {
            qInfo().noquote() << "[ACC]: bad credential hash for" << a.login << "machine" << machineId;
            return Auth::BadHash;
        }
        return Auth::Ok;
    }
    qInfo().noquote() << "[ACC]: unknown token" << token.left(8);
    return Auth::UnknownToken;
}

bool AccountStore::setStatus(const QString& login, const QString& status)
{
    reloadIfChanged();
    for (Account& a : accounts) {
        if (a.login == login) {
            a.status = status;
            return save();
        }
    }
    return false;
}

QString AccountStore::credentialHash(const QString& rand, const QString& salt, const QString& machineId)
{
    const QByteArray text = QStringLiteral("%1%2%3").arg(rand, salt, machineId).toUtf8();
    return QString::fromLatin1(QCryptographicHash::hash(text, QCryptographicHash::Sha1).toHex());
}

QString AccountStore::randomText(int length)
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    QString out;
    for (int i = 0; i < length; ++i)
        out += QChar::fromLatin1(alphabet[QRandomGenerator::system()->bounded(62)]);
    return out;
}

QString AccountStore::hashPassword(const QString& salt, const QString& password)
{
    return QString::fromLatin1(
        QCryptographicHash::hash((salt + ':' + password).toUtf8(), QCryptographicHash::Sha256).toHex());
}

Account AccountStore::fromJson(const QJsonObject& o)
{
    Account a;
    a.login = o.value("login").toString();
    a.token = o.value("token").toString();
    a.salt = o.value("salt").toString();
    a.passwordHash = o.value("password_hash").toString();
    a.status = o.value("status").toString("active");
    return a;
}

QJsonObject AccountStore::toJson(const Account& a)
{
    return {{"login", a.login},
            {"token", a.token},
            {"salt", a.salt},
            {"password_hash", a.passwordHash},
            {"status", a.status}};
}
