#include "TinyProxy.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <unistd.h>

namespace {
// Runs a command with a private copy of the mount table, so that what it
// mounts stays invisible to every other process.
QStringList inPrivateMounts(const QString& script, const QStringList& args)
{
    return QStringList{"--mount", "--propagation", "private", "sh", "-c", script, "sh"} + args;
}
} // namespace

QString TinyProxy::privateHostsUnavailable()
{
    if (geteuid() != 0)
        return QStringLiteral("a private hosts file needs root for its mount namespace");
    QProcess probe;
    probe.setProcessChannelMode(QProcess::MergedChannels);
    probe.start(QStringLiteral("unshare"), inPrivateMounts(QStringLiteral("mount --bind /etc/hosts /etc/hosts"), {}));
    if (probe.waitForFinished(10000) && probe.exitStatus() == QProcess::NormalExit && probe.exitCode() == 0)
        return {};
    const QString output = QString::fromLocal8Bit(probe.readAll()).trimmed();
    return QStringLiteral("unshare can't bind a file in a private mount namespace: ")
           + (output.isEmpty() ? probe.errorString() : output);
}

TinyProxy::~TinyProxy()
{
    stop();
}

bool TinyProxy::start(const QString& login, const QString& password)
{
    stop();
    QDir().mkpath(dir);
    {
        // A port nobody holds right now; tinyproxy binds it a moment later.
        QTcpServer probe;
        if (!probe.listen(QHostAddress::LocalHost))
            return false;
        listenPort = probe.serverPort();
    }
    QFile::remove(dir + "/tinyproxy.log");
    QString config = QStringLiteral("Port %1\nListen 127.0.0.1\nTimeout 30\nLogFile \"%2/tinyproxy.log\"\n"
                                    "LogLevel Info\nMaxClients 20\nAllow 127.0.0.1\n")
                         .arg(listenPort)
                         .arg(dir);
    if (!login.isEmpty())
        config += QStringLiteral("BasicAuth %1 %2\n").arg(login, password);
    QFile file(dir + "/tinyproxy.conf");
    if (!file.open(QIODevice::WriteOnly) || file.write(config.toUtf8()) < 0)
        return false;
    file.close();
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    if (privateHosts.isEmpty()) {
        process.start(QStringLiteral("tinyproxy"), {"-d", "-c", file.fileName()});
    } else {
        QFile hosts(dir + "/hosts");
        if (!hosts.open(QIODevice::WriteOnly)
            || hosts.write(("127.0.0.1 localhost\n" + privateHosts + "\n").toUtf8()) < 0)
            return false;
        hosts.close();
        process.start(QStringLiteral("unshare"),
                      inPrivateMounts(QStringLiteral("mount --bind \"$1\" /etc/hosts && exec tinyproxy -d -c \"$2\""),
                                      {hosts.fileName(), file.fileName()}));
    }
    if (!process.waitForStarted(5000))
        return false;
    const QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired() && process.state() == QProcess::Running) {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, listenPort);
        if (socket.waitForConnected(200))
            return true;
        QThread::msleep(50);
    }
    return false;
}

void TinyProxy::stop()
{
    if (process.state() != QProcess::NotRunning) {
        process.terminate();
        if (!process.waitForFinished(3000)) {
            process.kill();
            process.waitForFinished(3000);
        }
    }
}

QString TinyProxy::log() const
{
    QFile file(dir + "/tinyproxy.log");
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QStringList TinyProxy::requests() const
{
    QStringList lines;
    static const QRegularExpression request("Request \\(file descriptor \\d+\\): (.*)$",
                                            QRegularExpression::MultilineOption);
    for (auto it = request.globalMatch(log()); it.hasNext();)
        lines << it.next().captured(1);
    return lines;
}
