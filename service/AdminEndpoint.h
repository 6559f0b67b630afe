#pragma once

#include "HttpResponse.h"

struct HttpRequest;
struct ServiceState;

// Control and inspection for tests and scripts, from loopback only:
//   POST /admin/fault?name=N&count=C[&target=api|upload][&action=A][&...options]
//   GET  /admin/faults, POST /admin/reset
//   GET  /admin/files, GET /admin/requests
//   POST /admin/account?login=L&status=active|deleted
class AdminEndpoint
{
public:
    explicit AdminEndpoint(ServiceState& state)
        : state(state)
    {
    }

    HttpResponse handle(const HttpRequest& request);

private:
    HttpResponse armFault(const HttpRequest& request);
    HttpResponse listFiles(const HttpRequest& request);
    HttpResponse setAccountStatus(const HttpRequest& request);

    ServiceState& state;
};
