#pragma once

#include "FFmpegResources.h"

#include <QByteArray>

// Opening of a capture input by the name the controller gives, shared by the
// microphone capture and the level monitor:
//   "audio=<source>" (or a bare source name)  a source of the sound server,
//                                             captured in its own rate and channels
//   a name beginning with "anullsrc"          the silent substitute, a lavfi graph
//   "lavfi:<graph>"                           a lavfi graph (test tones)
// lavfi graphs are paced to real time unless they already hold "arealtime".
namespace SoundInput {

// avformat_open_input's result. A source that the sound server does not have,
// refuses, or a server that cannot be reached gives AVERROR(EIO): the device
// counts as disabled, and the server's reason is logged behind `logName`. A
// null name is opened without format, and fails.
int open(const char* name, InputFormatContextPtr& input, const char* logName);

// True for an input whose header already states its format (the sound
// server's): probing it would only wait for data.
bool isServerSource(const AVFormatContext* input);

// Timestamps for a sound server input by its sample count, from the first
// packet's time on. The server's own are the wall clock minus its latency
// estimate: they run up to a second ahead of the samples while a stream
// starts and jitter by a fragment after that, which the mixer's drift
// correction would turn into gaps and a wavering pitch.
class SampleClock
{
public:
    // Replaces the packet's pts and dts; packets of other inputs stay as they are.
    void restamp(AVPacket* packet, const AVFormatContext* input);
    void reset();

private:
    int64_t startPts = AV_NOPTS_VALUE;
    int64_t samples = 0;
};

} // namespace SoundInput
