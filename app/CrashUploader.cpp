#include "CrashUploader.h"

#include <QCoreApplication>
#include <QDebug>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

CrashUploader::CrashUploader(const QUrl& endpoint)
    : m_endpoint(endpoint)
{
}

void CrashUploader::postLater(const QByteArray& eventJson)
{
    QMetaObject::invokeMethod(
        this,
        [this, eventJson] {
            m_queue.append(eventJson);
            flush();
        },
        Qt::QueuedConnection);
}

void CrashUploader::flush()
{
    // Reporting opens before the application object exists; the network needs one.
    if (!QCoreApplication::instance()) {
        QTimer::singleShot(1000, this, &CrashUploader::flush);
        return;
    }
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    while (!m_queue.isEmpty()) {
        QNetworkRequest request(m_endpoint);
        request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
        request.setTransferTimeout(10000);
        QNetworkReply* reply = m_network->post(request, m_queue.takeFirst());
        connect(reply, &QNetworkReply::finished, reply, [reply] {
            if (reply->error() != QNetworkReply::NoError)
                qWarning() << "[CrashReport]: event upload failed:" << reply->errorString();
            reply->deleteLater();
        });
    }
}
