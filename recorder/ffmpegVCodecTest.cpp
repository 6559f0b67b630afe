#include "ffmpegVCodecTest.h"

#include "FFmpegResources.h"

#include <QDebug>
#include <QGuiApplication>
#include <QScreen>
#include <algorithm>

extern "C" {
#include <libavutil/opt.h>
}

namespace {
constexpr int kFallbackWidth = 1920;
constexpr int kFallbackHeight = 1080;

const char* yesNo(bool value)
{
    return value ? "Y" : "N";
}

// Encoder settings as a recording would use them, so that "opens here" means
// "can record here".
void setEncoderOptions(AVDictionary** options, const QByteArray& name, bool hw)
{
    if (name == "h264_mf") {
        av_dict_set(options, "rate_control", "default", 0);
        av_dict_set(options, "scenario", "default", 0);
        av_dict_set(options, "quality", "50", 0);
        if (hw)
            av_dict_set(options, "hw_encoding", "1", 0);
    } else if (name == "libx264") {
        av_dict_set(options, "preset", "fast", 0);
        av_dict_set(options, "profile", "main", 0);
    } else if (name == "libopenh264") {
        av_dict_set(options, "profile", "main", 0);
        av_dict_set(options, "rc_mode", "quality", 0);
    }
}
} // namespace

ffmpegVCodecTest::ffmpegVCodecTest(QObject* parent)
    : QThread(parent)
    , codecs{{"h264_mf", true}, {"h264_mf", false}, {"libopenh264", false}, {"libx264", false}}
{
}

QSize ffmpegVCodecTest::maxDisplaySize()
{
    QSize size(kFallbackWidth, kFallbackHeight);
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return size;
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect g = screen->geometry();
        size.setWidth(std::max(size.width(), g.width()));
        size.setHeight(std::max(size.height(), g.height()));
    }
    return size;
}

bool ffmpegVCodecTest::testCodec(const char* name, int width, int height, bool hw)
{
    const AVCodec* codec = avcodec_find_encoder_by_name(name);
    if (!codec)
        return false;
    CodecContextPtr ctx(avcodec_alloc_context3(codec));
    if (!ctx)
        return false;
    const QByteArray codecName(name);
    ctx->codec_id = AV_CODEC_ID_H264;
    ctx->width = width;
    ctx->height = height;
    ctx->time_base = AVRational{1, 25};
    ctx->framerate = AVRational{25, 1};
    ctx->bit_rate = 2000000;
    ctx->gop_size = 25;
    ctx->max_b_frames = 0;
    ctx->profile = FF_PROFILE_H264_MAIN;
    ctx->pix_fmt = codecName == "h264_mf" ? AV_PIX_FMT_NV12 : AV_PIX_FMT_YUV420P;
    AVDictionary* options = nullptr;
    setEncoderOptions(&options, codecName, hw);
    const int ret = avcodec_open2(ctx.get(), codec, &options);
    av_dict_free(&options);
    return ret >= 0;
}

void ffmpegVCodecTest::testAll(QSize size)
{
    // Once a row has needed the reduced size, later rows start from it too.
    int width = size.width();
    int height = size.height();
    for (CodecRow& row : codecs) {
        row.maxres = false;
        row.fallback1080 = false;
        if (!avcodec_find_encoder_by_name(row.codec))
            continue;
        row.maxres = testCodec(row.codec, width, height, row.isHw);
        if (!row.maxres) {
            width = std::min(width, kFallbackWidth);
            height = std::min(height, kFallbackHeight);
            row.fallback1080 = testCodec(row.codec, width, height, row.isHw);
        }
    }
}

void ffmpegVCodecTest::run()
{
    const QSize size = maxDisplaySize();
    qDebug() << "[VTEST]: Max display dimensions:" << size.width() << "x" << size.height();
    qDebug() << "[VTEST]: Testing codec capabilities with max display resolution and 1080p fallback:";
    // No COM here: nothing to initialise before the encoders are opened.
    testAll(size);
    qDebug() << "[VTEST]: codec       | is_hw | maxres | 1080p";
    for (const CodecRow& row : codecs)
        qDebug("[VTEST]: %12s|   %s   |   %s    |   %s", row.codec, yesNo(row.isHw), yesNo(row.maxres),
               yesNo(row.fallback1080));
}
