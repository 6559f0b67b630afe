// The updater's log upload: the newest logs of the data folder, zipped and
// posted to the web host for the support team.
#include "Endpoints.h"
#include "FvUpdater.h"
#include "LogArchive.h"
#include "LogSweep.h"
#include "MachineProfile.h"
#include "Version.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QStandardPaths>
#include <QSysInfo>
#include <QUrlQuery>

namespace {
constexpr int kLogsSent = 3;
} // namespace

QNetworkAccessManager* FvUpdater::network()
{
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    return m_network;
}

QString FvUpdater::logArchivePrefix()
{
    if (m_hwid.isEmpty())
        m_hwid = machineId();
    return QStringLiteral("orlune-" ORLUNE_VERSION "_") + m_hwid + QLatin1Char('_');
}

bool FvUpdater::uploadLogFiles(QString userId, QString userToken, QString userSalt, QString userRand, QString userHash)
{
    Q_UNUSED(userSalt) // the hash already holds it
    if (m_logReply) {
        qDebug() << "[FW]: a log upload is still under way";
        return false;
    }
    m_logFolder = QStandardPaths::standardLocations(QStandardPaths::AppLocalDataLocation).value(0);
    const QFileInfoList logs = LogArchive::newest(unprotectedLogFiles(m_logFolder), kLogsSent);
    QStringList names, dates;
    for (const QFileInfo& log : logs) {
        names << log.fileName();
        dates << log.lastModified().toString(Qt::ISODate);
    }
    qDebug() << "[FW]: logs:" << names;
    qDebug() << "[FW]: dates:" << dates;
    if (logs.isEmpty())
        return false;

    const QString name = logArchivePrefix() + QDateTime::currentDateTime().toString("yyyy.MM.dd_hh.mm.ss");
    qDebug() << "[FW]: Packign logs to " << name << ".zip...";
    const QString zipPath = QDir(m_logFolder).filePath(name + ".zip");
    if (!LogArchive::write(zipPath, logs)) {
        QFile::remove(zipPath);
        return false;
    }
    m_logArchive.setFileName(zipPath);
    if (!m_logArchive.open(QIODevice::ReadOnly)) {
        qDebug() << "[FW]: can't open" << zipPath << m_logArchive.errorString();
        removeLogArchives();
        return false;
    }

    const QString length = QString::number(m_logArchive.size());
    QUrlQuery query;
    query.addQueryItem("file_name", name + ".zip");
    query.addQueryItem("length", length);
    query.addQueryItem("hwid", m_hwid);
    query.addQueryItem("user_id", userId);
    query.addQueryItem("user_token", userToken);
    query.addQueryItem("user_rand", userRand);
    query.addQueryItem("user_hash", userHash);
    query.addQueryItem("source", ORLUNE_VERSION);
    query.addQueryItem("bits", QSysInfo::currentCpuArchitecture().contains("64") ? "64" : "32");
    query.addQueryItem("os", "linux");
    QUrl url(Endpoints::webUrl() + QStringLiteral("download/uploadlogs/"));
    url.setQuery(query);

    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, "application/octet-stream");
    request.setHeader(QNetworkRequest::ContentLengthHeader, m_logArchive.size());
    request.setRawHeader("User-Agent", QStringLiteral("KVD Uploader/%1").arg(ORLUNE_VERSION).toUtf8());
    request.setRawHeader("Accept-Encoding", "identity");
    m_logReply = network()->post(request, &m_logArchive);
    connect(m_logReply, &QNetworkReply::uploadProgress, this, &FvUpdater::LogUploadProgress);
    connect(m_logReply, &QNetworkReply::finished, this, &FvUpdater::logSlotFinished);
    connect(m_logReply, &QNetworkReply::readyRead, this, &FvUpdater::logSlotReadyRead);
    connect(m_logReply, &QNetworkReply::errorOccurred, this, &FvUpdater::logSlotError);
    connect(m_logReply, &QNetworkReply::sslErrors, this, &FvUpdater::logSlotSslErrors);
    return true;
}

void FvUpdater::LogUploadProgress(qlonglong v1, qlonglong v2)
{
    if (v2 > 0) // the reply's last report is 0 of 0
        qDebug() << "[FW]: log upload" << v1 << "of" << v2;
}

void FvUpdater::logSlotReadyRead()
{
    // The answer's body says nothing that is needed; the headers tell.
    if (m_logReply)
        m_logReply->readAll();
}

void FvUpdater::logSlotError(QNetworkReply::NetworkError e)
{
    qDebug() << "[FW]: log upload error:" << e;
}

void FvUpdater::logSlotSslErrors(QList<QSslError> e)
{
    for (const QSslError& error : e)
        qDebug() << "[FW]: log upload SSL error:" << error.errorString();
}

void FvUpdater::logSlotFinished()
{
    QNetworkReply* reply = m_logReply;
    if (!reply)
        return;
    m_logReply = nullptr;
    reply->deleteLater();
    m_logArchive.close();
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        qDebug() << "[FW]: bad reply";
    } else if (status.toInt() == 200 && reply->hasRawHeader("X-KVD-Uploaded")) {
        const QString stored = QString::fromUtf8(reply->rawHeader("X-KVD-Uploaded"));
        qDebug() << "[FW]: logs uploaded as" << stored;
        emit logUploadFinished(stored);
    } else {
        qDebug() << "[FW]: log upload failed, status" << status.toInt();
    }
    removeLogArchives();
}

void FvUpdater::removeLogArchives()
{
    QDir folder(m_logFolder);
    for (const QString& name : folder.entryList({logArchivePrefix() + "*.zip"}, QDir::Files)) {
        qDebug() << "[FW]: removing log:" << name;
        folder.remove(name);
    }
}
