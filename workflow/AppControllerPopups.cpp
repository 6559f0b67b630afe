// The pop-up at the bottom of the screen: showing it, what its two buttons
// do for each kind of message, and the two places they lead to (a web page,
// the folder of a saved file).
#include "AppController.h"

#include "ApiCalls.h"

#include <QClipboard>
#include <QDebug>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMetaEnum>
#include <QProcess>
#include <QUrl>

namespace {
const char* typeName(Common::MsgType type)
{
    const char* name = QMetaEnum::fromType<Common::MsgType>().valueToKey(type);
    return name ? name : "unknown";
}
} // namespace

void AppController::showPopup(Common::MsgType msg, QString description)
{
    qDebug() << "[AC]:"
             << "showPopup" << typeName(msg) << description;
    lastPopupType = msg;
    emit showPopupSignal(msg, description);
}

void AppController::showPopupSkin(Common::MsgType msg, QString description)
{
    qDebug() << "[AC]:"
             << "showPopupSkin" << typeName(msg) << description;
    showPopup(msg, description);
}

// The buttons act on the kind of the last pop-up shown, which is the one on
// screen; the kind the window reports is only logged.
void AppController::bottomPopupLeftClicked(Common::MsgType type)
{
    qDebug() << "[AC]:"
             << "bottomPopupLeftClicked" << typeName(type) << "last:" << typeName(lastPopupType);
    switch (lastPopupType) {
    case Common::MsgLogin: signUp(); break;
    case Common::MsgCloud:
        if (apiCalls)
            apiCalls->invokeGetUploadUrl(lastFileId);
        openClipboardLink();
        break;
    case Common::MsgStorage:
        if (apiCalls)
            apiCalls->invokeShareClicked(lastFileId);
        break;
    case Common::MsgClipboard:
        if (apiCalls)
            apiCalls->invokeGetUploadUrl(lastFileId);
        break;
    // This kind's one button, "Open File Location", is on the left.
    case Common::MsgStorageWithOpenLocation: openFileLocation(); break;
    default: break;
    }
}

void AppController::bottomPopupRightClicked(Common::MsgType type)
{
    qDebug() << "[AC]:"
             << "bottomPopupRightClicked"
             << "type:" << typeName(type) << "last:" << typeName(lastPopupType);
    switch (lastPopupType) {
    case Common::MsgLogin: logIn(); break;
    case Common::MsgExtVideoLink: openClipboardLink(); break;
    case Common::MsgStorageWithOpenLocation: openFileLocation(); break;
    default: break;
    }
}

// The share link lands on the clipboard; an empty clipboard opens nothing.
void AppController::openClipboardLink()
{
    const QString link = QGuiApplication::clipboard()->text().trimmed();
    if (link.isEmpty()) {
        qDebug() << "[AC]: No link on the clipboard to open";
        return;
    }
    openBrowser(link);
}

void AppController::openBrowser(QString url)
{
    qDebug() << "[AC]:"
             << "openBrowser"
             << "default system browser" << url;
    QDesktopServices::openUrl(QUrl(url));
}

// Shows the folder that holds the last saved file in the desktop's file manager.
void AppController::openFileLocation()
{
    qDebug() << "[AC]:"
             << "openFileLocation"
             << "Path:" << savedFilePath;
    if (savedFilePath.isEmpty()) {
        qDebug() << "[AC]: No saved file path available";
        return;
    }
    const QFileInfo file(savedFilePath);
    if (!file.exists()) {
        qDebug() << "[AC]: Saved file does not exist:" << savedFilePath;
        return;
    }
    const QString folder = file.absolutePath();
    const bool started = QProcess::startDetached(QStringLiteral("xdg-open"), {folder});
    qDebug() << "[AC]: xdg-open" << folder << (started ? "started" : "could not be started");
}
