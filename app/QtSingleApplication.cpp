#include "QtSingleApplication.h"

#include "QtLocalPeer.h"

#include <QWidget>

QtSingleApplication::QtSingleApplication(int& argc, char** argv, bool GUIenabled)
    : QApplication(argc, argv, GUIenabled)
{
    sysInit();
}

QtSingleApplication::QtSingleApplication(const QString& appId, int& argc, char** argv)
    : QApplication(argc, argv)
{
    sysInit(appId);
}

void QtSingleApplication::sysInit(const QString& appId)
{
    actWin = nullptr;
    peer = new QtLocalPeer(this, appId);
    connect(peer, &QtLocalPeer::messageReceived, this, &QtSingleApplication::messageReceived);
}

bool QtSingleApplication::isRunning()
{
    return peer->isClient();
}

bool QtSingleApplication::sendMessage(const QString& message, int timeout)
{
    return peer->sendMessage(message, timeout);
}

QString QtSingleApplication::id() const
{
    return peer->applicationId();
}

void QtSingleApplication::setActivationWindow(QWidget* aw, bool activateOnMessage)
{
    actWin = aw;
    if (activateOnMessage)
        connect(peer, &QtLocalPeer::messageReceived, this, &QtSingleApplication::activateWindow, Qt::UniqueConnection);
    else
        disconnect(peer, &QtLocalPeer::messageReceived, this, &QtSingleApplication::activateWindow);
}

QWidget* QtSingleApplication::activationWindow() const
{
    return actWin;
}

void QtSingleApplication::activateWindow()
{
    if (!actWin)
        return;
    actWin->setWindowState(actWin->windowState() & ~Qt::WindowMinimized);
    actWin->raise();
    actWin->activateWindow();
}
