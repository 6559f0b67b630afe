#include "DeviceLists.h"

#include "PulseConnection_pulse.h"

#include <QDebug>
#include <QList>

#include <pulse/pulseaudio.h>

namespace {

constexpr int kReplyTimeoutMs = 3000;

struct DeviceEntry
{
    QString name;    // description, what the user sees
    QByteArray addr; // the server's name of the device
    bool monitor = false;
};

struct ListReply
{
    bool done = false;
    QList<DeviceEntry> entries;
};

void onSourceInfo(pa_context*, const pa_source_info* info, int eol, void* userdata)
{
    auto* reply = static_cast<ListReply*>(userdata);
    if (eol != 0 || !info) {
        reply->done = true;
        return;
    }
    reply->entries << DeviceEntry{QString::fromUtf8(info->description ? info->description : ""), info->name,
                                  info->monitor_of_sink != PA_INVALID_INDEX};
}

void onSinkInfo(pa_context*, const pa_sink_info* info, int eol, void* userdata)
{
    auto* reply = static_cast<ListReply*>(userdata);
    if (eol != 0 || !info) {
        reply->done = true;
        return;
    }
    reply->entries << DeviceEntry{QString::fromUtf8(info->description ? info->description : ""), info->name, false};
}

// The sources or the sinks of the sound server, in its order; false when it could not be asked.
bool askServer(bool sources, QList<DeviceEntry>& entries)
{
    ListReply reply; // outlives the connection, whose end cancels the request
    PulseConnection connection("Orlune device list");
    const int err = connection.connect();
    if (err != PA_OK) {
        qDebug() << "[AC]: can't connect to the sound server:" << pa_strerror(err);
        return false;
    }
    pa_operation* op = sources ? pa_context_get_source_info_list(connection.context(), onSourceInfo, &reply)
                               : pa_context_get_sink_info_list(connection.context(), onSinkInfo, &reply);
    if (!op) {
        qDebug() << "[AC]: can't ask the sound server for its devices:"
                 << pa_strerror(pa_context_errno(connection.context()));
        return false;
    }
    const bool answered = connection.runUntil([&reply] { return reply.done; }, kReplyTimeoutMs);
    pa_operation_unref(op);
    if (!answered) {
        qDebug() << "[AC]: the sound server did not list its devices";
        return false;
    }
    entries = reply.entries;
    return true;
}

// Fills the parallel lists with the usable devices and logs each one under `tag`.
int listAudioDevices(bool sources, const char* tag, QStringList& names, QStringList& addrs)
{
    QList<DeviceEntry> entries;
    if (!askServer(sources, entries))
        return -1;
    int n = 0;
    for (const DeviceEntry& entry : entries) {
        const bool usable =
            !entry.monitor
            && (sources ? DeviceLists::usableInName(entry.name) : DeviceLists::usableOutName(entry.name));
        if (!usable) {
            qDebug().nospace().noquote() << "[AC]: " << tag << "[" << n << "]: " << entry.name << " -- NOT USEABLE!";
            continue;
        }
        qWarning().nospace().noquote() << "[AC]: " << tag << "[" << n << "]: " << entry.name;
        qDebug().nospace().noquote() << "[AC]: " << tag << "[" << n << "]: path: " << entry.addr;
        names << entry.name;
        addrs << QString::fromUtf8(entry.addr);
        ++n;
    }
    return n;
}

} // namespace

namespace DeviceLists {

int listInAudioDevices(QStringList& names, QStringList& addrs)
{
    qDebug() << "[AC]:"
             << "listInAudioDevices";
    const int n = listAudioDevices(true, "audio", names, addrs);
    if (n == 0)
        qDebug() << "[AC]: No useable capture devices";
    return n;
}

int listOutAudioDevices(QStringList& names, QStringList& addrs)
{
    qDebug() << "[AC]:"
             << "listOutAudioDevices";
    return listAudioDevices(false, "audioPlay", names, addrs);
}

} // namespace DeviceLists
