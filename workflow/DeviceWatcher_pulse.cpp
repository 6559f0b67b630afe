#include "DeviceWatcher.h"

#include <QDebug>

#include <pulse/pulseaudio.h>

// The subscription: a connection to the sound server with a main loop thread
// of its own, on which the callbacks below run with the loop's lock held.
struct DeviceWatcher::NotificationClient
{
    DeviceWatcher* watcher = nullptr;
    bool capture = true;
    pa_threaded_mainloop* loop = nullptr;
    pa_context* context = nullptr;
    QByteArray defaultDevice;
    bool defaultKnown = false;

    // Posted, so that the signal is emitted on the watcher's thread; dropped
    // if the watcher is gone by then.
    void notify()
    {
        DeviceWatcher* target = watcher;
        QMetaObject::invokeMethod(
            target, [target] { emit target->devicesChanged(); }, Qt::QueuedConnection);
    }
};

namespace {

using Client = DeviceWatcher::NotificationClient;

void release(Client* client)
{
    if (!client)
        return;
    if (client->loop) {
        // With the lock held no callback runs; once disconnected none will.
        pa_threaded_mainloop_lock(client->loop);
        if (client->context) {
            pa_context_set_subscribe_callback(client->context, nullptr, nullptr);
            pa_context_set_state_callback(client->context, nullptr, nullptr);
            pa_context_disconnect(client->context);
            pa_context_unref(client->context);
            client->context = nullptr;
        }
        pa_threaded_mainloop_unlock(client->loop);
        pa_threaded_mainloop_stop(client->loop);
        pa_threaded_mainloop_free(client->loop);
    }
    delete client;
}

void onServerInfo(pa_context*, const pa_server_info* info, void* userdata)
{
    auto* client = static_cast<Client*>(userdata);
    if (!info)
        return;
    const char* name = client->capture ? info->default_source_name : info->default_sink_name;
    const QByteArray current = name ? QByteArray(name) : QByteArray();
    if (client->defaultKnown && current != client->defaultDevice)
        client->notify();
    client->defaultDevice = current;
    client->defaultKnown = true;
}

void askDefaultDevice(pa_context* context, Client* client)
{
    if (pa_operation* op = pa_context_get_server_info(context, onServerInfo, client))
        pa_operation_unref(op);
}

void onEvent(pa_context* context, pa_subscription_event_type_t type, uint32_t, void* userdata)
{
    auto* client = static_cast<Client*>(userdata);
    const int facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const int kind = type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
    if (facility == PA_SUBSCRIPTION_EVENT_SERVER) {
        askDefaultDevice(context, client);
        return;
    }
    // A device changing its own state (running, idle, volume) is no change of the list.
    const int mine = client->capture ? PA_SUBSCRIPTION_EVENT_SOURCE : PA_SUBSCRIPTION_EVENT_SINK;
    if (facility == mine && (kind == PA_SUBSCRIPTION_EVENT_NEW || kind == PA_SUBSCRIPTION_EVENT_REMOVE))
        client->notify();
}

void onState(pa_context* context, void* userdata)
{
    auto* client = static_cast<Client*>(userdata);
    switch (pa_context_get_state(context)) {
    case PA_CONTEXT_READY: {
        const auto mask = pa_subscription_mask_t(
            (client->capture ? PA_SUBSCRIPTION_MASK_SOURCE : PA_SUBSCRIPTION_MASK_SINK) | PA_SUBSCRIPTION_MASK_SERVER);
        pa_context_set_subscribe_callback(context, onEvent, client);
        if (pa_operation* op = pa_context_subscribe(context, mask, nullptr, nullptr))
            pa_operation_unref(op);
        askDefaultDevice(context, client);
        qDebug() << "[AC]: device watcher subscribed, capture:" << client->capture;
        break;
    }
    case PA_CONTEXT_FAILED:
        qDebug() << "[AC]: device watcher has no sound server:" << pa_strerror(pa_context_errno(context));
        break;
    default: break;
    }
}

} // namespace

DeviceWatcher::DeviceWatcher(Direction dir, QObject* parent)
    : QObject(parent)
    , direction(dir)
{
}

DeviceWatcher::~DeviceWatcher()
{
    stop();
}

bool DeviceWatcher::start()
{
    if (client)
        return true;
    auto* fresh = new Client;
    fresh->watcher = this;
    fresh->capture = direction == Direction::Capture;
    fresh->loop = pa_threaded_mainloop_new();
    if (fresh->loop)
        fresh->context = pa_context_new(pa_threaded_mainloop_get_api(fresh->loop), "Orlune device watcher");
    if (!fresh->context) {
        qDebug() << "[AC]: can't create the device watcher";
        release(fresh);
        return false;
    }
    pa_context_set_state_callback(fresh->context, onState, fresh);
    // No autospawn: watching must not start a sound server.
    if (pa_context_connect(fresh->context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0
        || pa_threaded_mainloop_start(fresh->loop) < 0) {
        qDebug() << "[AC]: can't start the device watcher:" << pa_strerror(pa_context_errno(fresh->context));
        release(fresh);
        return false;
    }
    client = fresh;
    return true;
}

void DeviceWatcher::stop()
{
    release(client);
    client = nullptr;
}
