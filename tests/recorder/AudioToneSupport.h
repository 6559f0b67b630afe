#pragma once

// Sound test helpers: tone strength (Goertzel), decoded sound, paplay tones and pactl modules.

#include "FFmpegResources.h"
#include "MediaParams.h"
#include "RecorderTestSupport.h"
#include "ffmpegAudioMixEnc.h"

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTest>
#include <cmath>
#include <cstdint>
#include <vector>

// Amplitude of `frequency` in samples [from, to) (1.0 = full scale sine).
inline double toneAmplitude(const std::vector<float>& samples, int rate, double frequency, size_t from = 0,
                            size_t to = SIZE_MAX)
{
    to = std::min(to, samples.size());
    if (from >= to)
        return 0;
    const double coeff = 2 * std::cos(2 * M_PI * frequency / rate);
    double s1 = 0, s2 = 0;
    for (size_t i = from; i < to; ++i) {
        const double s0 = samples[i] + coeff * s1 - s2;
        s2 = s1;
        s1 = s0;
    }
    const double power = s1 * s1 + s2 * s2 - coeff * s1 * s2;
    return 2 * std::sqrt(std::max(power, 0.0)) / double(to - from);
}

inline double rmsOf(const std::vector<float>& samples, size_t from = 0, size_t to = SIZE_MAX)
{
    to = std::min(to, samples.size());
    if (from >= to)
        return 0;
    double sum = 0;
    for (size_t i = from; i < to; ++i)
        sum += double(samples[i]) * samples[i];
    return std::sqrt(sum / double(to - from));
}

// The sound format of a recording, as the session asks the mixer for it.
inline AudioParams recordingAudioOut()
{
    AudioParams out;
    out.sampleRate = 44100;
    out.channels = 2;
    out.channelLayout = 3;
    out.timeBase = AVRational{1, 44100};
    out.sampleFormat = AV_SAMPLE_FMT_S16;
    return out;
}

// The left channel of encoded packets as the AAC decoder gives it (planar float).
inline std::vector<float> decodePackets(const AVCodecParameters* stream, const std::vector<PacketPtr>& packets)
{
    std::vector<float> left;
    const AVCodec* codec = avcodec_find_decoder(stream->codec_id);
    CodecContextPtr dec(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(dec.get(), stream);
    if (avcodec_open2(dec.get(), codec, nullptr) < 0)
        return left;
    FramePtr frame(av_frame_alloc());
    for (const PacketPtr& p : packets) {
        avcodec_send_packet(dec.get(), p.get());
        while (avcodec_receive_frame(dec.get(), frame.get()) >= 0) {
            if (frame->format == AV_SAMPLE_FMT_FLTP) {
                const float* s = reinterpret_cast<const float*>(frame->extended_data[0]);
                left.insert(left.end(), s, s + frame->nb_samples);
            }
            av_frame_unref(frame.get());
        }
    }
    return left;
}

// The mixer and AAC encoder opened as a recording opens them; its packets are kept.
struct MixerUnderTest
{
    ffmpegAudioMixEnc mix;
    OutputFormatContextPtr output = streamOnlyOutput();
    PacketSink sink{&mix};

    bool open(AudioParams* in, int inputs, int streamIndex = 1)
    {
        AudioParams out = recordingAudioOut();
        return mix.addToOutput(output.get(), streamIndex, out) == 1 && mix.init_audio_filters(in, inputs, out) == 0;
    }
    std::vector<float> finish()
    {
        if (!stopEncoder(&mix))
            return {};
        QTest::qWait(50); // flushed packets still queued to this thread
        return decodePackets(output->streams[0]->codecpar, sink.packets);
    }
};

// A file's sound as mono at `rate`, decoded by ffmpeg; empty on any error.
inline std::vector<float> decodeFileSound(const QString& path, int rate = 44100)
{
    QProcess tool;
    tool.start("ffmpeg",
               {"-v", "error", "-i", path, "-vn", "-ac", "1", "-ar", QString::number(rate), "-f", "f32le", "-"});
    if (!tool.waitForFinished(60000) || tool.exitCode() != 0 || !tool.readAllStandardError().trimmed().isEmpty())
        return {};
    const QByteArray raw = tool.readAllStandardOutput();
    std::vector<float> samples(size_t(raw.size()) / sizeof(float));
    memcpy(samples.data(), raw.constData(), samples.size() * sizeof(float));
    return samples;
}

// A 16-bit stereo WAV of a half-scale sine (lavfi's sine is 1/8, hence volume=4).
inline bool writeToneWav(const QString& path, double frequency, double seconds)
{
    return QProcess::execute("ffmpeg",
                             {"-v", "error", "-y", "-f", "lavfi", "-i",
                              QString("sine=frequency=%1:sample_rate=44100:duration=%2").arg(frequency).arg(seconds),
                              "-af", "volume=4,pan=stereo|c0=c0|c1=c0", "-c:a", "pcm_s16le", path})
           == 0;
}

// Plays a WAV file into a sink (the default unless named) while the object lives.
class TonePlayer
{
public:
    explicit TonePlayer(const QString& wavPath, const QString& sink = QString())
    {
        QStringList args;
        if (!sink.isEmpty())
            args << "--device=" + sink;
        player.start("paplay", args << wavPath);
        player.waitForStarted(5000);
    }
    ~TonePlayer()
    {
        player.kill();
        player.waitForFinished(5000);
    }
    bool running() const { return player.state() == QProcess::Running; }

private:
    QProcess player;
};

// A module of the test's sound server, loaded with pactl for the object's life.
class PulseModule
{
public:
    explicit PulseModule(const QString& module, const QStringList& arguments = {})
    {
        QProcess pactl;
        pactl.start("pactl", QStringList{"load-module", module} + arguments);
        if (pactl.waitForFinished(10000) && pactl.exitCode() == 0)
            index = QString::fromUtf8(pactl.readAllStandardOutput()).trimmed();
    }
    ~PulseModule()
    {
        if (loaded())
            QProcess::execute("pactl", {"unload-module", index});
    }
    bool loaded() const { return !index.isEmpty(); }

private:
    QString index;
};

inline bool haveSoundServer()
{
    if (qEnvironmentVariableIsEmpty("PULSE_SERVER"))
        return false;
    QProcess pactl;
    pactl.start("pactl", {"info"});
    return pactl.waitForFinished(5000) && pactl.exitCode() == 0;
}
