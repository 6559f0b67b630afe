#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QString>
#include <QUrlQuery>

// One parsed HTTP/1.1 request as it came off the socket.
struct HttpRequest
{
    QByteArray method;                     // upper case as sent: GET, POST, HEAD ...
    QByteArray target;                     // raw request target, path and query as sent
    QString path;                          // decoded path without the query
    QUrlQuery query;                       // decoded query items in the order sent
    QHash<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
    QHostAddress peer;

    QByteArray header(const QByteArray& name) const { return headers.value(name.toLower()); }
    bool hasHeader(const QByteArray& name) const { return headers.contains(name.toLower()); }
    QString param(const QString& key) const { return query.queryItemValue(key, QUrl::FullyDecoded); }
    bool hasParam(const QString& key) const { return query.hasQueryItem(key); }
    bool isHead() const { return method == "HEAD"; }
    bool isRead() const { return method == "GET" || method == "HEAD"; }
    // The scheme, host and port the client used, for links that point back here.
    QString baseUrl() const;
};
