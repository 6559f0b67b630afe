#pragma once

#include "HttpRequest.h"
#include "HttpResponse.h"

#include <QFile>
#include <QObject>
#include <QTimer>
#include <functional>
#include <memory>

class QTcpSocket;

// One client connection: parses HTTP/1.1 requests with a Content-Length body,
// answers them one at a time through the handler, keeps the connection alive
// between requests, and streams file bodies without loading them whole.
class HttpConnection : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<HttpResponse(const HttpRequest&)>;

    HttpConnection(QTcpSocket* socket, Handler handler, QObject* parent = nullptr);

    // Largest request body taken; ranges of the client are at most 100 MiB.
    static constexpr qint64 maxBodySize = 128 * 1024 * 1024;

private slots:
    void onReadyRead();
    void onBytesWritten();

private:
    void processBuffer();
    bool parseHead(qsizetype headEnd);
    void respond(const HttpResponse& response, bool headOnly);
    void refuse(int status, const QByteArray& why);
    void pumpFile();
    void finishResponse();

    QTcpSocket* socket;
    Handler handler;
    QByteArray buffer;
    HttpRequest pending;
    qint64 pendingBodyLength = -1; // -1: still reading the head
    bool busy = false;             // a response is being written or stalled
    bool closeAfter = false;
    std::unique_ptr<QFile> file;
    qint64 fileRemaining = 0;
    QTimer stallTimer;
};
