#include "Logging.h"

#include "CrashReport.h"

#include <QDir>
#include <QFile>
#include <QStringConverter>
#include <QTextStream>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

namespace {
QFile logFile;
QTextStream logStream;
// QTextStream has no lock of its own; one line at a time keeps its buffer whole.
std::mutex logStreamMutex;
bool consoleEcho = true;
} // namespace

namespace Logging {

QString logFileName()
{
    char name[64];
    const time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    strftime(name, sizeof name, "LOG_%Y.%m.%d_%H.%M.%S.log", &local);
    return QString::fromLatin1(name);
}

bool openLogFile(const QString& dataFolder, const QString& fileName)
{
    {
        std::lock_guard<std::mutex> lock(logStreamMutex);
        logStream.setDevice(nullptr);
        logFile.close();
        logFile.setFileName(QDir(dataFolder).filePath(fileName));
        // A file that can't be opened leaves the stream without a device; stderr still gets every line.
        if (logFile.open(QIODevice::WriteOnly | QIODevice::Append))
            logStream.setDevice(&logFile);
        logStream.setEncoding(QStringConverter::System);
    }
    qInstallMessageHandler(messageHandler);
    return logFile.isOpen();
}

void closeLogFile()
{
    qInstallMessageHandler(nullptr);
    std::lock_guard<std::mutex> lock(logStreamMutex);
    logStream.flush();
    logStream.setDevice(nullptr);
    logFile.close();
}

void routeFfmpegLog()
{
    // With the variable set, or with a terminal to read it while log lines reach
    // the console, FFmpeg keeps its own stderr logger.
    if (qEnvironmentVariableIsEmpty("FFMPEG_LOG_STDERR") && (!isatty(STDERR_FILENO) || !consoleEcho)) {
        av_log_set_callback(ffmpegLogCallback);
        av_log_set_level(32);
    }
}

void setConsoleEcho(bool on)
{
    consoleEcho = on;
}

} // namespace Logging

void messageHandler(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    Q_UNUSED(context);
    if (consoleEcho || type == QtFatalMsg)
        fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
    switch (type) {
    case QtDebugMsg:
    case QtWarningMsg:
    case QtCriticalMsg:
    case QtInfoMsg: {
        std::lock_guard<std::mutex> lock(logStreamMutex);
        logStream << text << Qt::endl;
        break;
    }
    case QtFatalMsg: {
        {
            std::lock_guard<std::mutex> lock(logStreamMutex);
            logStream << text << Qt::endl;
        }
        sentryCaptureFatal("[FATAL]", text);
        exit(1);
    }
    default: break;
    }
}
