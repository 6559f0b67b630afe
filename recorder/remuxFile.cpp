#include "remuxFile.h"

#include "FFmpegResources.h"

#include <cstdarg>
#include <cstdio>

extern "C" {
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

using Progress = int (*)(void*, int);

// How a run ended, from which remuxFile derives its result.
struct RemuxRun
{
    int ret = 0;
    bool finished = false;    // the input was read to its end (or to a read error)
    bool interrupted = false; // the progress callback cancelled
};

// The output context with the file it writes; the file is closed before the
// context is freed.
struct OutputFile
{
    OutputFormatContextPtr context;
    bool opened = false;

    ~OutputFile()
    {
        if (context && opened)
            avio_closep(&context->pb);
    }
};

// Adds an output stream for each kept input stream; streamMap gets the
// output index of every input stream, -1 for a dropped one.
int addOutputStreams(AVFormatContext* input, AVFormatContext* output, int* streamMap)
{
    int nextIndex = 0;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVCodecParameters* inPar = input->streams[i]->codecpar;
        if (!keepsStream(inPar->codec_type)) {
            streamMap[i] = -1;
            continue;
        }
        streamMap[i] = nextIndex++;
        AVStream* outStream = avformat_new_stream(output, nullptr);
        if (!outStream) {
            const int ret = AVERROR(ENOMEM);
            setError("Failed allocating output stream", ret);
            return ret;
        }
        const int ret = avcodec_parameters_copy(outStream->codecpar, inPar);
        if (ret < 0) {
            setError("Failed to copy codec parameters", ret);
            return ret;
        }
        // Codec tags belong to the container they came from.
        outStream->codecpar->codec_tag = 0;
    }
    return 0;
}

// Moves every packet of a kept stream into the output, rescaled to its time base.
void copyPackets(AVFormatContext* input, AVFormatContext* output, const int* streamMap, void* ctx, Progress progress,
                 RemuxRun& run)
{
    int& ret = run.ret;
    PacketPtr packet(av_packet_alloc());
    if (!packet) {
        ret = AVERROR(ENOMEM);
        setError("Could not allocate memory", ret);
        return;
    }

    int64_t bytesRead = 0;
    int64_t nextThreshold = 0;
    int step = 0;
    while (true) {
        ret = av_read_frame(input, packet.get());
        if (ret < 0) {
            run.finished = true;
            break;
        }
        const int mapped = unsigned(packet->stream_index) < input->nb_streams ? streamMap[packet->stream_index] : -1;
        if (mapped < 0) {
            av_packet_unref(packet.get());
            continue;
        }
        const AVStream* inStream = input->streams[packet->stream_index];
        const AVStream* outStream = output->streams[mapped];
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
                run.interrupted = true;
                ret = AVERROR(EIO);
                av_packet_unref(packet.get());
                break;
            }
        }

        ret = av_interleaved_write_frame(output, packet.get());
        if (ret < 0) {
            setError("Error muxing packet to output file", ret);
            av_packet_unref(packet.get());
            break;
        }
        av_packet_unref(packet.get());
    }
}

// Everything between two existing paths; all that it opened is released on return.
void remuxPaths(const char* in, const char* out, void* ctx, Progress progress, RemuxRun& run)
{
    int& ret = run.ret;
    AVFormatContext* openedInput = nullptr;
    ret = avformat_open_input(&openedInput, in, av_find_input_format("mp4"), nullptr);
    if (ret < 0) {
        setFileError("Could not open input file", in, ret);
        return;
    }
    InputFormatContextPtr input(openedInput);
    ret = avformat_find_stream_info(input.get(), nullptr);
    if (ret < 0) {
        setError("Failed to retrieve input stream information", ret);
        return;
    }
    av_dump_format(input.get(), 0, in, 0);

    OutputFile output;
    AVFormatContext* createdOutput = nullptr;
    avformat_alloc_output_context2(&createdOutput, nullptr, "mp4", out);
    output.context.reset(createdOutput);
    if (!output.context) {
        ret = AVERROR_UNKNOWN;
        setError("Could not create output context", ret);
        return;
    }
    // The muxer's second pass moves the index in front of the media data.
    av_opt_set(output.context->priv_data, "movflags", "faststart", AV_OPT_SEARCH_CHILDREN);

    const std::unique_ptr<int[], AVMemoryDeleter> streamMap(
        static_cast<int*>(av_calloc(input->nb_streams, sizeof(int))));
    if (!streamMap) {
        ret = AVERROR(ENOMEM);
        setError("Could not allocate memory", ret);
        return;
    }
    ret = addOutputStreams(input.get(), output.context.get(), streamMap.get());
    if (ret < 0)
        return;
    av_dump_format(output.context.get(), 0, out, 1);

    if (!(output.context->oformat->flags & AVFMT_NOFILE)) {
        ret = avio_open(&output.context->pb, out, AVIO_FLAG_WRITE);
        if (ret < 0) {
            setFileError("Could not open output file", out, ret);
            return;
        }
        output.opened = true;
    }

    // A muxer whose header failed has already freed its state and must not
    // be asked for a trailer; its file is only closed.
    ret = avformat_write_header(output.context.get(), nullptr);
    if (ret < 0) {
        setError("Error occurred when writing output file", ret);
        return;
    }
    copyPackets(input.get(), output.context.get(), streamMap.get(), ctx, progress, run);
    // Also after a failed write or a cancel, so the copy is a complete file.
    av_write_trailer(output.context.get());
}

} // namespace

const char* remuxMessage()
{
    return remuxText;
}

int remuxFile(const char* in, const char* out, void* ctx, int (*progress)(void*, int))
{
    remuxText[0] = '\0';
    if (!in) {
        setMessage(false, "Input file is not provided!");
        return 0;
    }
    if (!out) {
        setMessage(false, "Output file is not provided!");
        return 0;
    }

    RemuxRun run;
    remuxPaths(in, out, ctx, progress, run);
    const int ret = run.ret;
    if (ret >= 0 || ret == AVERROR_EOF)
        return 0;
    if (!remuxText[0])
        setError("Error occurred", ret);
    if (run.finished)
        return 0;
    return run.interrupted ? 2 : 1;
}
