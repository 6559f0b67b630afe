// Mute, level and the mean level of one block, for every sample format the
// capture may meet: the value of silence, clipping above 100 percent, and
// the scale of the level sum (32-bit samples read at half scale).

#include "AudioSampleLevel.h"
#include "FFmpegResources.h"

#include <QtTest>
#include <cstring>

namespace {
// A two-channel block of `format` whose every sample holds `value`.
template <typename T>
FramePtr block(AVSampleFormat format, T value, int samples = 64)
{
    FramePtr frame(av_frame_alloc());
    ffSetFrameChannels(frame.get(), 3, 2);
    frame->format = format;
    frame->sample_rate = 44100;
    frame->nb_samples = samples;
    av_frame_get_buffer(frame.get(), 0);
    const bool planar = av_sample_fmt_is_planar(format);
    for (int plane = 0; plane < (planar ? 2 : 1); ++plane) {
        T* data = reinterpret_cast<T*>(frame->extended_data[plane]);
        std::fill(data, data + samples * (planar ? 1 : 2), value);
    }
    return frame;
}

template <typename T>
T sampleAt(const AVFrame* frame, int plane, int index)
{
    return reinterpret_cast<const T*>(frame->extended_data[plane])[index];
}
} // namespace

class TestAudioSampleLevel : public QObject
{
    Q_OBJECT

private slots:
    void integerFormats();
    void floatFormats();
    void unknownFormatIsRefused();
};

void TestAudioSampleLevel::integerFormats()
{
    double mean = -1;
    // 16 bits: a quarter of full scale, doubled, then clipped at three times.
    FramePtr s16 = block<int16_t>(AV_SAMPLE_FMT_S16, 8192);
    QCOMPARE(AudioSampleLevel::apply(s16.get(), false, 100, mean), 0);
    QCOMPARE(mean, 0.25);
    QCOMPARE(AudioSampleLevel::apply(s16.get(), false, 200, mean), 0);
    QCOMPARE(sampleAt<int16_t>(s16.get(), 0, 127), int16_t(16384));
    QCOMPARE(AudioSampleLevel::apply(s16.get(), false, 300, mean), 0);
    QCOMPARE(sampleAt<int16_t>(s16.get(), 0, 0), int16_t(32767));
    FramePtr s16p = block<int16_t>(AV_SAMPLE_FMT_S16P, -32768);
    QCOMPARE(AudioSampleLevel::apply(s16p.get(), false, 150, mean), 0);
    QCOMPARE(sampleAt<int16_t>(s16p.get(), 1, 63), int16_t(-32768));
    QCOMPARE(mean, 1.0);

    // Unsigned 8 bits: silence is 128, and the distance from it is what counts.
    FramePtr u8 = block<uint8_t>(AV_SAMPLE_FMT_U8P, 192);
    QCOMPARE(AudioSampleLevel::apply(u8.get(), false, 100, mean), 0);
    QCOMPARE(mean, 0.5);
    QCOMPARE(AudioSampleLevel::apply(u8.get(), false, 400, mean), 0);
    QCOMPARE(sampleAt<uint8_t>(u8.get(), 1, 0), uint8_t(255));
    QCOMPARE(AudioSampleLevel::apply(u8.get(), true, 100, mean), 0);
    QCOMPARE(sampleAt<uint8_t>(u8.get(), 0, 5), uint8_t(128));
    QCOMPARE(mean, 0.0);

    // 32 bits: full scale reads as one half, and scaling is done in 64 bits.
    FramePtr s32 = block<int32_t>(AV_SAMPLE_FMT_S32, INT32_MAX);
    QCOMPARE(AudioSampleLevel::apply(s32.get(), false, 100, mean), 0);
    QVERIFY(qAbs(mean - 0.5) < 1e-6);
    QCOMPARE(AudioSampleLevel::apply(s32.get(), false, 50, mean), 0);
    QCOMPARE(sampleAt<int32_t>(s32.get(), 0, 0), int32_t(INT32_MAX / 2));
    QCOMPARE(AudioSampleLevel::apply(s32.get(), false, 1000, mean), 0);
    QCOMPARE(sampleAt<int32_t>(s32.get(), 0, 0), int32_t(INT32_MAX));

    // Level 0 silences without mute.
    QCOMPARE(AudioSampleLevel::apply(s32.get(), false, 0, mean), 0);
    QCOMPARE(mean, 0.0);
}

void TestAudioSampleLevel::floatFormats()
{
    double mean = -1;
    FramePtr flt = block<float>(AV_SAMPLE_FMT_FLTP, -0.5f);
    QCOMPARE(AudioSampleLevel::apply(flt.get(), false, 100, mean), 0);
    QCOMPARE(mean, 0.5);
    // Floating samples are not clipped.
    QCOMPARE(AudioSampleLevel::apply(flt.get(), false, 300, mean), 0);
    QCOMPARE(sampleAt<float>(flt.get(), 1, 10), -1.5f);
    FramePtr dbl = block<double>(AV_SAMPLE_FMT_DBL, 0.25);
    QCOMPARE(AudioSampleLevel::apply(dbl.get(), true, 100, mean), 0);
    QCOMPARE(sampleAt<double>(dbl.get(), 0, 100), 0.0);
    QCOMPARE(mean, 0.0);
}

void TestAudioSampleLevel::unknownFormatIsRefused()
{
    double mean = 0.75;
    FramePtr s64 = block<int64_t>(AV_SAMPLE_FMT_S64, 1000);
    QCOMPARE(AudioSampleLevel::apply(s64.get(), true, 100, mean), -1);
    QCOMPARE(mean, 0.75);
}

QTEST_GUILESS_MAIN(TestAudioSampleLevel)
#include "test_audio_sample_level.moc"
