#pragma once

#include "HttpConnection.h"

#include <QObject>
#include <QTcpServer>

// Listens on the loopback interface only and gives each accepted socket its
// own HttpConnection that answers through the handler.
class HttpServer : public QObject
{
    Q_OBJECT

public:
    explicit HttpServer(HttpConnection::Handler handler, QObject* parent = nullptr);

    // Port 0 takes any free port; port() then tells which.
    bool listen(quint16 port);
    quint16 port() const { return server.serverPort(); }
    QString errorString() const { return server.errorString(); }

private:
    void acceptPending();

    QTcpServer server;
    HttpConnection::Handler handler;
};
