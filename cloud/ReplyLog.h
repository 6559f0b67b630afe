#pragma once

class QNetworkReply;

// The parts of a failed or strange reply that support reads in the log:
// the reply object, its raw headers and its whole body.
namespace ReplyLog {
void details(QNetworkReply* reply);
}
