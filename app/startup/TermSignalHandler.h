#pragma once

#include <QObject>

class AppController;
class QSocketNotifier;

// Turns SIGTERM and SIGINT into the controller's normal quit, so that a
// service manager or a terminal ends the program through the same door as
// the tray menu: hot keys released, database closed, log flushed.
class TermSignalHandler : public QObject
{
    Q_OBJECT

public:
    explicit TermSignalHandler(AppController* controller, QObject* parent = nullptr);
    ~TermSignalHandler() override;

    // Installs the signal handlers. False when the wake-up pipe can't be made.
    bool install();

private Q_SLOTS:
    void handleSignal();

private:
    AppController* m_controller;
    QSocketNotifier* m_notifier = nullptr;
    bool m_quitting = false;
};
