#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QPair>
#include <QString>

// An XML answer of the service API: root element `response`, one child
// element per value.
struct ServiceReply
{
    // True when the body parsed without error and its root is `response`.
    bool good = false;
    // The children in document order: element name and text.
    QList<QPair<QString, QString>> entries;

    static ServiceReply parse(const QByteArray& body);
    QMap<QString, QString> map() const;
    // How a value appears in the log: a `message` longer than 256 characters is written as "...".
    static QString logValue(const QString& name, const QString& value);
};
