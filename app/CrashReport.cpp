#include "CrashReport.h"

#include "CrashUploader.h"
#include "FatalSignalHandler.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>
#include <QUuid>

namespace {

struct Reporting
{
    QMutex mutex;
    QString folder;
    QString release;
    QJsonObject user;
    QThread* uploadThread = nullptr;
    CrashUploader* uploader = nullptr;
};

Reporting& reporting()
{
    static Reporting state;
    return state;
}

QString newEventId()
{
    return QUuid::createUuid().toString(QUuid::Id128);
}

const char* levelName(int level)
{
    switch (level) {
    case 1: return "warning";
    case 2: return "error";
    case 3: return "fatal";
    default: return "info";
    }
}

QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// The part of a crash event known before the crash: everything but user,
// message, time and backtrace, as the opening of a JSON object.
QByteArray crashEventHead(const QString& eventId, const QString& release)
{
    QByteArray head = compact(QJsonObject{{"event_id", eventId},
                                          {"level", "fatal"},
                                          {"logger", "[CRASH]"},
                                          {"platform", "native"},
                                          {"release", release}});
    head.chop(1); // the closing brace; the handler writes the rest
    return head + ",";
}

void stopUploader(Reporting& state)
{
    if (!state.uploadThread)
        return;
    state.uploadThread->quit();
    // Pending posts are given up; the event files stay for a later start.
    if (state.uploadThread->wait(3000))
        delete state.uploadThread;
    state.uploadThread = nullptr;
    state.uploader = nullptr;
}

void startUploader(Reporting& state, const QString& dsn)
{
    state.uploadThread = new QThread;
    state.uploadThread->setObjectName("CrashUploader");
    state.uploader = new CrashUploader(QUrl(dsn));
    state.uploader->moveToThread(state.uploadThread);
    QObject::connect(state.uploadThread, &QThread::finished, state.uploader, &QObject::deleteLater);
    state.uploadThread->start();
}

// Crash events written by a previous run wait as "*.pending.json" until an endpoint takes them.
void sendPendingCrashEvents(Reporting& state)
{
    QDir folder(state.folder);
    for (const QString& name : folder.entryList({"*.pending.json"}, QDir::Files)) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        state.uploader->postLater(file.readAll());
        file.close();
        file.rename(folder.filePath(QString(name).replace(".pending.json", ".json")));
    }
}

} // namespace

namespace CrashReport {

void init(const QString& databasePath, const QString& release, const QString& dsn)
{
    Reporting& state = reporting();
    QMutexLocker lock(&state.mutex);
    stopUploader(state);
    state.folder = databasePath;
    state.release = release;
    if (!QDir().mkpath(databasePath))
        qWarning() << "[CrashReport]: can't create the events folder" << databasePath;

    const QString crashId = newEventId();
    FatalSignalHandler::install(QDir(databasePath).filePath(crashId + ".pending.json").toLocal8Bit(),
                                crashEventHead(crashId, release));
    FatalSignalHandler::setUserJson(compact(state.user));

    if (!dsn.isEmpty()) {
        startUploader(state, dsn);
        sendPendingCrashEvents(state);
    }
}

void setUser(const QVariantMap& user)
{
    Reporting& state = reporting();
    QMutexLocker lock(&state.mutex);
    state.user = QJsonObject::fromVariantMap(user);
    FatalSignalHandler::setUserJson(compact(state.user));
}

void removeUser()
{
    setUser(QVariantMap());
}

void close()
{
    Reporting& state = reporting();
    QMutexLocker lock(&state.mutex);
    stopUploader(state);
}

QString captureMessage(int level, const char* logger, const QString& text)
{
    Reporting& state = reporting();
    QMutexLocker lock(&state.mutex);
    if (state.folder.isEmpty()) {
        qWarning() << "[CrashReport]: reporting is not open, event dropped:" << logger << text;
        return QString();
    }
    const QString eventId = newEventId();
    const QJsonObject event{{"event_id", eventId},
                            {"level", levelName(level)},
                            {"logger", QString::fromLocal8Bit(logger)},
                            {"message", text},
                            {"timestamp", QDateTime::currentDateTimeUtc().toString(Qt::ISODate)},
                            {"platform", "native"},
                            {"release", state.release},
                            {"user", state.user}};
    const QByteArray json = QJsonDocument(event).toJson(QJsonDocument::Indented);

    const QString path = QDir(state.folder).filePath(eventId + ".json");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size()) {
        qWarning() << "[CrashReport]: can't write event" << path << file.errorString();
        return QString();
    }
    file.close();
    if (state.uploader)
        state.uploader->postLater(json);
    return path;
}

} // namespace CrashReport

void sentryCaptureWarning(const char* logger, const QString& text)
{
    CrashReport::captureMessage(1, logger, text);
}

void sentryCaptureError(const char* logger, const QString& text)
{
    CrashReport::captureMessage(2, logger, text);
}

void sentryCaptureFatal(const char* logger, const QString& text)
{
    CrashReport::captureMessage(3, logger, text);
}
