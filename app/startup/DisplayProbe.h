#pragma once

#include <QString>

// Whether the X display named by DISPLAY can be reached. A recording from the
// command line needs it, and finding out before the application object exists
// turns a missing display into a clear message instead of an abort.
// On failure `why` holds one line that says what is missing.
bool canReachDisplay(QString& why);
