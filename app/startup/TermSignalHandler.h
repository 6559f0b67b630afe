#pragma once

#include <QObject>

#include <functional>

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
    // Asked first when a signal arrives; returning true means it has taken
    // over the ending (a command-line recording that finalizes its file
    // before it quits). A further signal quits at once.
    void setFirstResponder(std::function<bool()> responder);

private Q_SLOTS:
    void handleSignal();

private:
    AppController* m_controller;
    QSocketNotifier* m_notifier = nullptr;
    bool m_quitting = false;
    std::function<bool()> m_firstResponder;
    bool m_responded = false;
};
