// The sign-in web dialog: the account page opens in main.qml's
// credentialsDialog, which runs the web channel's page script in it.
#include "UIController.h"

#include <QDebug>
#include <QFile>
#include <QMessageBox>
#include <QWebEngineCookieStore>
#include <QWebEngineProfile>

void UIController::showCredentials(QString uri, QString title, bool clear_cookies)
{
    if (uri.isEmpty()) {
        qWarning() << "[UIC]: showCredentials: empty URI, aborting";
        return;
    }
    if (clear_cookies) {
        qDebug() << "[UIC]: showCredentials: attempting to clear cookies";
        QWebEngineProfile* profile = QWebEngineProfile::defaultProfile();
        QWebEngineCookieStore* cookies = profile ? profile->cookieStore() : nullptr;
        if (!profile) {
            qWarning() << "[UIC]: showCredentials: defaultProfile is null, cannot clear cookies";
        } else if (!cookies) {
            qWarning() << "[UIC]: showCredentials: cookieStore is null, cannot clear cookies";
        } else {
            cookies->deleteAllCookies();
            qDebug() << "[UIC]: showCredentials: all cookies deleted successfully";
        }
    }
    qDebug() << "[UIC]: showCredentials: emitting showCredentialsDialog";
    emit showCredentialsDialog(uri, title);
}

QString UIController::credentialsApiScript(QString uri)
{
    if (uri == QLatin1String("about:blank"))
        return QString();
    QFile file(QStringLiteral(":/qwebchannel.js"));
    const QString script = file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()) : QString();
    if (script.isEmpty()) {
        qWarning() << "[CF]: Couldn't load Qt's QWebChannel API!";
        QMessageBox::warning(nullptr, QStringLiteral("Orlune"), QStringLiteral("Couldn't load Qt's QWebChannel API!"));
    }
    return script;
}
