#pragma once

#include <QString>

// Every host and address the program talks to, in one place. Each can be
// overridden by an environment variable so that a user, a test or a company
// can point the program at its own service.
namespace Endpoints {
// Service API root (ORLUNE_SERVICE_URL), always ending in "/".
QString serviceUrl();
// Web host for the account panel, update feed and log upload (ORLUNE_WEB_URL), ending in "/".
QString webUrl();
// Crash-report endpoint (ORLUNE_CRASH_DSN); empty keeps events on disk only.
QString crashDsn();
// Address of the IP echo service used by the proxy test.
QString ipEchoUrl();
// Change-log page linked from the version text.
QString changeLogUrl();
// Report form opened after a log upload.
QString reportFormUrl();
// Support mail address.
QString supportAddress();
// The product's contact page, opened from the settings window's menu.
QString contactUrl();
} // namespace Endpoints
