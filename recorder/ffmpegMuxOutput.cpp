// The output side of the recording session: the fragmented MP4 written through
// a custom AVIO callback, the packets that feed it, and the closing of the file
// with its last database rows.
#include "ffmpegMux.h"

#include "FilesTable.h"
#include "OutputState.h"
#include "SegmentsTable.h"
#include "ffmpegAudioCap.h"
#include "ffmpegAudioMixEnc.h"
#include "ffmpegVideoCap.h"
#include "ffmpegVideoEnc.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>
#include <QRandomGenerator>

#include <cerrno>
#include <cstring>
#include <ctime>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
}

namespace {

// Muxer options of the fragmented layout: the output cannot seek, so the moov
// goes out empty and each fragment closes at a key frame, at 2000000 bytes or
// after 5 seconds, but not before 2 seconds.
void setMuxerOptions(AVFormatContext* ctx, const char* formatName)
{
    if (strcmp(formatName, "mp4") == 0) {
        av_opt_set(ctx->priv_data, "movflags", "+empty_moov+frag_keyframe+omit_tfhd_offset+default_base_moof",
                   AV_OPT_SEARCH_CHILDREN);
        av_opt_set(ctx->priv_data, "frag_size", "2000000", AV_OPT_SEARCH_CHILDREN);
        av_opt_set(ctx->priv_data, "frag_duration", "5000000", AV_OPT_SEARCH_CHILDREN);
        av_opt_set(ctx->priv_data, "min_frag_duration", "2000000", AV_OPT_SEARCH_CHILDREN);
    } else if (strcmp(formatName, "hls") == 0) {
        int64_t hlsTime = 0;
        av_opt_get_int(ctx->priv_data, "hls_time", AV_OPT_SEARCH_CHILDREN, &hlsTime);
        av_log(nullptr, AV_LOG_INFO, "old: hls_time = %lld\n", (long long)hlsTime);
        av_opt_set_int(ctx->priv_data, "hls_time", 10, AV_OPT_SEARCH_CHILDREN);
        av_opt_set_int(ctx->priv_data, "hls_wrap", 0, AV_OPT_SEARCH_CHILDREN);
        av_opt_set_int(ctx->priv_data, "hls_list_size", 0, AV_OPT_SEARCH_CHILDREN);
        av_opt_get_int(ctx->priv_data, "hls_time", AV_OPT_SEARCH_CHILDREN, &hlsTime);
        av_log(nullptr, AV_LOG_INFO, "new: hls_time = %lld\n", (long long)hlsTime);
    }
}

// A random non-zero id that no finished file uses yet.
quint32 newFileId()
{
    quint32 id = 0;
    do {
        id = QRandomGenerator::global()->generate();
    } while (id == 0 || FilesTable::finalizedFileExists(id));
    return id;
}

void freeOutputContext(AVFormatContext* ctx)
{
    if (!ctx)
        return;
    if (ctx->pb) {
        av_freep(&ctx->pb->buffer);
        avio_context_free(&ctx->pb);
    }
    avformat_free_context(ctx);
}

} // namespace

int ffmpegMux::open_output_dest(const QString& fileName, unsigned int continueId)
{
    const char* formatName = outputFormat.flv ? "flv" : outputFormat.hls ? "hls" : outputFormat.dash ? "dash" : "mp4";
    qDebug() << "[MUX]: "
             << "open_output_dest";

    outputState = OutputState{};
    outputState.session = this;
    outputState.path = outputDir + "/" + fileName;
    outputState.file = fopen(QFile::encodeName(outputState.path).constData(), continueId ? "ab" : "wb");
    if (!outputState.file) {
        // Deliberately not fatal: write_packet then refuses every write, and
        // the muxer's error ends the recording.
        const int err = errno;
        qCritical().nospace() << "[MUX]: "
                              << "file error: " << strerror(err);
        qCritical().nospace() << "[MUX]: "
                              << "Could not open file '" << outputState.path << "'";
    }

    srand(unsigned(time(nullptr)));
    if (continueId) {
        outputState.fileId = continueId;
        fileId = continueId;
    } else {
        outputState.fileId = newFileId();
    }

    auto* buffer = static_cast<uint8_t*>(av_malloc(kOutputBufferSize));
    if (!buffer)
        return AVERROR(ENOMEM);

    const QString name = QFileInfo(outputState.path).fileName();
    if (continueId) {
        qint64 seconds = 0;
        if (FilesTable::readDuration(continueId, seconds))
            videoEndPts = seconds;
        FilesTable::reopen(continueId);
    } else {
        FilesTable::insertRecording(name, outputState.fileId, uploadWhileRecording);
    }

    vcap->previewJpgName = name + ".jpg";
    vcap->previewGifName = name + ".gif";
    vcap->previewDir = outputDir;

    AVIOContext* avio = avio_alloc_context(buffer, kOutputBufferSize, 1, &outputState, nullptr, write_packet, nullptr);
    if (!avio) {
        qWarning() << "[MUX]: "
                   << "open_output_dest"
                   << "avio_ctx allocation failed";
        av_free(buffer);
        return AVERROR(ENOMEM);
    }

    AVFormatContext* ctx = nullptr;
    const int allocResult = avformat_alloc_output_context2(&ctx, nullptr, formatName, nullptr);
    if (!ctx) {
        qWarning() << "[MUX]: "
                   << "Could not create output context";
        av_freep(&avio->buffer);
        avio_context_free(&avio);
        return allocResult < 0 ? allocResult : AVERROR_UNKNOWN;
    }
    ctx->pb = avio;
    ctx->flags |= AVFMT_FLAG_CUSTOM_IO;
    qDebug() << "[MUX]: "
             << "open_output_dest"
             << "avio & afvormat ctx allocated";

    setMuxerOptions(ctx, formatName);

    // Video is always stream 0 and audio stream 1.
    venc->addToOutput(ctx, 0, videoOut);
    amix->addToOutput(ctx, venc ? 1 : 0, audioOut);

    qDebug() << "[MUX]: "
             << "open_output_dest"
             << "output format:" << formatName;
    av_dump_format(ctx, 0, QFile::encodeName(outputState.path).constData(), 1);

    const int ret = avformat_write_header(ctx, nullptr);
    if (ret < 0) {
        qWarning() << "[MUX]: "
                   << "open_output_dest"
                   << "Error occurred when opening output file: can't write header";
        freeOutputContext(ctx);
        return ret;
    }
    outputContext = ctx;
    return 0;
}

void ffmpegMux::handleEncodedFrame(void* p_enc_pkt)
{
    auto* packet = static_cast<AVPacket*>(p_enc_pkt);
    // Read once: the session thread nulls the field to make queued packets drop.
    AVFormatContext* ctx = outputContext;
    if (!packet || !ctx || packet->stream_index < 0 || unsigned(packet->stream_index) >= ctx->nb_streams
        || !ctx->streams[packet->stream_index]) {
        av_packet_free(&packet);
        return;
    }

    const int index = packet->stream_index;
    AVStream* stream = ctx->streams[index];
    if (packet->time_base.num > 0 && packet->time_base.den > 0)
        av_packet_rescale_ts(packet, packet->time_base, stream->time_base);
    packet->time_base = stream->time_base;

    if (index == 0)
        videoEndPts = packet->pts + packet->duration;
    if (index < 3)
        streamDuration[index] += packet->duration;
    if (index == 0)
        ++videoPackets;
    else if (index == 1)
        ++audioPackets;
    else
        ++otherPackets;

    if (av_interleaved_write_frame(ctx, packet) != 0) {
        qWarning() << "[MUX]: av_interleaved_write_frame error!";
        running = 0;
    }
    firstPacketWritten = true;
    av_packet_free(&packet);
}

void ffmpegMux::finishOutput(AVFormatContext* ctx)
{
    qDebug() << "[MUX]: av_write_trailer...";
    qDebug().nospace() << "[MUX]:"
                       << "write_packet"
                       << " pos:" << outputState.position << " << file size:" << getFileSize(outputState)
                       << " size:" << 0;
    commitFile(outputState.file);
    av_write_trailer(ctx);

    // Duration in whole seconds by the video stream's time base.
    const AVRational tb = ctx->nb_streams > 0 ? ctx->streams[0]->time_base : AVRational{0, 1};
    const qint64 seconds = tb.den ? qint64(tb.num) * videoEndPts / tb.den : 0;
    qDebug("[MUX]: duration = %lu (%lu s)", (unsigned long)videoEndPts, (unsigned long)seconds);
    emit updateLevelDuration(seconds, acap ? acap->meanLevel : 0.0);
    for (unsigned i = 0; i < ctx->nb_streams && i < 3; ++i) {
        const AVRational stb = ctx->streams[i]->time_base;
        const double streamSeconds = stb.den ? double(streamDuration[i]) * stb.num / stb.den : 0.0;
        qDebug().nospace() << "[MUX]: avr[" << i << "] =" << streamDuration[i] << " (" << streamSeconds
                           << "s), tb:" << stb.num << "/" << stb.den;
    }

    freeOutputContext(ctx);
    closeOutputFile(seconds);
}

void ffmpegMux::closeOutputFile(qint64 durationSeconds)
{
    quint64 fileSize = getFileSize(outputState);
    if (outputState.file) {
        qDebug() << "[MUX]: trace last segment";
        commitFile(outputState.file);
        fileSize = getFileSize(outputState);
        fclose(outputState.file);
        outputState.file = nullptr;
        if (fileSize < outputState.position) {
            qWarning() << "Error: segment_pos is greater than file size";
        } else if (fileSize > outputState.position) {
            // Bytes that reached the file without a callback report: enter them too.
            const quint64 tail = fileSize - outputState.position;
            QMutexLocker lock(&dbLock);
            qDebug("[MUX]: DB|LAST <= file[%u|%u]: pos:%lu segsz:%lu filesz:%lu|%lu", outputState.fileId,
                   outputState.segmentNumber, (unsigned long)outputState.position, (unsigned long)tail,
                   (unsigned long)fileSize, (unsigned long)(outputState.position + tail));
            SegmentsTable::insert(outputState.fileId, outputState.position, tail, outputState.segmentNumber);
            outputState.segmentNumber += 1;
            outputState.position += tail;
        }
    }

    qDebug("[MUX]: DB|FIN <= file[%u|%u]: filesz:%lu|%lu", outputState.fileId, outputState.segmentNumber,
           (unsigned long)fileSize, (unsigned long)outputState.position);
    {
        QMutexLocker lock(&dbLock);
        FilesTable::finalizeRecording(outputState.fileId, fileSize, durationSeconds, outputState.segmentNumber);
    }
    outputState.path.clear();
}

void ffmpegMux::releaseOutput()
{
    // A start-up failure after the output opened: drop the muxer and close the
    // file without a trailer. The file and its unfinished row stay behind.
    AVFormatContext* ctx = outputContext;
    outputContext = nullptr;
    freeOutputContext(ctx);
    if (outputState.file) {
        fclose(outputState.file);
        outputState.file = nullptr;
    }
}
