#include "AudioStreamDecoder.h"

#include "CrashReport.h"

#include <QDebug>

int AudioStreamDecoder::open(const QString& name, AVFormatContext* input, CodecContextPtr& decoder, bool probe,
                             const char* crashTag)
{
    const QByteArray prefix = name.toUtf8();
    input->flags |= AVFMT_FLAG_GENPTS | AVFMT_FLAG_DISCARD_CORRUPT;
    int ret = probe ? avformat_find_stream_info(input, nullptr) : 0;
    if (ret < 0) {
        qCritical().noquote() << name << " Cannot find stream information";
        sentryCaptureError(crashTag, "Cannot find stream information");
        return ret;
    }
    if (input->nb_streams != 1) {
        qCritical().noquote() << name << " streams number is incorrect: " << input->nb_streams;
        sentryCaptureError(crashTag, QString("streams number is incorrect: %1").arg(input->nb_streams));
        return AVERROR(EINVAL);
    }
    const unsigned int index = 0;
    AVStream* stream = input->streams[index];
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
        qCritical().noquote() << name << " bad codec! " << av_get_media_type_string(stream->codecpar->codec_type);
        return AVERROR(EINVAL);
    }
    qDebug().noquote() << name << " finding stream" << index
                       << "info with codec:" << avcodec_get_name(stream->codecpar->codec_id);
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec) {
        qCritical("%s Failed to find decoder for stream #%u\n", prefix.constData(), index);
        return -1;
    }
    decoder.reset(avcodec_alloc_context3(codec));
    if (!decoder) {
        qCritical("%s Failed to allocate the decoder context for stream #%u\n", prefix.constData(), index);
        return -1;
    }
    if (avcodec_parameters_to_context(decoder.get(), stream->codecpar) < 0) {
        qCritical("%s Failed to copy decoder parameters to input decoder context for stream #%u\n", prefix.constData(),
                  index);
        return -1;
    }
    qDebug().noquote() << name << " opening codec";
    decoder->pkt_timebase = AVRational{1, stream->codecpar->sample_rate};
    decoder->time_base = decoder->pkt_timebase;
    if (decoder->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
        ffSetCodecChannels(decoder.get(), 0, decoder->ch_layout.nb_channels);
    ret = avcodec_open2(decoder.get(), codec, nullptr);
    if (ret < 0) {
        qCritical().noquote() << name << " Failed to open decoder for stream" << index;
        sentryCaptureError(crashTag, "Cannot open decoder");
        decoder.reset();
        return ret;
    }
    return static_cast<int>(input->nb_streams);
}

int AudioStreamDecoder::sendPacket(AVFormatContext* input, AVCodecContext* decoder, AVPacket* packet)
{
    av_packet_rescale_ts(packet, input->streams[packet->stream_index]->time_base, decoder->time_base);
    return avcodec_send_packet(decoder, packet);
}
