#pragma once

#include "HttpResponse.h"

struct HttpRequest;
struct ServiceState;

// The support side of a log upload: the report form that the program opens in
// the browser after sending its logs (/report?LogID=...), and the form's post,
// which keeps the report beside the received logs in reports/.
class ReportPage
{
public:
    explicit ReportPage(ServiceState& state)
        : state(state)
    {
    }

    bool handles(const QString& path) const { return path == "/report"; }
    HttpResponse handle(const HttpRequest& request);

private:
    HttpResponse submit(const HttpRequest& request);

    ServiceState& state;
};
