#pragma once

#include <QObject>

// Follows the sound server's devices of one direction and emits
// devicesChanged() on the watcher's own thread when one is added or removed,
// or when the default device of that direction changes. The server's
// notifications arrive on a thread of the sound library; they only post the
// signal, so receivers touch their lists on their own thread alone.
class DeviceWatcher : public QObject
{
    Q_OBJECT

public:
    ~DeviceWatcher() override;

    // Subscribes to the server's notifications. A second start is ignored
    // while the subscription exists. False when no subscription could be set
    // up; a server that can't be reached is logged once it has refused.
    bool start();
    void stop();
    bool isRunning() const { return client != nullptr; }

    // The platform's subscription, defined by the backend.
    struct NotificationClient;

signals:
    void devicesChanged();

protected:
    enum class Direction { Capture, Playback };
    DeviceWatcher(Direction direction, QObject* parent);

private:
    Direction direction;
    NotificationClient* client = nullptr;
};
