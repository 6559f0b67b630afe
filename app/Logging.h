#pragma once

#include <QString>
#include <QtGlobal>
#include <cstdarg>

class QTextStream;

// The log of this run: one file per start, every line the bare message text.
namespace Logging {
// File name for a start at the current local time: "LOG_%Y.%m.%d_%H.%M.%S.log".
QString logFileName();
// Opens <dataFolder>/<fileName> for appending, attaches the global stream and
// installs messageHandler. Returns false when the file could not be opened
// (lines then still reach stderr).
bool openLogFile(const QString& dataFolder, const QString& fileName);
void closeLogFile();
// Routes FFmpeg's messages into the log unless FFMPEG_LOG_STDERR is set or a
// console is attached (stderr is a terminal).
void routeFfmpegLog();
// Whether log lines are also written to stderr (the default). Off while a
// command-line recording keeps the console for its own results and errors;
// FFmpeg's messages then go to the log as well.
void setConsoleEcho(bool on);
} // namespace Logging

void messageHandler(QtMsgType type, const QMessageLogContext& context, const QString& text);
void ffmpegLogCallback(void* avcl, int level, const char* fmt, va_list args);
void deleteOldLogFiles(int days);
