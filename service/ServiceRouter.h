#pragma once

#include "AccountPage.h"
#include "AdminEndpoint.h"
#include "HttpResponse.h"
#include "ReportPage.h"
#include "ServiceApi.h"
#include "UpdateEndpoint.h"
#include "UploadEndpoint.h"

struct HttpRequest;
struct ServiceState;

// Sends each request to the endpoint that owns its path, logs it, and notes it
// in the journal that tests read back.
class ServiceRouter
{
public:
    explicit ServiceRouter(ServiceState& state);

    HttpResponse handle(const HttpRequest& request);

private:
    HttpResponse route(const HttpRequest& request);
    HttpResponse shortLink(const HttpRequest& request);
    HttpResponse ipEcho(const HttpRequest& request);

    ServiceState& state;
    ServiceApi api;
    UploadEndpoint upload;
    AccountPage accountPage;
    UpdateEndpoint updates;
    ReportPage reportPage;
    AdminEndpoint admin;
};
