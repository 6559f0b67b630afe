#include "ServiceReply.h"

#include <QDomDocument>
#include <QDomElement>

ServiceReply ServiceReply::parse(const QByteArray& body)
{
    ServiceReply reply;
    QDomDocument doc;
    QString error;
    doc.setContent(body, &error);
    const QDomElement root = doc.documentElement();
    reply.good = error.isEmpty() && root.tagName() == QLatin1String("response");
    if (!reply.good)
        return reply;
    for (QDomElement child = root.firstChildElement(); !child.isNull(); child = child.nextSiblingElement())
        reply.entries.append({child.tagName(), child.text()});
    return reply;
}

QMap<QString, QString> ServiceReply::map() const
{
    QMap<QString, QString> out;
    for (const auto& entry : entries)
        out.insert(entry.first, entry.second);
    return out;
}

QString ServiceReply::logValue(const QString& name, const QString& value)
{
    if (name == QLatin1String("message") && value.size() > 256)
        return QStringLiteral("...");
    return value;
}
