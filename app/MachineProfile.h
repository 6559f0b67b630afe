#pragma once

#include <QString>
#include <QtGlobal>

// Small facts about the machine that the workflow decides on.
bool memoryStatus(quint64& total, quint64& available);
float cpuLoad();
bool is4KSuitable(QString& reason);
int cpuFamily();
int cpuModel();
void cpuVendor(char vendor[13]);
bool isDwmCompositionEnabled();
QString machineId();
bool checkForOpenH264Version(QString& version);
