#pragma once

#include <QSize>
#include <QString>
#include <QtGlobal>

// What the 4K decision looks at, gathered by is4KSuitable from the machine.
struct Recording4KInputs
{
    bool recording4kFails = false; // an earlier 4K recording could not keep up
    QSize desktop;                 // virtual geometry of the primary screen
    int idealThreadCount = 0;
    quint64 totalMemory = 0;     // bytes
    quint64 availableMemory = 0; // bytes
    QString cpuVendor;
    int cpuFamily = 0;
    int cpuModel = 0;
};

// Whether the machine can record in 4K; a refusal leaves its reason in <reason>.
bool decide4KSuitable(const Recording4KInputs& in, QString& reason);
