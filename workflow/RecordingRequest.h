#pragma once

#include <QRect>

// A recording asked for on the command line: what to record, for how long,
// and whether the program ends once the result is in.
struct RecordingRequest
{
    bool requested = false;       // -record was given
    QRect rect;                   // in virtual desktop coordinates
    double durationSeconds = 0.0; // 0: until stopped some other way
    bool exitWhenDone = false;
};
