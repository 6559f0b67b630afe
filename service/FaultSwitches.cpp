#include "FaultSwitches.h"

#include <QDebug>
#include <QJsonObject>

namespace {

struct FaultKind
{
    const char* name;
    bool api;
    bool upload;
};

// Which requests each fault can hit.
const FaultKind kinds[] = {
    {"upload_416", false, true},               // 416, no action header, an ordinary phrase
    {"upload_416_action", false, true},        // 416 with X-KVD-FileAction (param action, default 0)
    {"upload_position_mismatch", false, true}, // 416 "Uploaded position mismatch"
    {"srvid_change", false, true},  // a new X-KVD-SrvID from now on (status=416 to refuse, action=N to demand)
    {"upload_516", false, true},    // 516 with "This video file is not registered!"
    {"api_error", true, false},     // result ERROR (param message)
    {"invalid_token", true, false}, // result ERROR, message "INVALID TOKEN!"
    {"not_xml", true, false},       // status 200 with a body that is not XML
    {"status_500", true, true},     // status 500
    {"stall", true, true},          // no answer for param ms (default 600000), then hang up
};

const FaultKind* kindOf(const QString& name)
{
    for (const FaultKind& k : kinds)
        if (name == QLatin1String(k.name))
            return &k;
    return nullptr;
}

} // namespace

QStringList FaultSwitches::knownNames()
{
    QStringList names;
    for (const FaultKind& k : kinds)
        names << QString::fromLatin1(k.name);
    return names;
}

bool FaultSwitches::arm(const QString& name, int count, const QMap<QString, QString>& params, QString* error)
{
    const FaultKind* kind = kindOf(name);
    if (!kind) {
        *error = QStringLiteral("unknown fault '%1'; known: %2").arg(name, knownNames().join(", "));
        return false;
    }
    const QString target = params.value("target");
    if (!target.isEmpty() && !((target == "api" && kind->api) || (target == "upload" && kind->upload))) {
        *error = QStringLiteral("fault '%1' can't target '%2'").arg(name, target);
        return false;
    }
    faults.removeIf([&](const Fault& f) { return f.name == name; });
    if (count != 0)
        faults.append(Fault{name, count, params.value("after").toInt(), params});
    qInfo().noquote() << "[FAULT]: armed" << name << "count" << count << params;
    return true;
}

std::optional<FaultSwitches::Fault> FaultSwitches::take(Target target, const QString& action)
{
    for (qsizetype i = 0; i < faults.size(); ++i) {
        Fault& f = faults[i];
        const FaultKind* kind = kindOf(f.name);
        const bool targetOk = target == Target::Api ? kind->api : kind->upload;
        const QString wanted = f.param("target");
        if (!targetOk || (!wanted.isEmpty() && wanted != (target == Target::Api ? "api" : "upload")))
            continue;
        if (target == Target::Api && !f.param("action").isEmpty() && f.param("action") != action)
            continue;
        if (f.skip > 0) {
            --f.skip;
            continue;
        }
        const Fault hit = f;
        if (f.remaining > 0 && --f.remaining == 0)
            faults.removeAt(i);
        qInfo().noquote() << "[FAULT]: applying" << hit.name;
        return hit;
    }
    return std::nullopt;
}

QJsonArray FaultSwitches::list() const
{
    QJsonArray out;
    for (const Fault& f : faults) {
        QJsonObject params;
        for (auto it = f.params.begin(); it != f.params.end(); ++it)
            params.insert(it.key(), it.value());
        out.append(QJsonObject{{"name", f.name}, {"remaining", f.remaining}, {"skip", f.skip}, {"params", params}});
    }
    return out;
}
