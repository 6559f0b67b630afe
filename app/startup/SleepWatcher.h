#pragma once

#include <QObject>

class AppController;

// Tells the controller when the machine is about to sleep and when it woke
// up, from logind's PrepareForSleep signal on the system bus.
class SleepWatcher : public QObject
{
    Q_OBJECT

public:
    explicit SleepWatcher(AppController* controller, QObject* parent = nullptr);

    // Subscribes to the signal. False when there is no system bus or no
    // logind on it; the program then simply never hears of sleep.
    bool start();

private Q_SLOTS:
    void prepareForSleep(bool goingToSleep);

private:
    AppController* m_controller;
};
