#include "SoundInput.h"

#include "CaptureInputName.h"
#include "PulseConnection_pulse.h"

#include <QDebug>

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace {
const char* const kServerFormat = "pulse";
// Fragments of 20 ms keep the capture latency and the level display quick.
constexpr int kFragmentMs = 20;

// Asks the server for the source's own format. AVERROR(EIO) when the source
// is missing or refused, or no server answers: the device is disabled.
int serverSourceFormat(const QByteArray& source, pa_sample_spec& sampleFormat, const char* logName)
{
    PulseConnection connection("Orlune microphone");
    int err = connection.connect();
    if (err == PA_OK)
        err = connection.sourceFormat(source, sampleFormat);
    if (err == PA_OK)
        return 0;
    qWarning().noquote() << logName << source << pa_strerror(err);
    return AVERROR(EIO);
}

int openWith(const char* url, const char* format, AVDictionary** options, InputFormatContextPtr& input)
{
    AVFormatContext* ctx = nullptr;
    const AVInputFormat* inputFormat = format ? av_find_input_format(format) : nullptr;
    if (url)
        av_dict_set(options, "copyts", "true", 0);
    const int ret = avformat_open_input(&ctx, url, inputFormat, options);
    av_dict_free(options);
    if (ret >= 0)
        input.reset(ctx);
    return ret;
}
} // namespace

int SoundInput::open(const char* name, InputFormatContextPtr& input, const char* logName)
{
    avdevice_register_all();
    input.reset();
    AVDictionary* options = nullptr;
    if (!name)
        return openWith(nullptr, nullptr, &options, input);
    const QByteArray text(name);
    if (text.startsWith("anullsrc"))
        return openWith(CaptureInputName::pacedLavfiGraph("lavfi:" + text, "arealtime").constData(), "lavfi", &options,
                        input);
    if (CaptureInputName::isLavfi(text))
        return openWith(CaptureInputName::pacedLavfiGraph(text, "arealtime").constData(), "lavfi", &options, input);

    const QByteArray source = text.startsWith("audio=") ? text.mid(6) : text;
    pa_sample_spec sampleFormat{};
    const int ret = serverSourceFormat(source, sampleFormat, logName);
    if (ret < 0)
        return ret;
    const int bytesPerSecond = int(sampleFormat.rate) * sampleFormat.channels * 2;
    av_dict_set_int(&options, "sample_rate", sampleFormat.rate, 0);
    av_dict_set_int(&options, "channels", sampleFormat.channels, 0);
    av_dict_set_int(&options, "fragment_size", bytesPerSecond * kFragmentMs / 1000, 0);
    return openWith(source.constData(), kServerFormat, &options, input);
}

bool SoundInput::isServerSource(const AVFormatContext* input)
{
    return input && input->iformat && qstrcmp(input->iformat->name, kServerFormat) == 0;
}

void SoundInput::SampleClock::restamp(AVPacket* packet, const AVFormatContext* input)
{
    if (!isServerSource(input) || packet->pts == AV_NOPTS_VALUE)
        return;
    const AVCodecParameters* par = input->streams[packet->stream_index]->codecpar;
    const int frameBytes = av_get_bits_per_sample(par->codec_id) / 8 * par->ch_layout.nb_channels;
    if (frameBytes <= 0 || par->sample_rate <= 0)
        return;
    if (startPts == AV_NOPTS_VALUE)
        startPts = packet->pts;
    const AVRational tb = input->streams[packet->stream_index]->time_base;
    packet->pts = startPts + av_rescale_q(samples, AVRational{1, par->sample_rate}, tb);
    packet->dts = packet->pts;
    samples += packet->size / frameBytes;
}

void SoundInput::SampleClock::reset()
{
    startPts = AV_NOPTS_VALUE;
    samples = 0;
}
