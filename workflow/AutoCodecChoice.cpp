#include "AutoCodecChoice.h"

#include "ffmpegVCodecTest.h"

#include <QDebug>

namespace {
enum class Hardware { Any, On, Off };

bool usableRow(const ffmpegVCodecTest& table, const char* codec, Hardware hardware)
{
    for (const ffmpegVCodecTest::CodecRow& row : table.codecs) {
        const bool hardwareMatches = hardware == Hardware::Any || row.isHw == (hardware == Hardware::On);
        if (qstrcmp(row.codec, codec) == 0 && hardwareMatches && row.usable())
            return true;
    }
    return false;
}
} // namespace

AutoCodecChoice AutoCodecChoice::fromTable(const ffmpegVCodecTest& table)
{
    struct Preference
    {
        const char* codec;
        Hardware rows; // which rows of that encoder count
        bool hwaccel;  // what the session is told
        const char* log;
    };
    static const Preference preferences[] = {
        {"h264_mf", Hardware::On, true, "[AC]: Selected h264_mf with hardware acceleration"},
        {"h264_mf", Hardware::Off, false, "[AC]: Selected h264_mf (regular)"},
        {"libopenh264", Hardware::Any, false, "[AC]: Selected libopenh264"},
        {"libx264", Hardware::Any, false, "[AC]: Selected libx264 (fallback)"},
    };
    qDebug() << "[AC]: Auto codec selection - GPU encoding enabled:" << true;
    for (const Preference& preference : preferences) {
        if (usableRow(table, preference.codec, preference.rows)) {
            qDebug() << preference.log;
            return {QString::fromLatin1(preference.codec), preference.hwaccel};
        }
    }
    qDebug() << "[AC]: No tested codec available, using libx264 as absolute fallback";
    return {QStringLiteral("libx264"), false};
}
