#pragma once

#include <QByteArray>

// Writes one last crash event when the process dies of a fatal signal
// (SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL), then lets the signal take its
// default course. Everything the handler needs is prepared here beforehand,
// so that the handler itself only uses async-signal-safe calls.
namespace FatalSignalHandler {
// eventPath: the file the event goes to. eventHead: the opening of the JSON
// object with the members that never change, ending in a comma.
void install(const QByteArray& eventPath, const QByteArray& eventHead);
// The user object (compact JSON) put into the event.
void setUserJson(const QByteArray& userJson);
} // namespace FatalSignalHandler
