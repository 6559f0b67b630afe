#pragma once

#include "AccountStore.h"
#include "FaultSwitches.h"
#include "FileStore.h"

#include <QJsonArray>
#include <QString>

struct HttpRequest;

// Everything the endpoints share: the data folder and its stores, the fault
// switches, the upload server's identity, and a short journal of requests.
struct ServiceState
{
    explicit ServiceState(const QString& dataDir)
        : dataDir(dataDir)
        , accounts(dataDir)
        , files(dataDir)
    {
    }

    QString dataDir;
    AccountStore accounts;
    FileStore files;
    FaultSwitches faults;
    int serverGeneration = 1;
    QJsonArray journal; // newest last, at most journalLimit entries

    static constexpr int journalLimit = 500;

    QString serverId() const { return QStringLiteral("orlune-srv-%1").arg(serverGeneration); }
    void record(const HttpRequest& request, int status);
};
