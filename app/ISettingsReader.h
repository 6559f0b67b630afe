#pragma once

#include <QPoint>
#include <QString>
#include <QVariant>

// Read access to the program's configuration by string key.
class ISettingsReader
{
public:
    virtual ~ISettingsReader() = default;
    virtual bool readSettingBool(QString setting) = 0;
    virtual QString readSettingStr(QString setting) = 0;
    virtual int readSettingInt(QString setting) = 0;
    virtual double readSettingDouble(QString setting) = 0;
    virtual QVariant readSetting(QString setting) = 0;
    virtual QPoint readSettingPoint(QString setting) = 0;
};
