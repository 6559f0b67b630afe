#include "HttpResponse.h"

void HttpResponse::setHeader(const QByteArray& name, const QByteArray& value)
{
    for (auto& h : headers) {
        if (h.first.compare(name, Qt::CaseInsensitive) == 0) {
            h.second = value;
            return;
        }
    }
    headers.append({name, value});
}

QByteArray HttpResponse::headerValue(const QByteArray& name) const
{
    for (const auto& h : headers)
        if (h.first.compare(name, Qt::CaseInsensitive) == 0)
            return h.second;
    return {};
}

HttpResponse HttpResponse::text(int status, const QByteArray& body, const QByteArray& contentType)
{
    HttpResponse r;
    r.status = status;
    r.body = body;
    r.setHeader("Content-Type", contentType);
    return r;
}

HttpResponse HttpResponse::json(int status, const QByteArray& body)
{
    return text(status, body, "application/json");
}

HttpResponse HttpResponse::stall(int ms)
{
    HttpResponse r;
    r.stallMs = ms > 0 ? ms : 1;
    return r;
}

QByteArray HttpResponse::standardPhrase(int status)
{
    switch (status) {
    case 200: return "OK";
    case 204: return "No Content";
    case 206: return "Partial Content";
    case 302: return "Found";
    case 400: return "Bad Request";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 411: return "Length Required";
    case 413: return "Payload Too Large";
    case 416: return "Range Not Satisfiable";
    case 500: return "Internal Server Error";
    case 501: return "Not Implemented";
    default: return "Status";
    }
}
