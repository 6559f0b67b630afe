#include "ServiceQuery.h"

#include "Version.h"

#include <QNetworkRequest>
#include <QSysInfo>

namespace ServiceQuery {

const char* const version = ORLUNE_VERSION;

QString bits()
{
    return QSysInfo::currentCpuArchitecture().contains("64") ? QStringLiteral("64") : QStringLiteral("32");
}

QString os()
{
    return QStringLiteral("linux");
}

QByteArray userAgent()
{
    return QString("KVD Uploader/%1").arg(QLatin1String(version)).toLatin1();
}

void setCommonHeaders(QNetworkRequest& request)
{
    request.setRawHeader("User-Agent", userAgent());
    request.setRawHeader("Accept-Encoding", "identity");
}

namespace {

void addSignature(QUrlQuery& q, const ServiceIdentity& id)
{
    q.addQueryItem("machine_id", id.machineId);
    q.addQueryItem("user_token", id.userToken);
    q.addQueryItem("user_rand", id.userRand);
    q.addQueryItem("user_hash", id.userHash);
}

} // namespace

QUrlQuery account(const QString& action, const ServiceIdentity& id)
{
    QUrlQuery q;
    q.addQueryItem("a", action);
    addSignature(q, id);
    q.addQueryItem("version", QLatin1String(version));
    q.addQueryItem("bits", bits());
    q.addQueryItem("os", os());
    return q;
}

QUrlQuery file(const QString& action, quint32 fileId, const QString& name, const QString& pseudoName,
               const ServiceIdentity& id, const QString& uploadKey)
{
    QUrlQuery q;
    q.addQueryItem("a", action);
    q.addQueryItem("file_id", QString::number(fileId));
    q.addQueryItem("file_name", name);
    q.addQueryItem("file_pseudoname", pseudoName);
    addSignature(q, id);
    q.addQueryItem("upload_key", uploadKey);
    q.addQueryItem("bits", bits());
    q.addQueryItem("os", os());
    return q;
}

QUrlQuery range(const UploadRange& r, const ServiceIdentity& id)
{
    QUrlQuery q;
    q.addQueryItem("file_name", r.fileName);
    q.addQueryItem("file_pseudoname", r.pseudoName);
    q.addQueryItem("file_id", QString::number(r.fileId));
    q.addQueryItem("segment_id", QString::number(r.segmentId));
    q.addQueryItem("file_preview_ext", r.previewExt);
    q.addQueryItem("finalized", r.finalized ? "1" : "0");
    q.addQueryItem("start_pos", QString::number(r.startPos));
    q.addQueryItem("length", QString::number(r.length));
    q.addQueryItem("fullsize", QString::number(r.fullSize));
    q.addQueryItem("file_segments_count", QString::number(r.segmentsCount));
    q.addQueryItem("bits", bits());
    q.addQueryItem("os", os());
    q.addQueryItem("md5val", r.md5);
    addSignature(q, id);
    q.addQueryItem("upload_key", r.uploadKey);
    return q;
}

} // namespace ServiceQuery
