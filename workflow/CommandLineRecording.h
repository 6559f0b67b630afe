#pragma once

#include "RecordingRequest.h"

#include <QObject>
#include <QString>

class AppController;

// A recording asked for on the command line (-record X,Y,W,H, -duration S,
// -exit-when-done). It drives the controller through the same path as the
// interface: the chosen rectangle goes to showVideoRecordingDialog and
// setSelectedRectangle, the start and the stop are toggleRecordingSkin, and
// every check of that path applies. It reports on the console: "file: <path>"
// and, for an uploaded recording, "link: <url>" on standard output; one line
// per fault on standard error. Created by start-up after runTasks; start()
// runs once the event loop runs.
class CommandLineRecording : public QObject
{
    Q_OBJECT

public:
    // Exit statuses of a command-line recording beside 0 for success.
    static constexpr int kRecordingFailed = 1;
    static constexpr int kBadRequest = 2;

    CommandLineRecording(AppController* controller, const RecordingRequest& request, QObject* parent = nullptr);

    // The screen that holds the rectangle's origin, else the first screen the
    // rectangle overlaps; -1 when it overlaps no screen of the desktop.
    static int screenIndexFor(const QRect& rect);
    // Empty when the rectangle overlaps a screen, else the line that says it does not.
    static QString screenProblem(const QRect& rect);
    // One line on standard error, "orlune: " in front.
    static void printError(const QString& message);

    // The process's exit status: what the recording decided, else the event loop's own.
    int exitStatus(int loopStatus) const;

    // A TERM or INT arrived. A recording of ours that is running or starting
    // is stopped as the stop button would, and the program ends once the file
    // is finalized. False when there is nothing of ours to stop.
    bool stopForSignal();

public slots:
    void start();
    // The stop button: ends a running recording through the controller.
    void stop();

private slots:
    void onRecordingStarted(int result);
    void onRecordingDone(int result);
    void onRecordingFailed(int reason);
    void onSessionEnded();
    void onShareLinkReady(uint fileId, const QString& url);

private:
    enum class Stage { Waiting, Starting, Recording, Stopping, Finalizing, AwaitingLink, Done };

    void refuse(const QString& message);
    void finish(int status);
    QString failureText() const;
    static void printResult(const QString& key, const QString& value);

    AppController* m_controller;
    RecordingRequest m_request;
    Stage m_stage = Stage::Waiting;
    bool m_stopWhenStarted = false;
    int m_doneResult = 0;
    int m_failReason = -1;
    uint m_fileId = 0;
    QString m_pendingLink;
    int m_status = -1;
};
