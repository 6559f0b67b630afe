#include "SleepWatcher.h"

#include "AppController.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDebug>

namespace {
const char* const kLogindService = "org.freedesktop.login1";
const char* const kLogindPath = "/org/freedesktop/login1";
const char* const kLogindManager = "org.freedesktop.login1.Manager";
} // namespace

SleepWatcher::SleepWatcher(AppController* controller, QObject* parent)
    : QObject(parent)
    , m_controller(controller)
{
}

bool SleepWatcher::start()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        qDebug() << "[main]: no system bus, sleep and resume are not watched";
        return false;
    }
    const bool ok = bus.connect(QString::fromLatin1(kLogindService), QString::fromLatin1(kLogindPath),
                                QString::fromLatin1(kLogindManager), QStringLiteral("PrepareForSleep"), this,
                                SLOT(prepareForSleep(bool)));
    if (!ok)
        qDebug() << "[main]: cannot watch PrepareForSleep:" << bus.lastError().message();
    return ok;
}

void SleepWatcher::prepareForSleep(bool goingToSleep)
{
    if (!m_controller)
        return;
    if (goingToSleep)
        m_controller->suspendPower();
    else
        m_controller->resumePower();
}
