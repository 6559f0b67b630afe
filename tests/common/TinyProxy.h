#pragma once

#include <QProcess>
#include <QString>

// A tinyproxy HTTP proxy of the test's own on a free loopback port, in the
// foreground, with its configuration and log in `dir`. With a login it asks
// for basic proxy authentication.
class TinyProxy
{
public:
    explicit TinyProxy(const QString& dir)
        : dir(dir)
    {
    }
    ~TinyProxy();

    // False when the proxy isn't accepting connections within 10 s.
    bool start(const QString& login = {}, const QString& password = {});
    void stop();
    quint16 port() const { return listenPort; }
    // The request lines it has forwarded so far ("GET http://host:port/path HTTP/1.1").
    QStringList requests() const;
    QString log() const;

    const QString dir;

private:
    QProcess process;
    quint16 listenPort = 0;
};
