#pragma once

#include <QString>
#include <QVariant>

// Write access to the program's configuration; every write reaches the store at once.
class ISettingsWriter
{
public:
    virtual ~ISettingsWriter() = default;
    virtual void writeSetting(QString setting, QVariant value) = 0;
};
