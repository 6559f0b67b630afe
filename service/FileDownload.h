#pragma once

#include "HttpResponse.h"

#include <QString>

struct HttpRequest;

// Answers a GET or HEAD for a file on disk, honouring a single "Range: bytes=..."
// (first-last, first-, or -suffix) with 206, so players can seek and updaters
// can fetch pieces. A range beyond the end gets 416 with "bytes */size".
namespace FileDownload {
HttpResponse serve(const HttpRequest& request, const QString& path, const QByteArray& contentType = {});
QByteArray contentTypeFor(const QString& name);
} // namespace FileDownload
