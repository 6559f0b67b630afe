#pragma once

#include "QtLockedFile.h"

#include <QObject>
#include <QString>

class QLocalServer;

// One end of the per-user channel between copies of the program. The copy
// that holds the lock file listens on a local socket; any later copy is a
// client and can hand it a text message.
class QtLocalPeer : public QObject
{
    Q_OBJECT

public:
    explicit QtLocalPeer(QObject* parent = nullptr, const QString& appId = QString());

    // False for the copy that owns the channel (taking it on the first call),
    // true when another live copy owns it.
    bool isClient();
    // Delivers the message to the owning copy; true once it has acknowledged.
    bool sendMessage(const QString& message, int timeout);
    QString applicationId() const { return id; }
    QString serverName() const { return socketName; }
    QString lockFileName() const { return lockFile.fileName(); }

    // The text the receiver answers with once a message has arrived whole.
    static const char* ack;

Q_SIGNALS:
    void messageReceived(const QString& message);

protected Q_SLOTS:
    void receiveConnection();

protected:
    QString id;
    QString socketName;
    QLocalServer* server = nullptr;
    QtLockedFile lockFile;
};
