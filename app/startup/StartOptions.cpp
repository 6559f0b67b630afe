#include "StartOptions.h"

#include <QtGlobal>
#include <cmath>

namespace {
const QString kRecordFlag = QStringLiteral("-record");
const QString kDurationFlag = QStringLiteral("-duration");
const QString kExitWhenDoneFlag = QStringLiteral("-exit-when-done");

// True when the variable holds a decimal number above 0; it is then reset.
bool takeFlagVariable(const char* name)
{
    if (qEnvironmentVariableIntValue(name) <= 0)
        return false;
    qputenv(name, "0");
    return true;
}

// The argument after `flag`. False when the flag is absent; `value` is null
// when the flag is the last argument.
bool valueOf(const QStringList& arguments, const QString& flag, QString& value)
{
    const int at = int(arguments.indexOf(flag));
    if (at < 0)
        return false;
    value = at + 1 < arguments.size() ? arguments.at(at + 1) : QString();
    return true;
}

// "X,Y,W,H" in whole pixels; X and Y may be negative on a desktop whose
// screens reach left of or above the primary one.
QString parseRectangle(const QString& text, QRect& rect)
{
    const QString wrong = QStringLiteral("-record wants X,Y,W,H as four integers, got \"%1\"").arg(text);
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4)
        return wrong;
    int v[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        v[i] = parts[i].trimmed().toInt(&ok, 10);
        if (!ok)
            return wrong;
    }
    if (v[2] < 0 || v[3] < 0)
        return QStringLiteral("-record: width and height must not be negative, got \"%1\"").arg(text);
    rect = QRect(v[0], v[1], v[2], v[3]);
    return QString();
}

QString parseDuration(const QString& text, double& seconds)
{
    bool ok = false;
    seconds = text.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(seconds) || seconds <= 0.0)
        return QStringLiteral("-duration wants a number of seconds above 0, got \"%1\"").arg(text);
    return QString();
}

// -record and its companions; the first fault found is the one reported.
QString parseRecordingRequest(const QStringList& arguments, RecordingRequest& request)
{
    QString rectText;
    QString durationText;
    request.requested = valueOf(arguments, kRecordFlag, rectText);
    const bool hasDuration = valueOf(arguments, kDurationFlag, durationText);
    request.exitWhenDone = arguments.contains(kExitWhenDoneFlag);
    if (!request.requested) {
        if (hasDuration || request.exitWhenDone)
            return QStringLiteral("-duration and -exit-when-done need -record X,Y,W,H");
        return QString();
    }
    if (rectText.isNull())
        return QStringLiteral("-record wants X,Y,W,H after it");
    QString error = parseRectangle(rectText, request.rect);
    if (error.isEmpty() && hasDuration)
        error = durationText.isNull() ? QStringLiteral("-duration wants a number of seconds after it")
                                      : parseDuration(durationText, request.durationSeconds);
    return error;
}
} // namespace

StartOptions StartOptions::fromArgumentsAndEnvironment(const QStringList& arguments)
{
    StartOptions o;
    o.delayed = arguments.contains(QStringLiteral("-delayed"));
    o.rmOldVersion = arguments.contains(QStringLiteral("-rmoldversion"));
    o.webDebug = arguments.contains(QStringLiteral("-webdebug"));
    o.console = arguments.contains(QStringLiteral("-console"));
    if (o.webDebug)
        qputenv("QTWEBENGINE_REMOTE_DEBUGGING", "54321");
    o.error = parseRecordingRequest(arguments, o.record);

    if (takeFlagVariable("KVD_ORLUNE_DELAYED"))
        o.delayed = true;
    if (takeFlagVariable("KVD_ORLUNE_RMOLDVERSION"))
        o.rmOldVersion = true;
    return o;
}
