#include "PulseMonitorSource_pulse.h"

#include <QDebug>

namespace {
// Blocks of about 10 ms, as the output engine hands them on.
constexpr int kFragmentMs = 10;
} // namespace

PulseMonitorSource::PulseMonitorSource()
    : connection("Orlune system sound")
{
}

PulseMonitorSource::~PulseMonitorSource()
{
    if (stream) {
        pa_stream_disconnect(stream);
        pa_stream_unref(stream);
    }
}

bool PulseMonitorSource::streamGood() const
{
    return stream && PA_STREAM_IS_GOOD(pa_stream_get_state(stream));
}

int PulseMonitorSource::open(AudioParams& out)
{
    int err = connection.connect();
    if (err != PA_OK) {
        qWarning() << "[WASA]: Failed to create instance." << pa_strerror(err);
        return -1;
    }
    QByteArray monitor;
    pa_sample_spec sinkFormat{};
    err = connection.defaultSinkMonitor(monitor, sinkFormat);
    if (err != PA_OK) {
        qWarning() << "[WASA]: Failed to create device." << pa_strerror(err);
        return -1;
    }
    // Whatever the sink's own format, the server converts the copy to 16-bit integers.
    const pa_sample_spec streamFormat{PA_SAMPLE_S16NE, sinkFormat.rate, sinkFormat.channels};
    if (!pa_sample_spec_valid(&streamFormat)) {
        qWarning() << "[WASA]: Failed to get mix format.";
        return -1;
    }
    stream = pa_stream_new(connection.context(), "System sound", &streamFormat, nullptr);
    if (!stream) {
        qWarning() << "[WASA]: Failed to activate device.";
        return -1;
    }
    pa_buffer_attr attr;
    attr.maxlength = uint32_t(-1);
    attr.tlength = uint32_t(-1);
    attr.prebuf = uint32_t(-1);
    attr.minreq = uint32_t(-1);
    attr.fragsize = uint32_t(pa_usec_to_bytes(kFragmentMs * PA_USEC_PER_MSEC, &streamFormat));
    // Not moved when the sink goes away: the server would rescue the stream
    // to its fallback source, which is a microphone, not what plays.
    const auto flags = pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
    if (pa_stream_connect_record(stream, monitor.constData(), &attr, flags) < 0
        || !connection.runUntil([this] { return pa_stream_get_state(stream) == PA_STREAM_READY || !streamGood(); },
                                3000)
        || pa_stream_get_state(stream) != PA_STREAM_READY) {
        qWarning() << "[WASA]: Failed to initialize audio client."
                   << pa_strerror(pa_context_errno(connection.context()));
        return -1;
    }
    format = AudioParams{};
    format.sampleRate = int(streamFormat.rate);
    format.channels = streamFormat.channels;
    format.channelLayout = ffDefaultChannelMask(streamFormat.channels);
    format.timeBase = AVRational{1, int(streamFormat.rate)};
    format.sampleFormat = AV_SAMPLE_FMT_S16;
    out = format;
    qDebug() << "[WASA]: monitor:" << monitor;
    return 1;
}

int PulseMonitorSource::read(AVFrame* frame, bool zeroed)
{
    if (!connection.iterate() || !streamGood())
        return -1;
    if (pa_stream_readable_size(stream) == 0)
        return 0;
    const void* data = nullptr;
    size_t bytes = 0;
    if (pa_stream_peek(stream, &data, &bytes) < 0)
        return -1;
    if (bytes == 0)
        return 0;
    // A hole in the stream (no data but a length) is silence of that length.
    const int samples = int(bytes / (size_t(format.channels) * 2));
    const int ret = samples > 0 ? fillFrame(frame, format, samples, data, zeroed) : 0;
    pa_stream_drop(stream);
    if (ret < 0)
        return ret;
    return samples > 0 ? 1 : 0;
}
