#include "remuxFile.h"

#include <cstdarg>
#include <cstdio>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
}

namespace {

char remuxText[1024];

constexpr int64_t kProgressStep = 0x100000;

// Stores a message; all but the two about missing paths also go to stderr.
void setMessage(bool print, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    vsnprintf(remuxText, sizeof remuxText, format, args);
    va_end(args);
    if (print)
        fprintf(stderr, "%s\n", remuxText);
}

// "<what>: error:<code> ("<text>")" with the library's text for the code.
void setError(const char* what, int code)
{
    char errorText[256];
    av_strerror(code, errorText, sizeof errorText);
    setMessage(true, "%s: error:%d (\"%s\")", what, code, errorText);
}

void setFileError(const char* what, const char* path, int code)
{
    char errorText[256];
    av_strerror(code, errorText, sizeof errorText);
    setMessage(true, "%s '%s': error:%d (\"%s\")", what, path, code, errorText);
}

bool keepsStream(AVMediaType type)
{
    return type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO || type == AVMEDIA_TYPE_SUBTITLE;
}

} // namespace

const char* remuxMessage()
{
    return remuxText;
}

int remuxFile(const char* in, const char* out, void* ctx, int (*progress)(void*, int))
{
    AVFormatContext* inputContext = nullptr;
    AVFormatContext* outputContext = nullptr;
    AVPacket* packet = nullptr;
    int* streamMap = nullptr;
    bool outputOpened = false;
    bool headerWritten = false;
    bool finished = false;
    bool interrupted = false;
    int ret = 0;

    remuxText[0] = '\0';

    if (!in) {
        setMessage(false, "Input file is not provided!");
        goto cleanup;
    }
    if (!out) {
        setMessage(false, "Output file is not provided!");
        goto cleanup;
    }

    ret = avformat_open_input(&inputContext, in, av_find_input_format("mp4"), nullptr);
    if (ret < 0) {
        setFileError("Could not open input file", in, ret);
        goto cleanup;
    }
    ret = avformat_find_stream_info(inputContext, nullptr);
    if (ret < 0) {
        setError("Failed to retrieve input stream information", ret);
        goto cleanup;
    }
    av_dump_format(inputContext, 0, in, 0);

    avformat_alloc_output_context2(&outputContext, nullptr, "mp4", out);
    if (!outputContext) {
        ret = AVERROR_UNKNOWN;
        setError("Could not create output context", ret);
        goto cleanup;
    }
    // The muxer's second pass moves the index in front of the media data.
    av_opt_set(outputContext->priv_data, "movflags", "faststart", AV_OPT_SEARCH_CHILDREN);

    streamMap = static_cast<int*>(av_calloc(inputContext->nb_streams, sizeof *streamMap));
    if (!streamMap) {
        ret = AVERROR(ENOMEM);
        setError("Could not allocate memory", ret);
        goto cleanup;
    }

    {
        int nextIndex = 0;
        for (unsigned i = 0; i < inputContext->nb_streams; ++i) {
            const AVCodecParameters* inPar = inputContext->streams[i]->codecpar;
            if (!keepsStream(inPar->codec_type)) {
                streamMap[i] = -1;
                continue;
            }
            streamMap[i] = nextIndex++;
            AVStream* outStream = avformat_new_stream(outputContext, nullptr);
            if (!outStream) {
                ret = AVERROR(ENOMEM);
                setError("Failed allocating output stream", ret);
                goto cleanup;
            }
            ret = avcodec_parameters_copy(outStream->codecpar, inPar);
            if (ret < 0) {
                setError("Failed to copy codec parameters", ret);
                goto cleanup;
            }
            // Codec tags belong to the container they came from.
            outStream->codecpar->codec_tag = 0;
        }
    }
    av_dump_format(outputContext, 0, out, 1);

    if (!(outputContext->oformat->flags & AVFMT_NOFILE)) {
        ret = avio_open(&outputContext->pb, out, AVIO_FLAG_WRITE);
        if (ret < 0) {
            setFileError("Could not open output file", out, ret);
            goto cleanup;
        }
        outputOpened = true;
    }

    ret = avformat_write_header(outputContext, nullptr);
    if (ret < 0) {
        setError("Error occurred when writing output file", ret);
        goto trailer;
    }
    headerWritten = true;

    packet = av_packet_alloc();
    if (!packet) {
        ret = AVERROR(ENOMEM);
        setError("Could not allocate memory", ret);
        goto trailer;
    }

    {
        int64_t bytesRead = 0;
        int64_t nextThreshold = 0;
        int step = 0;
        while (true) {
            ret = av_read_frame(inputContext, packet);
            if (ret < 0) {
                finished = true;
                break;
            }
            const int mapped =
                unsigned(packet->stream_index) < inputContext->nb_streams ? streamMap[packet->stream_index] : -1;
            if (mapped < 0) {
                av_packet_unref(packet);
                continue;
            }
            const AVStream* inStream = inputContext->streams[packet->stream_index];
            const AVStream* outStream = outputContext->streams[mapped];
            packet->stream_index = mapped;
            const auto rounding = AVRounding(AV_ROUND_NEAR_INF | AV_ROUND_PASS_MINMAX);
            packet->pts = av_rescale_q_rnd(packet->pts, inStream->time_base, outStream->time_base, rounding);
            packet->dts = av_rescale_q_rnd(packet->dts, inStream->time_base, outStream->time_base, rounding);
            packet->duration = av_rescale_q(packet->duration, inStream->time_base, outStream->time_base);
            packet->pos = -1;

            bytesRead += packet->size ? packet->size : (packet->buf ? int64_t(packet->buf->size) : 0);
            if (bytesRead > nextThreshold) {
                nextThreshold += kProgressStep;
                ++step;
                const int answer = progress ? progress(ctx, step) : 0;
                if (answer < 0) {
                    setMessage(true, "Interrupted by user: code:%d", answer);
                    interrupted = true;
                    ret = AVERROR(EIO);
                    av_packet_unref(packet);
                    break;
                }
            }

            ret = av_interleaved_write_frame(outputContext, packet);
            if (ret < 0) {
                setError("Error muxing packet to output file", ret);
                av_packet_unref(packet);
                break;
            }
            av_packet_unref(packet);
        }
    }

trailer:
    // Also after a failed write or a cancel, so the copy is a complete file.
    // A muxer whose header failed has already freed its state and must not
    // be asked for a trailer; its file is only closed.
    if (headerWritten)
        av_write_trailer(outputContext);

cleanup:
    av_packet_free(&packet);
    avformat_close_input(&inputContext);
    if (outputContext && outputOpened)
        avio_closep(&outputContext->pb);
    avformat_free_context(outputContext);
    av_freep(&streamMap);

    if (ret >= 0 || ret == AVERROR_EOF)
        return 0;
    if (!remuxText[0])
        setError("Error occurred", ret);
    if (finished)
        return 0;
    return interrupted ? 2 : 1;
}
