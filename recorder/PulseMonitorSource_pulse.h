#pragma once

#include "PulseConnection_pulse.h"
#include "SystemSoundSource.h"

// What the machine plays: the monitor of the sound server's default sink,
// recorded as 16-bit samples at the sink's own rate and channel count. A
// monitor delivers during silence too, so the stream has no gaps.
class PulseMonitorSource : public SystemSoundSource
{
public:
    PulseMonitorSource();
    ~PulseMonitorSource() override;

    int open(AudioParams& format) override;
    int read(AVFrame* frame, bool zeroed) override;

private:
    bool streamGood() const;

    PulseConnection connection;
    pa_stream* stream = nullptr;
    AudioParams format;
};
