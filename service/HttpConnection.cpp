#include "HttpConnection.h"

#include <QDebug>
#include <QTcpSocket>
#include <QUrl>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {
constexpr qsizetype maxHeadSize = 64 * 1024;
constexpr qint64 fileChunk = 256 * 1024;
} // namespace

HttpConnection::HttpConnection(QTcpSocket* socket, Handler handler, QObject* parent)
    : QObject(parent)
    , socket(socket)
    , handler(std::move(handler))
{
    socket->setParent(this);
    stallTimer.setSingleShot(true);
    connect(socket, &QTcpSocket::readyRead, this, &HttpConnection::onReadyRead);
    connect(socket, &QTcpSocket::bytesWritten, this, &HttpConnection::onBytesWritten);
    connect(socket, &QTcpSocket::disconnected, this, &QObject::deleteLater);
    // A stalled request is never answered: the connection just goes away.
    connect(&stallTimer, &QTimer::timeout, this, [this] {
        this->socket->abort();
        deleteLater();
    });
}

void HttpConnection::onReadyRead()
{
    buffer += socket->readAll();
    // Acknowledge at once: a client that sends its body with Nagle's algorithm
    // on (the toolkit's HTTP client does) would otherwise hold the last piece
    // of every request until the kernel's delayed ACK, 40 ms on loopback.
    // The kernel drops this flag again by itself, so it is set after each read.
    const int one = 1;
    setsockopt(int(socket->socketDescriptor()), IPPROTO_TCP, TCP_QUICKACK, &one, sizeof one);
    processBuffer();
}

void HttpConnection::processBuffer()
{
    while (!busy) {
        if (pendingBodyLength < 0) {
            const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
            if (headEnd < 0) {
                if (buffer.size() > maxHeadSize)
                    refuse(400, "Request head too large");
                return;
            }
            if (!parseHead(headEnd))
                return;
            buffer.remove(0, headEnd + 4);
        }
        if (buffer.size() < pendingBodyLength)
            return;
        pending.body = buffer.left(pendingBodyLength);
        buffer.remove(0, pendingBodyLength);
        pendingBodyLength = -1;
        const HttpRequest request = std::move(pending);
        pending = HttpRequest();
        respond(handler(request), request.isHead());
    }
}

bool HttpConnection::parseHead(qsizetype headEnd)
{
    const QList<QByteArray> lines = buffer.left(headEnd).split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    if (requestLine.size() != 3 || !requestLine[2].startsWith("HTTP/1.")) {
        qWarning().noquote() << "[SRV]: malformed request line:" << lines.value(0).left(200);
        refuse(400, "Malformed request line");
        return false;
    }
    pending = HttpRequest();
    pending.method = requestLine[0];
    pending.target = requestLine[1];
    pending.peer = socket->peerAddress();
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        const qsizetype colon = line.indexOf(':');
        if (colon > 0)
            pending.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
    }
    const QUrl url = QUrl::fromEncoded("http://host" + pending.target);
    pending.path = url.path(QUrl::FullyDecoded);
    pending.query = QUrlQuery(url);

    const QByteArray connection = pending.header("connection").toLower();
    closeAfter = connection == "close" || (requestLine[2] == "HTTP/1.0" && connection != "keep-alive");

    if (pending.hasHeader("transfer-encoding")) {
        refuse(501, "Chunked bodies are not taken; send Content-Length");
        return false;
    }
    bool ok = true;
    const QByteArray length = pending.header("content-length");
    pendingBodyLength = length.isEmpty() ? 0 : length.toLongLong(&ok);
    if (!ok || pendingBodyLength < 0) {
        refuse(400, "Bad Content-Length");
        return false;
    }
    if (pendingBodyLength > maxBodySize) {
        qWarning().noquote() << "[SRV]: body too large:" << pendingBodyLength << "for" << pending.target;
        refuse(413, "Body too large");
        return false;
    }
    return true;
}

void HttpConnection::refuse(int status, const QByteArray& why)
{
    closeAfter = true;
    pendingBodyLength = -1;
    buffer.clear();
    respond(HttpResponse::text(status, why + "\n"), false);
}

void HttpConnection::respond(const HttpResponse& response, bool headOnly)
{
    busy = true;
    if (response.stallMs > 0) {
        stallTimer.start(response.stallMs);
        return;
    }
    QByteArray out = "HTTP/1.1 " + QByteArray::number(response.status) + ' '
                     + (response.phrase.isEmpty() ? HttpResponse::standardPhrase(response.status) : response.phrase)
                     + "\r\n";
    for (const auto& h : response.headers)
        out += h.first + ": " + h.second + "\r\n";
    out += "Content-Length: " + QByteArray::number(response.contentLength()) + "\r\n";
    out += "Server: orlune-service\r\n";
    out += closeAfter ? "Connection: close\r\n\r\n" : "Connection: keep-alive\r\n\r\n";
    // A HEAD answer carries the length of the body it leaves out.
    const bool withBody = !headOnly;
    if (withBody)
        out += response.body;
    socket->write(out);
    if (withBody && !response.filePath.isEmpty() && response.fileLength > 0) {
        file = std::make_unique<QFile>(response.filePath);
        if (!file->open(QIODevice::ReadOnly) || !file->seek(response.fileOffset)) {
            qWarning().noquote() << "[SRV]: can't read" << response.filePath << file->errorString();
            file.reset();
            closeAfter = true; // the promised length can't be kept
            finishResponse();
            return;
        }
        fileRemaining = response.fileLength;
        pumpFile();
        return;
    }
    finishResponse();
}

void HttpConnection::pumpFile()
{
    while (file && fileRemaining > 0 && socket->bytesToWrite() < 2 * fileChunk) {
        const QByteArray chunk = file->read(qMin(fileChunk, fileRemaining));
        if (chunk.isEmpty()) {
            qWarning().noquote() << "[SRV]: file ended early:" << file->fileName();
            closeAfter = true;
            break;
        }
        fileRemaining -= chunk.size();
        socket->write(chunk);
    }
    if (!file || fileRemaining <= 0 || closeAfter) {
        file.reset();
        finishResponse();
    }
}

void HttpConnection::onBytesWritten()
{
    if (file)
        pumpFile();
    else if (busy && closeAfter && socket->bytesToWrite() == 0)
        socket->disconnectFromHost();
}

void HttpConnection::finishResponse()
{
    if (closeAfter) {
        if (socket->bytesToWrite() == 0)
            socket->disconnectFromHost();
        return; // stays busy: nothing more is read from a closing connection
    }
    busy = false;
    // A pipelined request may already wait in the buffer; take it up from the event loop.
    if (!buffer.isEmpty())
        QTimer::singleShot(0, this, &HttpConnection::processBuffer);
}
