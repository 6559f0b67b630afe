#include "HttpServer.h"

#include <QTcpSocket>

HttpServer::HttpServer(HttpConnection::Handler handler, QObject* parent)
    : QObject(parent)
    , handler(std::move(handler))
{
    connect(&server, &QTcpServer::newConnection, this, &HttpServer::acceptPending);
}

bool HttpServer::listen(quint16 port)
{
    return server.listen(QHostAddress::LocalHost, port);
}

void HttpServer::acceptPending()
{
    while (QTcpSocket* socket = server.nextPendingConnection())
        new HttpConnection(socket, handler, this);
}
