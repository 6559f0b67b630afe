#pragma once

#include <QByteArray>
#include <QString>
#include <QUrlQuery>

class QNetworkRequest;

// Who signs a request: the machine and the signed-in account.
struct ServiceIdentity
{
    QString machineId;
    QString userToken; // the account's stored credential
    QString userRand;
    QString userHash; // SHA-1 of rand, salt and machine id
};

// One range of a media file or a preview, as the upload server takes it.
struct UploadRange
{
    QString fileName;
    QString pseudoName;
    quint32 fileId = 0;
    int segmentId = 0;
    QString previewExt; // empty for a media range
    bool finalized = false;
    quint64 startPos = 0;
    qint64 length = 0;
    qint64 fullSize = 0;
    quint32 segmentsCount = 0;
    QString md5;
    QString uploadKey;
};

// The queries of the service API and of the upload server. The service reads
// the parameters in this order, so each builder adds them exactly so.
namespace ServiceQuery {
extern const char* const version;
// "64" on a 64-bit processor, else "32".
QString bits();
// The platform name the service files uploads under.
QString os();
// "KVD Uploader/<version>".
QByteArray userAgent();
// User agent and identity encoding, the headers of every request.
void setCommonHeaders(QNetworkRequest& request);

// get_user and get_upload_url.
QUrlQuery account(const QString& action, const ServiceIdentity& id);
// get_short_url and delete_file.
QUrlQuery file(const QString& action, quint32 fileId, const QString& name, const QString& pseudoName,
               const ServiceIdentity& id, const QString& uploadKey);
// One POST to the upload server.
QUrlQuery range(const UploadRange& r, const ServiceIdentity& id);
} // namespace ServiceQuery
