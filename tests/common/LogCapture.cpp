#include "LogCapture.h"

#include <QMutex>

namespace {
QtMessageHandler previous = nullptr;
QMutex mutex;
QStringList collected;
} // namespace

LogCapture::LogCapture()
{
    clear();
    previous = qInstallMessageHandler(collect);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(previous);
}

QStringList LogCapture::lines()
{
    QMutexLocker lock(&mutex);
    return collected;
}

int LogCapture::count(const QString& text)
{
    int n = 0;
    for (const QString& line : lines())
        n += line.contains(text) ? 1 : 0;
    return n;
}

void LogCapture::clear()
{
    QMutexLocker lock(&mutex);
    collected.clear();
}

void LogCapture::collect(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    {
        QMutexLocker lock(&mutex);
        collected << message;
    }
    if (previous)
        previous(type, context, message);
}
