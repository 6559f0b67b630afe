#include "Logging.h"

#include <QDebug>

extern "C" {
#include <libavutil/log.h>
}

namespace {

// Shared by every caller, as FFmpeg's own default logger does; concurrent
// callers may garble each other's text, which is accepted for log lines.
char lineBuffer[1024];
int printPrefix = 1;

bool isEncoder(void* avcl)
{
    if (!avcl)
        return false;
    const AVClass* avClass = *static_cast<AVClass**>(avcl);
    return avClass && av_default_get_category(avcl) == AV_CLASS_CATEGORY_ENCODER;
}

const char* prefixForLevel(int level)
{
    if (level < 1)
        return "[FFmpeg] PANIC";
    if (level <= 8)
        return "[FFmpeg] FATAL";
    if (level <= 16)
        return "[FFmpeg] ERROR";
    if (level <= 24)
        return "[FFmpeg] WARNING";
    if (level <= 32)
        return "[FFmpeg] INFO";
    if (level <= 40)
        return "[FFmpeg] VERBOSE";
    if (level <= 48)
        return "[FFmpeg] DEBUG";
    if (level <= 56)
        return "[FFmpeg] TRACE";
    return "[FFmpeg]";
}

// The Media Foundation encoder names the system encoder it took; keep that in the log.
void logChosenSystemEncoder(const QString& line)
{
    if (!line.startsWith("[h264_mf "))
        return;
    const int tag = line.indexOf("MFT name:");
    if (tag < 0)
        return;
    const int quote = line.indexOf('\'', tag);
    if (quote < 0)
        return;
    qDebug().noquote() << "[VENC]: MFT name:" << line.mid(quote + 1, line.size() - quote - 2);
}

} // namespace

void ffmpegLogCallback(void* avcl, int level, const char* fmt, va_list args)
{
    if (level > av_log_get_level())
        return;
    // Of all information lines only the encoders' pass: they say what the encoder chose.
    if (level >= AV_LOG_INFO && !isEncoder(avcl))
        return;

    av_log_format_line(avcl, level, fmt, args, lineBuffer, sizeof lineBuffer, &printPrefix);
    const QString line = QString::fromUtf8(lineBuffer).trimmed();
    const char* prefix = prefixForLevel(level);

    if (level <= 16)
        qCritical().noquote() << prefix << line;
    else if (level <= 24)
        qWarning().noquote() << prefix << line;
    else if (level <= 32) {
        qInfo().noquote() << prefix << line;
        logChosenSystemEncoder(line);
    } else
        qDebug().noquote() << prefix << line;
}
