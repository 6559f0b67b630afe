#include "CommandLineRecording.h"

#include "AppController.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"
#include "ffmpegMux.h"

#include <QDebug>
#include <QDir>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>

#include <cstdio>

namespace {
// The controller refuses anything smaller.
constexpr int kMinWidth = 16;
constexpr int kMinHeight = 8;

QString describe(const QRect& r)
{
    return QStringLiteral("%1,%2 %3x%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}
} // namespace

CommandLineRecording::CommandLineRecording(AppController* controller, const RecordingRequest& request, QObject* parent)
    : QObject(parent)
    , m_controller(controller)
    , m_request(request)
{
}

int CommandLineRecording::screenIndexFor(const QRect& rect)
{
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (int i = 0; i < screens.size(); ++i) {
        if (screens[i]->geometry().contains(rect.topLeft()))
            return i;
    }
    for (int i = 0; i < screens.size(); ++i) {
        if (screens[i]->geometry().intersects(rect))
            return i;
    }
    return -1;
}

QString CommandLineRecording::screenProblem(const QRect& rect)
{
    if (screenIndexFor(rect) >= 0)
        return QString();
    return QStringLiteral("-record: %1 lies outside every screen").arg(describe(rect));
}

void CommandLineRecording::printError(const QString& message)
{
    fprintf(stderr, "orlune: %s\n", message.toLocal8Bit().constData());
    fflush(stderr);
}

void CommandLineRecording::printResult(const QString& key, const QString& value)
{
    fprintf(stdout, "%s: %s\n", key.toLocal8Bit().constData(), value.toLocal8Bit().constData());
    fflush(stdout);
}

int CommandLineRecording::exitStatus(int loopStatus) const
{
    return m_status >= 0 ? m_status : loopStatus;
}

void CommandLineRecording::start()
{
    const QRect& rect = m_request.rect;
    qDebug().noquote() << "[CLI]: record" << describe(rect) << "duration:" << m_request.durationSeconds
                       << "exit when done:" << m_request.exitWhenDone;
    const int screen = screenIndexFor(rect);
    if (screen < 0) {
        refuse(screenProblem(rect));
        return;
    }
    ffmpegMux* coder = m_controller->coder;
    if (!coder || m_controller->videoState != Common::Idle) {
        refuse(QStringLiteral("-record: the recorder is not ready"));
        return;
    }
    connect(coder, &ffmpegMux::recordingStarted, this, &CommandLineRecording::onRecordingStarted);
    connect(coder, &ffmpegMux::recordingDone, this, &CommandLineRecording::onRecordingDone);
    connect(coder, &ffmpegMux::recordingFailed, this, &CommandLineRecording::onRecordingFailed);
    // The session thread's end comes after every report it sends, recordingFailed included.
    connect(coder, &QThread::finished, this, &CommandLineRecording::onSessionEnded);
    connect(m_controller, &AppController::shareLinkReady, this, &CommandLineRecording::onShareLinkReady);

    // The same steps the selection overlay and the recording dialog take.
    m_controller->showVideoRecordingDialog(rect.x(), rect.y(), rect.width(), rect.height(), screen);
    if (m_controller->videoState != Common::Busy) {
        refuse(QStringLiteral("-record: the recording was refused (no permission to record the screen or sound)"));
        return;
    }
    m_controller->setSelectedRectangle(rect);
    m_controller->toggleRecordingSkin();
    if (!m_controller->is_starting) {
        if (rect.width() < kMinWidth || rect.height() < kMinHeight)
            refuse(QStringLiteral("-record: %1x%2 is below the smallest recordable size, %3x%4")
                       .arg(rect.width())
                       .arg(rect.height())
                       .arg(kMinWidth)
                       .arg(kMinHeight));
        else
            refuse(QStringLiteral("-record: the recording could not be started"));
        return;
    }
    m_stage = Stage::Starting;
}

void CommandLineRecording::stop()
{
    if (m_stage != Stage::Recording)
        return;
    qDebug() << "[CLI]: stopping the recording";
    m_stage = Stage::Stopping;
    m_controller->toggleRecordingSkin();
}

bool CommandLineRecording::stopForSignal()
{
    switch (m_stage) {
    case Stage::Starting:
        // A stop while starting is dropped by the controller: stop once it runs.
        m_stopWhenStarted = true;
        break;
    case Stage::Recording: stop(); break;
    case Stage::Stopping:
    case Stage::Finalizing: break;
    default: return false;
    }
    qDebug() << "[CLI]: signal: the recording is stopped and the program ends once it is finalized";
    m_request.exitWhenDone = true;
    return true;
}

void CommandLineRecording::onRecordingStarted(int result)
{
    if (m_stage != Stage::Starting)
        return;
    qDebug() << "[CLI]: recording started" << result;
    m_stage = Stage::Recording;
    if (m_stopWhenStarted)
        stop();
    else if (m_request.durationSeconds > 0)
        QTimer::singleShot(qRound(m_request.durationSeconds * 1000), this, &CommandLineRecording::stop);
}

void CommandLineRecording::onRecordingDone(int result)
{
    if (m_stage < Stage::Starting || m_stage > Stage::Stopping)
        return;
    qDebug() << "[CLI]: recording done" << result;
    m_stage = Stage::Finalizing;
    m_doneResult = result;
    m_fileId = m_controller->coder->fileId;
}

void CommandLineRecording::onRecordingFailed(int reason)
{
    if (m_stage != Stage::Finalizing)
        return;
    qDebug() << "[CLI]: recording failed" << reason;
    m_failReason = reason;
}

QString CommandLineRecording::failureText() const
{
    if (m_doneResult < 0)
        return QStringLiteral("recording failed: the recording session could not start (error %1)").arg(m_doneResult);
    switch (m_failReason) {
    case 0: return QStringLiteral("recording failed: the screen capture stopped delivering");
    case 1: return QStringLiteral("recording failed: the sound capture stopped delivering");
    default: return QStringLiteral("recording failed: the recording session could not start");
    }
}

void CommandLineRecording::onSessionEnded()
{
    if (m_stage != Stage::Finalizing)
        return;
    disconnect(m_controller->coder, nullptr, this, nullptr);
    if (m_doneResult >= 0) {
        const QString folder = SettingsManager::instance()->readSettingStr(SettingsKey::files_path);
        printResult(QStringLiteral("file"), QDir(folder).absoluteFilePath(m_controller->lastFileName));
    }
    if (m_doneResult < 0 || m_failReason >= 0) {
        printError(failureText());
        m_stage = Stage::Done;
        if (m_request.exitWhenDone)
            finish(kRecordingFailed);
        return;
    }
    if (m_controller->coder->uploadWhileRecording && m_pendingLink.isEmpty()) {
        // The upload of this recording is under way; its link follows.
        qDebug() << "[CLI]: waiting for the share link of file" << m_fileId;
        m_stage = Stage::AwaitingLink;
        return;
    }
    if (!m_pendingLink.isEmpty())
        printResult(QStringLiteral("link"), m_pendingLink);
    m_stage = Stage::Done;
    if (m_request.exitWhenDone)
        finish(0);
}

void CommandLineRecording::onShareLinkReady(uint fileId, const QString& url)
{
    // Links of other files (earlier uploads still in the queue) are not ours.
    if (m_stage < Stage::Finalizing || m_stage == Stage::Done || fileId != m_fileId)
        return;
    qDebug().noquote() << "[CLI]: share link of file" << fileId << url;
    if (m_stage == Stage::Finalizing) {
        m_pendingLink = url;
        return;
    }
    printResult(QStringLiteral("link"), url);
    m_stage = Stage::Done;
    if (m_request.exitWhenDone)
        finish(0);
}

void CommandLineRecording::refuse(const QString& message)
{
    qDebug().noquote() << "[CLI]: refused:" << message;
    printError(message);
    m_stage = Stage::Done;
    finish(kBadRequest);
}

void CommandLineRecording::finish(int status)
{
    qDebug() << "[CLI]: finished, exit status" << status;
    m_status = status;
    m_controller->quit();
}
