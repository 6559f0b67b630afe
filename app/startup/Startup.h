#pragma once

// The program's whole order of start and shutdown. Returns the exit status:
// 0 normally and for a second copy that handed its message over, 1 when the
// media library can't be opened, else what the event loop returns.
int runOrlune(int argc, char** argv);
