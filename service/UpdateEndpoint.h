#pragma once

#include "HttpResponse.h"

struct HttpRequest;
struct ServiceState;

// The update host: the feed at /download/check/Appcast.xml (the file
// Appcast.xml of the data folder), packages under /downloads/ from the folder
// "downloads", and log archives posted to /download/uploadlogs/, kept in "logs".
class UpdateEndpoint
{
public:
    explicit UpdateEndpoint(ServiceState& state)
        : state(state)
    {
    }

    bool handles(const QString& path) const;
    HttpResponse handle(const HttpRequest& request);

private:
    HttpResponse storeLog(const HttpRequest& request);

    ServiceState& state;
};
