#pragma once

#include <QHash>
#include <QJsonObject>
#include <QJsonValue>
#include <QWebSocket>

// One page of the program's web views, driven over the remote debugging port
// with the DevTools protocol: scripts evaluated in the page, their results
// returned by value.
class CdpPage
{
public:
    CdpPage();

    // Connects to the page's webSocketDebuggerUrl (from WebDebugPages).
    bool open(const QString& socketUrl, int timeoutMs = 10000);
    // The value of the expression; undefined when it threw, the page went or no answer came in time.
    QJsonValue evaluate(const QString& expression, int timeoutMs = 10000);

private:
    QWebSocket socket;
    int nextId = 1;
    QHash<int, QJsonObject> answers;
};
