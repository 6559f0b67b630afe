#pragma once

#include <QString>

class ffmpegVCodecTest;

// The encoder of a recording whose settings ask for "auto": the first
// encoder of the capability table that opened here, in the order hardware
// h264_mf, h264_mf, libopenh264, libx264; libx264 when none did.
struct AutoCodecChoice
{
    QString name;
    bool hwaccel = false;

    static AutoCodecChoice fromTable(const ffmpegVCodecTest& table);
};
