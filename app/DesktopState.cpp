#include "DesktopState.h"

volatile bool g_desktopSwitched = false;
