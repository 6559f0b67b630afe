// AppController's tray: the icon in the desktop's system tray and its menu,
// the program's permanent face beside the floating menu. A desktop without a
// system tray gets one log line; the icon shows as soon as a tray appears.
#include "AppController.h"

#include <QAction>
#include <QCursor>
#include <QDebug>
#include <QIcon>
#include <QMenu>

namespace {
const char* const kTrayIcon = ":/images/tray/Orlune-logo_taskbar.png";
// How often a desktop without a system tray is asked again; one X request each time.
const int kTrayPollMs = 2000;
} // namespace

void AppController::createTray()
{
    // A run without an interface (a command-line recording) has no tray.
    if (!interfaceFactory || trayIcon)
        return;
    trayMenu = new QMenu();
    trayMenu->setWindowTitle(QStringLiteral("trayMenu"));
    trayVideoAction =
        trayMenu->addAction(QIcon(":/images/tray/Orlune-Extra-Assets_0000_Font-Awesome-Video.png"),
                            QStringLiteral("Video Recording"), this, &AppController::showScreenCaptureVideoDialog);
    // The shortcut is only shown: the global hot key does the work.
    trayVideoAction->setShortcutContext(Qt::WidgetShortcut);
    trayVideoAction->setShortcutVisibleInContextMenu(true);
    trayMenu->addAction(QIcon(":/images/tray/Orlune-Extra-Assets_0001_Font-Awesome-Camera.png"),
                        QStringLiteral("Image Capture"), this, &AppController::showScreenCaptureImageDialog);
    trayMenu->addAction(QIcon(":/images/tray/Orlune-Extra-Assets_0003_Font-Awesome-cog.png"),
                        QStringLiteral("Settings"), this, [this] { port->showSettingsSignal(); });
    trayMenu->addAction(QIcon(":/images/tray/Orlune-Extra-Assets_0004_Font-Awesome-Undo-Alt.png"),
                        QStringLiteral("Check for updates"), this, &AppController::forceInstallUpdate);
    trayMenu->addAction(QIcon(":/images/tray/Orlune-Extra-Assets_0005_Font-Awesome-Times.png"),
                        QStringLiteral("Quit Orlune"), this, &AppController::quit);
    showTrayShortcut(keySequence);
    connect(this, &AppController::keySequenceChanged, this, &AppController::showTrayShortcut);

    trayIcon = new QSystemTrayIcon(QIcon(kTrayIcon), this);
    trayIcon->setToolTip(QStringLiteral("Orlune"));
    trayIcon->setContextMenu(trayMenu);
    connect(trayIcon, &QSystemTrayIcon::activated, this, &AppController::iconActivated);

    trayPollTimer = new QTimer(this);
    trayPollTimer->setInterval(kTrayPollMs);
    connect(trayPollTimer, &QTimer::timeout, this, &AppController::showTrayWhenAvailable);
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        showTrayWhenAvailable();
    } else {
        qDebug() << "[AC]: No system tray available: the floating menu stays the way in";
        trayPollTimer->start();
    }
}

void AppController::showTrayWhenAvailable()
{
    if (!trayIcon || !QSystemTrayIcon::isSystemTrayAvailable())
        return;
    trayPollTimer->stop();
    trayIcon->show();
    qDebug() << "[AC]: tray icon shown";
}

void AppController::showTrayShortcut(const QString& text)
{
    if (!trayVideoAction)
        return;
    trayVideoAction->setShortcut(QKeySequence(text));
    // One line with the items in their order, the shortcut in brackets.
    QStringList items;
    for (const QAction* action : trayMenu->actions()) {
        const QString shortcut = action->shortcut().toString(QKeySequence::PortableText);
        items << (shortcut.isEmpty() ? action->text() : action->text() + " (" + shortcut + ")");
    }
    qDebug().noquote() << "[AC]: tray menu:" << items.join(" | ");
}

void AppController::iconActivated(QSystemTrayIcon::ActivationReason reason)
{
    qDebug() << "[AC]:"
             << "iconActivated" << reason;
    // The right button opens the menu by itself; a plain click opens it too,
    // since the program has no main window to show.
    if (reason == QSystemTrayIcon::Trigger && trayMenu)
        trayMenu->popup(QCursor::pos());
}

void AppController::showScreenCaptureImageDialog()
{
    showScreenDialogs(Common::SCREENSHOT);
}
