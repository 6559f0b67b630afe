#pragma once

// The system sound worker of this platform.
#include "pulseAudioLoopback.h"
