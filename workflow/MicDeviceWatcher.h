#pragma once

#include "DeviceWatcher.h"

// Microphones: sources of the sound server added or removed, or a new default source.
class MicDeviceWatcher : public DeviceWatcher
{
    Q_OBJECT

public:
    explicit MicDeviceWatcher(QObject* parent = nullptr)
        : DeviceWatcher(Direction::Capture, parent)
    {
    }
};
