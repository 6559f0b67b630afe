#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QUrl>

class QNetworkAccessManager;

// Posts crash-report events to the configured endpoint from a thread of its
// own, so that no caller waits on the network. Best effort: a failed post is
// logged and the event file stays on disk.
class CrashUploader : public QObject
{
    Q_OBJECT
public:
    explicit CrashUploader(const QUrl& endpoint);
    // Thread-safe: queues the event to the uploader's thread.
    void postLater(const QByteArray& eventJson);

private:
    void flush();

    QUrl m_endpoint;
    QList<QByteArray> m_queue;
    QNetworkAccessManager* m_network = nullptr;
};
