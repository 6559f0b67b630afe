#pragma once

extern "C" {
#include <libavutil/frame.h>
}

// Mute and level applied to a block of sound in place, and its mean level
// measured after that: the mean absolute sample value, 1 being full scale.
namespace AudioSampleLevel {

// mute fills the block with the format's zero value; otherwise a level other
// than 100 percent scales every sample, clipped to the format's range.
// Returns 0, or -1 for a sample format it does not handle (frame untouched).
int apply(AVFrame* frame, bool mute, int level, double& meanLevel);

} // namespace AudioSampleLevel
