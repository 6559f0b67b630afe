#pragma once

#include <QProcess>
#include <QString>

// A tinyproxy HTTP proxy of the test's own on a free loopback port, in the
// foreground, with its configuration and log in `dir`. With a login it asks
// for basic proxy authentication. Host names of its own ("127.0.0.1 name"
// lines) resolve for the proxy alone: it then runs in a mount namespace of its
// own, with a hosts file of the test's bound over /etc/hosts.
class TinyProxy
{
public:
    explicit TinyProxy(const QString& dir)
        : dir(dir)
    {
    }
    ~TinyProxy();

    // Lines for the proxy's private hosts file; takes effect at the next start.
    void setPrivateHosts(const QString& lines) { privateHosts = lines; }
    // Why this machine can't give a process a hosts file of its own (it takes
    // root and unshare); empty when it can.
    static QString privateHostsUnavailable();

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
    QString privateHosts;
};
