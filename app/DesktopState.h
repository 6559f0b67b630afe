#pragma once

// Process-wide flag that a secure desktop has the screen. X11 has no such
// desktop switch, so it stays false there; the recording watchdog reads it.
extern volatile bool g_desktopSwitched;
