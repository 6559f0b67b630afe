#pragma once

#include <QJsonArray>
#include <QString>

// The pages the program's web views show while it runs with -webdebug: the
// remote debugging port lists them over HTTP as JSON objects (id, title, url,
// webSocketDebuggerUrl). Tests drive a page through its web socket address.
class WebDebugPages
{
public:
    static constexpr quint16 kPort = 54321;

    // GET http://127.0.0.1:PORT/json; an empty list while nothing answers.
    static QJsonArray list(quint16 port = kPort, int timeoutMs = 5000);
    // Polls the list until a page whose url contains the text shows up; its object, or empty.
    static QJsonObject waitForPage(const QString& urlPart, int timeoutMs, quint16 port = kPort);
};
