#include "StartOptions.h"

#include <QtGlobal>

namespace {
// True when the variable holds a decimal number above 0; it is then reset.
bool takeFlagVariable(const char* name)
{
    if (qEnvironmentVariableIntValue(name) <= 0)
        return false;
    qputenv(name, "0");
    return true;
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

    if (takeFlagVariable("KVD_ORLUNE_DELAYED"))
        o.delayed = true;
    if (takeFlagVariable("KVD_ORLUNE_RMOLDVERSION"))
        o.rmOldVersion = true;
    return o;
}
