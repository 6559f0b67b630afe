#include "JsonFile.h"

#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QJsonDocument>
#include <QSaveFile>

namespace JsonFile {

QJsonObject load(const QString& path)
{
    QFile file(path);
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning().noquote() << "[SRV]: can't read" << path << file.errorString();
        return {};
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
    if (!doc.isObject()) {
        // Keep the damaged file aside so that the next write can't destroy what it holds.
        const QString aside = path + ".damaged-" + QDateTime::currentDateTimeUtc().toString("yyyyMMddhhmmsszzz");
        file.close();
        QFile::rename(path, aside);
        qWarning().noquote() << "[SRV]: damaged JSON in" << path << error.errorString() << "- moved to" << aside
                             << "and starting empty";
        return {};
    }
    return doc.object();
}

bool save(const QString& path, const QJsonObject& object)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qWarning().noquote() << "[SRV]: can't write" << path << file.errorString();
        return false;
    }
    file.write(QJsonDocument(object).toJson(QJsonDocument::Indented));
    if (!file.commit()) {
        qWarning().noquote() << "[SRV]: can't commit" << path << file.errorString();
        return false;
    }
    return true;
}

} // namespace JsonFile
