#include "UploadCredentials.h"

#include <QCryptographicHash>
#include <QRandomGenerator64>

namespace UploadCredentials {

QString randomString()
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    QString out;
    out.reserve(32);
    for (int i = 0; i < 32; ++i) {
        const quint32 low = static_cast<quint32>(QRandomGenerator64::global()->generate64());
        out.append(QLatin1Char(alphabet[low % 62]));
    }
    return out;
}

QString userHash(const QString& rand, const QString& salt, const QString& machineId)
{
    const QString line = QString("%1%2%3").arg(rand, salt, machineId);
    return QString::fromLatin1(QCryptographicHash::hash(line.toUtf8(), QCryptographicHash::Sha1).toHex());
}

} // namespace UploadCredentials
