#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

// What a handler answers: a status with its own reason phrase (some clients
// act on the phrase), headers, and a body held in memory or a slice of a file
// that the connection streams. A stall answers nothing for a while and then
// drops the connection.
struct HttpResponse
{
    int status = 200;
    QByteArray phrase;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    QString filePath; // when set, the body is this file's bytes from fileOffset
    qint64 fileOffset = 0;
    qint64 fileLength = 0;
    int stallMs = 0; // above 0: no answer, connection closed after this long

    void setHeader(const QByteArray& name, const QByteArray& value);
    QByteArray headerValue(const QByteArray& name) const;
    qint64 contentLength() const { return filePath.isEmpty() ? body.size() : fileLength; }

    static HttpResponse text(int status, const QByteArray& body,
                             const QByteArray& contentType = "text/plain; charset=utf-8");
    static HttpResponse json(int status, const QByteArray& body);
    static HttpResponse stall(int ms);
    static QByteArray standardPhrase(int status);
};
