#pragma once

#include "FFmpegResources.h"

#include <QString>

// Opening of the single audio stream of a sound input, shared by the
// microphone and the system sound threads. `name` is the caller's log prefix.
namespace AudioStreamDecoder {

// Probes the opened input, checks that it holds exactly one stream and opens
// its decoder with the time base 1/sample rate. Returns the stream count (1),
// or a negative error. An input whose header already states the format (the
// sound server's) is not probed: probing waits for the first data, which a
// source that the server has just resumed may hold back. Crash reports go
// out under `crashTag`.
int open(const QString& name, AVFormatContext* input, CodecContextPtr& decoder, bool probe = true,
         const char* crashTag = "[ACAP]");

// Moves a packet from its stream's time base to the decoder's and sends it.
int sendPacket(AVFormatContext* input, AVCodecContext* decoder, AVPacket* packet);

} // namespace AudioStreamDecoder
