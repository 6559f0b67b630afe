#include "UploadQueue.h"

#include "ISettingsReader.h"
#include "ISettingsWriter.h"
#include "MachineProfile.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QRandomGenerator64>

UploadQueue* UploadQueue::instance()
{
    // Created on first use and handed to the controller, which becomes its
    // parent and releases it with deleteLater at teardown.
    static UploadQueue* queue = new UploadQueue();
    return queue;
}

UploadQueue::UploadQueue()
{
    uploadTimer.setParent(this);
    serviceTimer.setParent(this);
    uploadTimer.setSingleShot(true);
    serviceTimer.setSingleShot(true);
}

void UploadQueue::init(ISettingsReader* reader, ISettingsWriter* writer)
{
    if (!reader || !writer)
        qFatal("UploadQueue::init requires valid ISettingsReader and ISettingsWriter pointers.");
    settingsReader = reader;
    settingsWriter = writer;
}

QString UploadQueue::randomString()
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    QString out;
    out.reserve(32);
    for (int i = 0; i < 32; ++i) {
        const quint32 low = static_cast<quint32>(QRandomGenerator64::global()->generate64());
        out.append(QLatin1Char(alphabet[low % 62]));
    }
    return out;
}

void UploadQueue::setUserCredentials(QString login, QString password, QString salt)
{
    userHash = password;
    userId = login;
    if (userHash.isEmpty()) {
        qDebug() << "[UP]: Unregistered user";
        userSalt.clear(); // userRand keeps its earlier value
    } else {
        userRand = randomString();
        if (machine_id.isEmpty())
            machine_id = machineId();
        const QString line = QString("%1%2%3").arg(userRand, salt, machine_id);
        userSalt = QString::fromLatin1(
            QCryptographicHash::hash(line.toUtf8(), QCryptographicHash::Sha1).toHex());
    }
    qDebug() << "[UP]:" << "setUserCredentials" << ", userHash: " << userHash << ", userId: " << userId
             << ", userRand: " << userRand << ", userSalt: " << userSalt;
}

void UploadQueue::setFilesPath(const QString& path)
{
    files_path = path;
}

void UploadQueue::run()
{
    segment_rowid = -1;
    is_running = 1;
    file_id = 0;
    segments_done = 0;
    if (debug_level > 2)
        qDebug() << "[UP]: run, nothing to upload yet";
    finishRunLater(1);
}

void UploadQueue::finishRunLater(int ret)
{
    // Reported from the event loop, so that the caller's tick has returned
    // before the controller re-arms its timer.
    QMetaObject::invokeMethod(
        this,
        [this, ret]() {
            is_running = 0;
            file_id = 0;
            emit uploadFinished(ret);
        },
        Qt::QueuedConnection);
}
