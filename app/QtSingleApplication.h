#pragma once

#include <QApplication>
#include <QPointer>

class QtLocalPeer;
class QWidget;

// The application object that also guards against a second copy per user:
// a later start hands its message to the running copy (messageReceived) and
// can then end.
class QtSingleApplication : public QApplication
{
    Q_OBJECT

public:
    QtSingleApplication(int& argc, char** argv, bool GUIenabled = true);
    QtSingleApplication(const QString& id, int& argc, char** argv);

    // True when another copy already owns the channel. The first call on the
    // owning copy makes it listen.
    bool isRunning();
    QString id() const;

    // The window raised by activateWindow(), optionally on every message.
    void setActivationWindow(QWidget* aw, bool activateOnMessage = true);
    QWidget* activationWindow() const;

public Q_SLOTS:
    bool sendMessage(const QString& message, int timeout = 5000);
    void activateWindow();

Q_SIGNALS:
    void messageReceived(const QString& message);

private:
    void sysInit(const QString& appId = QString());

    QtLocalPeer* peer = nullptr;
    QPointer<QWidget> actWin;
};
