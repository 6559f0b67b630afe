#include "PulseConnection_pulse.h"

#include <QDebug>

namespace {

// What one introspection request gives back, filled by its callback.
struct InfoReply
{
    bool done = false;
    bool found = false;
    pa_sample_spec sampleFormat{};
    QByteArray name; // default sink, or the sink's monitor
};

void onServerInfo(pa_context*, const pa_server_info* info, void* userdata)
{
    auto* reply = static_cast<InfoReply*>(userdata);
    if (info && info->default_sink_name) {
        reply->name = info->default_sink_name;
        reply->found = true;
    }
    reply->done = true;
}

void onSinkInfo(pa_context*, const pa_sink_info* info, int eol, void* userdata)
{
    auto* reply = static_cast<InfoReply*>(userdata);
    if (eol == 0 && info) {
        reply->sampleFormat = info->sample_spec;
        reply->name = info->monitor_source_name ? info->monitor_source_name : "";
        reply->found = true;
        return;
    }
    reply->done = true;
}

void onSourceInfo(pa_context*, const pa_source_info* info, int eol, void* userdata)
{
    auto* reply = static_cast<InfoReply*>(userdata);
    if (eol == 0 && info) {
        reply->sampleFormat = info->sample_spec;
        reply->found = true;
        return;
    }
    reply->done = true;
}

// Sends one request and waits for its reply; the operation is always released.
template <typename Done>
bool await(PulseConnection& connection, pa_operation* op, Done done)
{
    if (!op)
        return false;
    const bool answered = connection.runUntil(done, 3000);
    pa_operation_unref(op);
    return answered;
}

} // namespace

PulseConnection::PulseConnection(const char* clientName)
{
    loop = pa_mainloop_new();
    if (loop)
        ctx = pa_context_new(pa_mainloop_get_api(loop), clientName);
}

PulseConnection::~PulseConnection()
{
    if (ctx) {
        pa_context_disconnect(ctx);
        pa_context_unref(ctx);
    }
    if (loop)
        pa_mainloop_free(loop);
}

bool PulseConnection::alive() const
{
    return ctx && PA_CONTEXT_IS_GOOD(pa_context_get_state(ctx));
}

bool PulseConnection::waitStep(int timeoutMs)
{
    if (pa_mainloop_prepare(loop, timeoutMs * 1000) < 0 || pa_mainloop_poll(loop) < 0)
        return false;
    return pa_mainloop_dispatch(loop) >= 0;
}

bool PulseConnection::iterate()
{
    while (alive() && pa_mainloop_iterate(loop, 0, nullptr) > 0) {
    }
    return alive();
}

int PulseConnection::connect(int timeoutMs)
{
    if (!ctx)
        return PA_ERR_INTERNAL;
    // No autospawn: a recorder must not start a sound server of its own.
    if (pa_context_connect(ctx, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        return pa_context_errno(ctx);
    const bool ready = runUntil([this] { return pa_context_get_state(ctx) == PA_CONTEXT_READY; }, timeoutMs);
    if (ready)
        return PA_OK;
    const int err = pa_context_errno(ctx);
    return err != PA_OK ? err : PA_ERR_TIMEOUT;
}

int PulseConnection::sourceFormat(const QByteArray& name, pa_sample_spec& sampleFormat)
{
    InfoReply reply;
    if (!await(*this, pa_context_get_source_info_by_name(ctx, name.constData(), onSourceInfo, &reply),
               [&reply] { return reply.done; }))
        return pa_context_errno(ctx) != PA_OK ? pa_context_errno(ctx) : PA_ERR_TIMEOUT;
    if (!reply.found)
        return PA_ERR_NOENTITY;
    sampleFormat = reply.sampleFormat;
    return PA_OK;
}

int PulseConnection::defaultSinkMonitor(QByteArray& monitor, pa_sample_spec& sampleFormat)
{
    InfoReply server;
    if (!await(*this, pa_context_get_server_info(ctx, onServerInfo, &server), [&server] { return server.done; }))
        return PA_ERR_TIMEOUT;
    if (!server.found)
        return PA_ERR_NOENTITY;
    InfoReply sink;
    if (!await(*this, pa_context_get_sink_info_by_name(ctx, server.name.constData(), onSinkInfo, &sink),
               [&sink] { return sink.done; }))
        return PA_ERR_TIMEOUT;
    if (!sink.found || sink.name.isEmpty())
        return PA_ERR_NOENTITY;
    monitor = sink.name;
    sampleFormat = sink.sampleFormat;
    return PA_OK;
}
