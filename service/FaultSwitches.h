#pragma once

#include <QJsonArray>
#include <QList>
#include <QMap>
#include <QString>
#include <optional>

// Misbehaviours the service can be told to show, each for a number of requests,
// so that a client's handling of them can be exercised on demand.
class FaultSwitches
{
public:
    enum class Target { Api, Upload };

    struct Fault
    {
        QString name;
        int remaining = 1;             // below 0: until cleared
        int skip = 0;                  // matching requests let through before the fault applies (option after)
        QMap<QString, QString> params; // options of the fault, and the filters target and action
        QString param(const QString& key, const QString& fallback = {}) const { return params.value(key, fallback); }
    };

    // Arms a fault; count 0 disarms it. Unknown names and targets are refused with a reason.
    bool arm(const QString& name, int count, const QMap<QString, QString>& params, QString* error);
    // The first armed fault that applies to this request, used up by one.
    std::optional<Fault> take(Target target, const QString& action);
    void clear() { faults.clear(); }
    QJsonArray list() const;

    static QStringList knownNames();

private:
    QList<Fault> faults;
};
