#pragma once

#include "DeviceWatcher.h"

// Playback devices: sinks of the sound server added or removed, or a new default sink.
class PlaybackDeviceWatcher : public DeviceWatcher
{
    Q_OBJECT

public:
    explicit PlaybackDeviceWatcher(QObject* parent = nullptr)
        : DeviceWatcher(Direction::Playback, parent)
    {
    }
};
