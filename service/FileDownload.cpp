#include "FileDownload.h"

#include "HttpRequest.h"

#include <QFileInfo>
#include <limits>

namespace {

enum class RangeKind { None, Valid, Unsatisfiable };

// Only one range is served; a list of ranges is answered whole, as HTTP allows.
RangeKind parseRange(const QByteArray& header, qint64 size, qint64* first, qint64* last)
{
    if (!header.startsWith("bytes=") || header.contains(','))
        return RangeKind::None;
    const QByteArray rangeText = header.mid(6).trimmed();
    const qsizetype dash = rangeText.indexOf('-');
    if (dash < 0)
        return RangeKind::None;
    bool okFirst = true, okLast = true;
    const QByteArray a = rangeText.left(dash).trimmed(), b = rangeText.mid(dash + 1).trimmed();
    if (a.isEmpty()) {
        const qint64 suffix = b.toLongLong(&okLast);
        if (!okLast || suffix < 0)
            return RangeKind::None;
        if (suffix == 0 || size == 0)
            return RangeKind::Unsatisfiable;
        *first = qMax<qint64>(0, size - suffix);
        *last = size - 1;
        return RangeKind::Valid;
    }
    *first = a.toLongLong(&okFirst);
    *last = b.isEmpty() ? std::numeric_limits<qint64>::max() : b.toLongLong(&okLast);
    if (!okFirst || !okLast || *first < 0 || *last < *first)
        return RangeKind::None;
    if (*first >= size)
        return RangeKind::Unsatisfiable;
    *last = qMin(*last, size - 1);
    return RangeKind::Valid;
}

} // namespace

namespace FileDownload {

QByteArray contentTypeFor(const QString& name)
{
    const QString ext = QFileInfo(name).suffix().toLower();
    if (ext == "mp4" || ext == "media")
        return "video/mp4";
    if (ext == "webm")
        return "video/webm";
    if (ext == "jpg" || ext == "jpeg")
        return "image/jpeg";
    if (ext == "png")
        return "image/png";
    if (ext == "gif")
        return "image/gif";
    if (ext == "xml")
        return "text/xml; charset=utf-8";
    if (ext == "zip")
        return "application/zip";
    return "application/octet-stream";
}

HttpResponse serve(const HttpRequest& request, const QString& path, const QByteArray& contentType)
{
    const QFileInfo info(path);
    if (!info.isFile())
        return HttpResponse::text(404, "Not found\n");
    const qint64 size = info.size();
    HttpResponse r;
    r.setHeader("Content-Type", contentType.isEmpty() ? contentTypeFor(path) : contentType);
    r.setHeader("Accept-Ranges", "bytes");
    r.setHeader("Last-Modified", info.lastModified().toUTC().toString("ddd, dd MMM yyyy hh:mm:ss 'GMT'").toLatin1());
    qint64 first = 0, last = size - 1;
    switch (parseRange(request.header("range"), size, &first, &last)) {
    case RangeKind::Unsatisfiable:
        r.status = 416;
        r.setHeader("Content-Range", "bytes */" + QByteArray::number(size));
        return r;
    case RangeKind::Valid:
        r.status = 206;
        r.setHeader("Content-Range", "bytes " + QByteArray::number(first) + '-' + QByteArray::number(last) + '/'
                                         + QByteArray::number(size));
        break;
    case RangeKind::None:
        first = 0;
        last = size - 1;
        break;
    }
    r.filePath = path;
    r.fileOffset = first;
    r.fileLength = last - first + 1;
    return r;
}

} // namespace FileDownload
