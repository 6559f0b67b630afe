// Signing in through the sign-in dialog, in the real web engine against the
// reference service. The program's controller and scene run in this process
// as the program starts them with -webdebug, so that the account page can be
// driven over the remote debugging port; the dialog opens from the buttons
// of the login pop-up, clicked with xdotool.
//
// A sign-up on the page leaves the settings with the new account's login,
// token and salt, closes the dialog and drops its page, and the account is
// confirmed by the service; the real program's next recording then gets a
// link that serves the file. A page that can't load (service down) shows the
// engine's error, and a dialog closed half way changes no credential; both
// refresh the account as they close.
#include "AppController.h"
#include "CdpPage.h"
#include "LogCapture.h"
#include "MediaDatabase.h"
#include "MovingPicture.h"
#include "OrluneProcess.h"
#include "QmlTypes.h"
#include "SceneBackend.h"
#include "ScreenDriver.h"
#include "ServiceProcess.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"
#include "UIController.h"
#include "WebDebugPages.h"

#include <QApplication>
#include <QJsonDocument>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSettings>
#include <QTcpServer>
#include <QtTest>
#include <QtWebEngineQuick/qtwebenginequickglobal.h>

#include <optional>

namespace {
// The page's own readiness: its form is shown and the web channel is known.
const char* const kPageReady = "typeof QWebChannel === 'function' && typeof qt === 'object'"
                               " && document.querySelector('section.active form') !== null";

QByteArray fileBytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// What the settings file holds of the account: login, password (the token), salt.
QStringList storedCredentials()
{
    QSettings store(orluneConfigFile(), QSettings::NativeFormat);
    return {store.value("login").toString(), store.value("password").toString(), store.value("salt").toString()};
}

bool storedFlag(const char* key)
{
    return QSettings(orluneConfigFile(), QSettings::NativeFormat).value(key).toBool();
}

// An address where nothing listens.
QString deadServiceUrl()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return QString("http://127.0.0.1:%1/").arg(server.serverPort());
}
} // namespace

class TestWebSignIn : public QObject
{
    Q_OBJECT

    ServiceProcess service{QDir::homePath() + "/service"};
    AppController* controller = nullptr;
    UIController* ui = nullptr;
    ScreenDriver user{QProcessEnvironment::systemEnvironment()};
    std::optional<LogCapture> log; // made once the test library has installed its own handler

    QQuickItem* sceneItem(const char* window, const char* name) const
    {
        QObject* root = ui->engine()->rootObjects().value(0);
        QObject* dialog = root ? root->property(window).value<QObject*>() : nullptr;
        return dialog ? dialog->findChild<QQuickItem*>(name) : nullptr;
    }

    // A click on the middle of the item, in the X server's pixels, once it is laid out in its window.
    bool clickItem(QQuickItem* item) const
    {
        QRectF onScreen;
        const bool laidOut = item && item->window()
                             && waitUntil(
                                 [&] {
                                     onScreen = QRectF(item->mapToGlobal(QPointF(0, 0)), item->size());
                                     return item->isVisible() && QRectF(item->window()->geometry()).contains(onScreen);
                                 },
                                 5000);
        return laidOut && user.click((onScreen.center() * item->window()->devicePixelRatio()).toPoint());
    }

    // The login pop-up, one of its buttons clicked, and the account page of the dialog that opens.
    QJsonObject openDialogFromPopup(const char* button)
    {
        controller->showPopup(Common::MsgLogin, "Sign in to share your recordings");
        if (!user.waitVisible("bottomMessageDialog", 10000) || !clickItem(sceneItem("bottomMessageDialog", button))
            || !user.waitVisible("credentialsDialog", 20000))
            return QJsonObject();
        return WebDebugPages::waitForPage("/account", 30000);
    }

    // The service's record of an account, as it keeps it in its data folder.
    QJsonObject serviceAccount(const QString& login) const
    {
        QFile file(service.dataDir + "/accounts.json");
        if (!file.open(QIODevice::ReadOnly))
            return QJsonObject();
        for (const QJsonValue& account : QJsonDocument::fromJson(file.readAll()).object().value("accounts").toArray())
            if (account.toObject().value("login").toString() == login)
                return account.toObject();
        return QJsonObject();
    }

private slots:
    void initTestCase()
    {
        log.emplace();
        QVERIFY(service.start());
        qputenv("ORLUNE_SERVICE_URL", service.url("/").toUtf8());
        qputenv("ORLUNE_WEB_URL", service.url("/").toUtf8());
        QVERIFY(openDatabase(SettingsManager::instance()->readSettingStr(SettingsKey::settings_path)));
        controller = new AppController();
        controller->webContextMenuOff = false;
        controller->setInterfaceFactory([this](AppController* owner) { return ui = new UIController(owner); });
        controller->runTasks();
        QVERIFY(ui && user.waitVisible("flyingMenuDialog", 20000));
    }

    void cleanupTestCase() { delete controller; }

    void signUpStoresTheNewAccount()
    {
        QCOMPARE(storedCredentials(), QStringList({"", "", ""}));
        const QJsonObject page = openDialogFromPopup("leftButton");
        QVERIFY2(page.value("url").toString().endsWith("/account#signUp"), qPrintable(QJsonDocument(page).toJson()));
        CdpPage cdp;
        QVERIFY(cdp.open(page.value("webSocketDebuggerUrl").toString()));
        QVERIFY(waitUntil([&] { return cdp.evaluate(kPageReady).toBool(); }, 20000));
        QVERIFY(cdp.evaluate("document.getElementById('upLogin').value = 'dialog.user';"
                             "document.getElementById('upPassword').value = 'a web password';"
                             "document.querySelector('#signUp form').requestSubmit(); true")
                    .toBool());

        // The page handed the account over: stored, the dialog closed and its page gone.
        QVERIFY2(user.waitHidden("credentialsDialog", 30000), qPrintable(LogCapture::lines().join('\n').right(3000)));
        const QJsonObject account = serviceAccount("dialog.user");
        QVERIFY(!account.isEmpty());
        QCOMPARE(storedCredentials(),
                 QStringList({"dialog.user", account.value("token").toString(), account.value("salt").toString()}));
        QVERIFY(LogCapture::contains(" applying credentials for user: dialog.user"));
        QVERIFY(LogCapture::contains("reloadUploader") && LogCapture::contains("refreshAccount"));
        QVERIFY(waitUntil([] { return WebDebugPages::list().isEmpty(); }, 10000));
        // The service knows the token: the account is confirmed and shares at once.
        QVERIFY2(waitUntil([] { return storedFlag("is_authenticated_user") && storedFlag("auto_upload"); }, 30000),
                 qPrintable(LogCapture::lines().join('\n').right(3000)));
    }

    void unfinishedSignInKeepsCredentials_data()
    {
        QTest::addColumn<bool>("serviceDown");
        QTest::newRow("service down") << true;
        QTest::newRow("closed half way") << false;
    }

    void unfinishedSignInKeepsCredentials()
    {
        QFETCH(bool, serviceDown);
        const QStringList before = storedCredentials();
        QVERIFY(!before.first().isEmpty());
        LogCapture::clear();
        if (serviceDown)
            qputenv("ORLUNE_WEB_URL", deadServiceUrl().toUtf8());
        const QJsonObject page = openDialogFromPopup("rightButton");
        qputenv("ORLUNE_WEB_URL", service.url("/").toUtf8());
        QVERIFY2(page.value("url").toString().endsWith("/account#signIn"), qPrintable(QJsonDocument(page).toJson()));
        CdpPage cdp;
        QVERIFY(cdp.open(page.value("webSocketDebuggerUrl").toString()));
        if (serviceDown) {
            // The engine's own error stands in the view.
            QVERIFY(waitUntil(
                [&] { return cdp.evaluate("document.body.innerText").toString().contains("ERR_CONNECTION_REFUSED"); },
                20000));
        } else {
            QVERIFY(waitUntil([&] { return cdp.evaluate(kPageReady).toBool(); }, 20000));
            QVERIFY(cdp.evaluate("document.getElementById('inLogin').value = 'someone.else'; true").toBool());
        }

        QVERIFY(clickItem(sceneItem("credentialsDialog", "closeButton")));
        QVERIFY(user.waitHidden("credentialsDialog", 10000));
        QVERIFY(waitUntil([] { return LogCapture::contains("refreshAccount"); }, 5000));
        QVERIFY(!LogCapture::contains("applying credentials"));
        QCOMPARE(storedCredentials(), before);
        QVERIFY(waitUntil([] { return WebDebugPages::list().isEmpty(); }, 10000));
    }

    // For scripts/screenshots only: the sign-in page in the dialog, alone on
    // the screen, until the file named by ORLUNE_SIGNIN_PICTURE is removed.
    void showDialogForPictures()
    {
        const QString handshake = qEnvironmentVariable("ORLUNE_SIGNIN_PICTURE");
        if (handshake.isEmpty())
            QSKIP("run by scripts/screenshots");
        const QJsonObject page = openDialogFromPopup("rightButton");
        CdpPage cdp;
        QVERIFY(cdp.open(page.value("webSocketDebuggerUrl").toString()));
        QVERIFY(waitUntil([&] { return cdp.evaluate(kPageReady).toBool(); }, 20000));
        QVERIFY(user.waitHidden("bottomMessageDialog", 10000));
        ui->engine()->rootObjects().value(0)->property("flyingMenuDialog").value<QWindow*>()->hide();
        QTest::qWait(500); // the page's first paint
        QFile ready(handshake);
        QVERIFY(ready.open(QIODevice::WriteOnly));
        ready.close();
        QVERIFY(waitUntil([&] { return !ready.exists(); }, 60000));
        QVERIFY(clickItem(sceneItem("credentialsDialog", "closeButton")));
    }

    // The program signed in by the dialog records, uploads and prints the link.
    void nextRecordingGetsItsLink()
    {
        QVERIFY(storedFlag("auto_upload"));
        delete controller; // the program ends; the settings file stays
        controller = nullptr;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        MovingPicture picture;
        QVERIFY(picture.start(QSize(320, 240)));
        QProcessEnvironment env = orluneEnvironment();
        env.insert("ORLUNE_SERVICE_URL", service.url("/"));
        const OrluneRun run = runOrlune({"-record", "0,0,320,240", "-duration", "3", "-exit-when-done"}, 120000, env);
        QVERIFY2(run.finished && run.exitCode == 0, qPrintable(run.err + newestLog().right(3000)));
        const QStringList links = linesStartingWith(run.out, "link: ");
        QVERIFY2(links.size() == 1, qPrintable(run.out + newestLog().right(3000)));
        const QString link = links.first().mid(6).trimmed();
        QVERIFY2(link.startsWith(service.url("/s/")), qPrintable(link));
        const ServiceProcess::Reply served = service.get(QUrl(link).path());
        QCOMPARE(served.status, 200);
        QVERIFY(served.body == fileBytes(printedFile(run.out)));
    }
};

// Started as the program starts: the web engine set up before the
// application object, its pages open on the debugging port as with -webdebug.
int main(int argc, char** argv)
{
    qputenv("QTWEBENGINE_REMOTE_DEBUGGING", QByteArray::number(WebDebugPages::kPort));
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QCoreApplication::setOrganizationName("Halvenmoor");
    QCoreApplication::setApplicationName("orlune");
    QtWebEngineQuick::initialize();
    QApplication app(argc, argv);
    registerQmlTypes();
    chooseSceneBackend();
    TestWebSignIn test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_web_signin.moc"
