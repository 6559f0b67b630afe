#pragma once

#include "FaultSwitches.h"
#include "HttpResponse.h"

struct HttpRequest;
struct ServiceState;
struct StoredFile;

// The upload server: POST with the raw range as body and its description in
// the query. The answer is in the status and the X-KVD-* headers.
class UploadEndpoint
{
public:
    explicit UploadEndpoint(ServiceState& state)
        : state(state)
    {
    }

    HttpResponse handle(const HttpRequest& request);

private:
    HttpResponse handleRange(const HttpRequest& request);
    HttpResponse faultReply(const FaultSwitches::Fault& fault, bool* proceed);
    HttpResponse storeMedia(const HttpRequest& request, StoredFile& file);
    HttpResponse storePreview(const HttpRequest& request, StoredFile& file);
    HttpResponse reply(int status, const QByteArray& phrase = {});
    HttpResponse refuse(int status, const QByteArray& info);

    ServiceState& state;
};
