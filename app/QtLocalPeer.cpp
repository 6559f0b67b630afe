#include "QtLocalPeer.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDebug>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QRegularExpression>
#include <QThread>

#include <unistd.h>

const char* QtLocalPeer::ack = "ack";

namespace {
// Two users on one machine each run their own copy: the user id keeps their
// socket and lock names apart.
QString sessionSuffix()
{
    return QLatin1Char('-') + QString::number(static_cast<qulonglong>(::getuid()), 16);
}

constexpr quint32 maxMessageSize = 1 << 20;
} // namespace

QtLocalPeer::QtLocalPeer(QObject* parent, const QString& appId)
    : QObject(parent)
    , id(appId)
{
    // The same program under another spelling of its path is the same program.
    if (id.isEmpty())
        id = QCoreApplication::applicationFilePath().toLower();

    QString prefix = id.mid(id.lastIndexOf(QLatin1Char('/')) + 1);
    prefix.remove(QRegularExpression(QStringLiteral("[^a-zA-Z]")));
    prefix.truncate(6);

    const QByteArray idc = id.toUtf8();
    const quint16 idNum = qChecksum(QByteArrayView(idc));
    socketName = QLatin1String("qtsingleapp-") + prefix + QLatin1Char('-') + QString::number(idNum, 16);
    socketName += sessionSuffix();

    server = new QLocalServer(this);
    lockFile.setFileName(QDir::tempPath() + QLatin1Char('/') + socketName + QLatin1String("-lockfile"));
    lockFile.open(QIODevice::ReadWrite);
}

bool QtLocalPeer::isClient()
{
    if (lockFile.isLocked())
        return false;

    if (!lockFile.lock(QtLockedFile::WriteLock, false))
        return true;

    // Holding the lock means no live copy listens: a socket file still there
    // was left by one that died, and would make listen fail.
    QLocalServer::removeServer(socketName);
    bool res = server->listen(socketName);
    if (!res)
        qWarning("QtSingleCoreApplication: listen on local socket failed, %s", qPrintable(server->errorString()));
    QObject::connect(server, &QLocalServer::newConnection, this, &QtLocalPeer::receiveConnection);
    return false;
}

bool QtLocalPeer::sendMessage(const QString& message, int timeout)
{
    if (!isClient())
        return false;

    QLocalSocket socket;
    bool connOk = false;
    for (int i = 0; i < 2; i++) {
        socket.connectToServer(socketName);
        connOk = socket.waitForConnected(timeout / 2);
        if (connOk || i)
            break;
        QThread::msleep(250);
    }
    if (!connOk)
        return false;

    QByteArray uMsg(message.toUtf8());
    QDataStream ds(&socket);
    ds.writeBytes(uMsg.constData(), uMsg.size());
    bool res = socket.waitForBytesWritten(timeout);
    if (res) {
        res &= socket.waitForReadyRead(timeout);
        if (res)
            res &= (socket.read(qstrlen(ack)) == ack);
    }
    return res;
}

void QtLocalPeer::receiveConnection()
{
    QLocalSocket* socket = server->nextPendingConnection();
    if (!socket)
        return;

    while (socket->bytesAvailable() < static_cast<qint64>(sizeof(quint32))) {
        if (!socket->waitForReadyRead(30000))
            break;
    }
    if (socket->bytesAvailable() < static_cast<qint64>(sizeof(quint32))) {
        qWarning("QtLocalPeer: Message reception failed %s", qPrintable(socket->errorString()));
        delete socket;
        return;
    }

    QDataStream ds(socket);
    QByteArray uMsg;
    quint32 remaining;
    ds >> remaining;
    // A peer announcing more than any real message holds is not one of ours.
    if (remaining > maxMessageSize) {
        qWarning("QtLocalPeer: Message reception failed %s", "announced length too large");
        delete socket;
        return;
    }
    uMsg.resize(remaining);
    int got = 0;
    char* uMsgBuf = uMsg.data();
    do {
        got = ds.readRawData(uMsgBuf, remaining);
        if (got < 0)
            break;
        remaining -= got;
        uMsgBuf += got;
    } while (remaining && got >= 0 && socket->waitForReadyRead(2000));
    if (got < 0 || remaining) {
        qWarning("QtLocalPeer: Message reception failed %s", qPrintable(socket->errorString()));
        delete socket;
        return;
    }

    socket->write(ack, qstrlen(ack));
    socket->waitForBytesWritten(1000);
    socket->waitForDisconnected(1000);
    delete socket;
    emit messageReceived(QString::fromUtf8(uMsg));
}
