#pragma once

#include "RecordingRequest.h"

#include <QString>
#include <QStringList>

// What the command line and the environment say about this start.
struct StartOptions
{
    // A restart after an update: the old copy may still be ending.
    bool delayed = false;
    bool rmOldVersion = false;
    bool webDebug = false;
    bool console = false;
    // -record X,Y,W,H [-duration S] [-exit-when-done]
    RecordingRequest record;
    // One line that says what is wrong with the command line; empty when nothing is.
    QString error;

    // Reads the flags (matched exactly against the arguments) and the
    // KVD_ORLUNE_* variables, setting those variables back to "0" so that
    // children of this process start normally. -webdebug also switches on
    // remote debugging of the web views.
    static StartOptions fromArgumentsAndEnvironment(const QStringList& arguments);
};
