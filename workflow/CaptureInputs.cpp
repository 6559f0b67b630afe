#include "CaptureInputs.h"

namespace CaptureInputs {

QByteArray x11Display(const QByteArray& display)
{
    if (display.isEmpty())
        return ":0.0";
    const int colon = display.lastIndexOf(':');
    if (colon < 0)
        return display;
    // ":1" and ":1.0" name the same screen; x11grab is given the full form.
    if (display.indexOf('.', colon) < 0)
        return display + ".0";
    return display;
}

QByteArray videoInput()
{
    const QByteArray forced = qgetenv("ORLUNE_VIDEO_INPUT");
    if (!forced.isEmpty())
        return forced;
    return x11Display(qgetenv("DISPLAY"));
}

QByteArray audioOverride()
{
    return qgetenv("ORLUNE_AUDIO_INPUT");
}

QByteArray silentAudioInput()
{
    return "anullsrc=sample_rate=44100:channel_layout=stereo,arealtime";
}

} // namespace CaptureInputs
