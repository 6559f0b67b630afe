// Signing in as a user does, with the real program against the reference
// service. The program runs with -webdebug; a second start opens its settings
// window, a click on a button of the window's account box opens the sign-in
// window, and the account page in it is driven over the remote debugging port.
//
// A page that can't load (nothing listens at the web address) shows the
// engine's error, and a sign-in closed half way changes nothing; both refresh
// the account as they close. A sign-up on the page leaves the settings file
// with the new account's login, token and salt as the service keeps them,
// closes the sign-in window, and the account box shows the account. Each run
// ends with TERM and exit status 0; the next recording then gets a link that
// serves the recorded file.
#include "CdpPage.h"
#include "LoggedStart.h"
#include "MovingPicture.h"
#include "ScreenDriver.h"
#include "ServiceProcess.h"
#include "WebDebugPages.h"

#include <QJsonDocument>
#include <QSettings>
#include <QTcpServer>
#include <QtTest>

#include <unistd.h>

namespace {
// The page's own readiness: its form is shown and the web channel is known.
const char* const kPageReady = "typeof QWebChannel === 'function' && typeof qt === 'object'"
                               " && document.querySelector('section.active form') !== null";
// The settings window's height below its account box (scale 1).
constexpr int kSettingsBody = 528;
// The sign-in window's close cross, from its top right corner (scale 1).
const QPoint kCloseCross(-25, 24);

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

bool whiteish(QRgb c)
{
    return qRed(c) > 225 && qGreen(c) > 215 && qBlue(c) > 240; // white, or the light hover colour
}

// The white filled button in the area (the account box's "Sign In"): the
// bounds of rows of white longer than any letter, where many such rows stack
// (an outlined button has only the two of its border); null when there is none.
QRect whiteButton(const QImage& screen, const QRect& onScreen)
{
    const QRect area = onScreen & screen.rect();
    constexpr int kLongerThanLetters = 40;
    constexpr int kFilledRows = 6;
    QList<QRect> runs;
    QList<int> rowsAcross(area.width(), 0);
    for (int y = area.top(); y <= area.bottom(); ++y) {
        int run = 0;
        for (int x = area.left(); x <= area.right() + 1; ++x) {
            if (x <= area.right() && whiteish(screen.pixel(x, y))) {
                ++run;
                continue;
            }
            if (run >= kLongerThanLetters) {
                runs << QRect(x - run, y, run, 1);
                for (int column = x - run; column < x; ++column)
                    ++rowsAcross[column - area.left()];
            }
            run = 0;
        }
    }
    QRect found;
    for (const QRect& run : runs)
        if (rowsAcross[run.center().x() - area.left()] >= kFilledRows)
            found |= run;
    return found;
}

int brandPixels(const QImage& screen, const QRect& onScreen)
{
    const QRect area = onScreen & screen.rect();
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb c = screen.pixel(x, y);
            count += qAbs(qRed(c) - 0x51) < 12 && qGreen(c) < 12 && qAbs(qBlue(c) - 0xA4) < 12;
        }
    return count;
}
} // namespace

class TestWebSignIn : public QObject
{
    Q_OBJECT

    ServiceProcess service{QDir::homePath() + "/service"};
    ScreenDriver user{QProcessEnvironment::systemEnvironment()};
    QProcess orlune;
    QString log;

    QString logTail() const { return readLog(log).right(3000); }

    // The program with its web pages on the debugging port, and its settings
    // window opened by a second start, as a user who starts it again.
    bool startWithSettings(const QString& webUrl)
    {
        QSettings(orluneConfigFile(), QSettings::NativeFormat).setValue("is_first_start", false);
        QProcessEnvironment env = orluneEnvironment();
        env.insert("ORLUNE_SERVICE_URL", service.url("/"));
        env.insert("ORLUNE_WEB_URL", webUrl);
        if (geteuid() == 0)
            env.insert("QTWEBENGINE_DISABLE_SANDBOX", "1"); // the engine's sandbox refuses root
        log = startUntilLogged(orlune, {"-webdebug"}, "[AC]:", env, 60000);
        if (log.isEmpty() || !user.waitVisible("flyingMenuDialog", 30000))
            return false;
        const OrluneRun again = runOrlune({}, 30000, env);
        return again.finished && again.exitCode == 0 && user.waitVisible("settingsDialog", 20000);
    }

    bool quitProgram()
    {
        orlune.terminate();
        const OrluneRun run = collectOrlune(orlune, 30000);
        return run.finished && run.exitCode == 0;
    }

    QRect accountBox() const
    {
        const QRect window = user.visibleWindow("settingsDialog");
        return QRect(window.topLeft(), QSize(window.width(), window.height() - kSettingsBody));
    }

    // The account box's "Sign In" as painted: null when it doesn't show in time.
    QRect signInButton(int timeoutMs) const
    {
        QRect button;
        waitUntil([&] { return !(button = whiteButton(user.grabScreen(), accountBox())).isNull(); }, timeoutMs);
        return button;
    }

    // "Sign In" or, just left of it, "Register For Free" clicked; the account page of the window that opens.
    QJsonObject openAccountPage(bool signUp)
    {
        // A click that lands while the window is still being laid out on a busy
        // machine is lost: the button is looked for and clicked again.
        for (int attempt = 0; attempt < 4; ++attempt) {
            const QRect button = signInButton(20000);
            if (button.isNull())
                return QJsonObject();
            user.click(signUp ? QPoint(button.left() - 30, button.center().y()) : button.center());
            if (user.waitVisible("credentialsDialog", 8000))
                return WebDebugPages::waitForPage("/account", 30000);
        }
        return QJsonObject();
    }

    bool closeSignInWindow() const
    {
        const QRect window = user.visibleWindow("credentialsDialog");
        return !window.isNull() && user.click(QPoint(window.right(), window.top()) + kCloseCross)
               && user.waitHidden("credentialsDialog", 10000);
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
        for (const char* tool : {"xdotool", "ffmpeg"})
            QVERIFY2(!QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(), tool);
        QVERIFY(service.start());
    }

    void cleanup()
    {
        if (orlune.state() != QProcess::NotRunning)
            collectOrlune(orlune, 0);
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
        QVERIFY2(startWithSettings(serviceDown ? deadServiceUrl() : service.url("/")), qPrintable(logTail()));
        const QJsonObject page = openAccountPage(false);
        QVERIFY2(page.value("url").toString().endsWith("/account#signIn"),
                 qPrintable(QJsonDocument(page).toJson() + logTail()));
        CdpPage cdp;
        QVERIFY(cdp.open(page.value("webSocketDebuggerUrl").toString()));
        if (serviceDown) {
            // The engine's own error stands in the view.
            QVERIFY(waitUntil(
                [&] { return cdp.evaluate("document.body.innerText").toString().contains("ERR_CONNECTION_REFUSED"); },
                30000));
        } else {
            QVERIFY(waitUntil([&] { return cdp.evaluate(kPageReady).toBool(); }, 30000));
            QVERIFY(cdp.evaluate("document.getElementById('inLogin').value = 'someone.else'; true").toBool());
        }

        const qsizetype refreshes = readLog(log).count("[AC]: refreshAccount");
        QVERIFY(closeSignInWindow());
        QVERIFY2(waitUntil([&] { return readLog(log).count("[AC]: refreshAccount") > refreshes; }, 10000),
                 qPrintable(logTail()));
        QVERIFY(!readLog(log).contains("applying credentials"));
        QCOMPARE(storedCredentials(), before);
        QVERIFY(waitUntil([] { return WebDebugPages::list().isEmpty(); }, 10000));
        QVERIFY2(quitProgram(), qPrintable(logTail()));
    }

    void signUpStoresTheNewAccount()
    {
        QCOMPARE(storedCredentials(), QStringList({"", "", ""}));
        QVERIFY2(startWithSettings(service.url("/")), qPrintable(logTail()));
        const QJsonObject page = openAccountPage(true);
        QVERIFY2(page.value("url").toString().endsWith("/account#signUp"),
                 qPrintable(QJsonDocument(page).toJson() + logTail()));
        CdpPage cdp;
        QVERIFY(cdp.open(page.value("webSocketDebuggerUrl").toString()));
        QVERIFY(waitUntil([&] { return cdp.evaluate(kPageReady).toBool(); }, 30000));
        QVERIFY(cdp.evaluate("document.getElementById('upLogin').value = 'dialog.user';"
                             "document.getElementById('upPassword').value = 'a web password';"
                             "document.querySelector('#signUp form').requestSubmit(); true")
                    .toBool());

        // The page handed the account over: stored as the service made it, the window closed and its page gone.
        QVERIFY2(user.waitHidden("credentialsDialog", 30000), qPrintable(logTail()));
        const QJsonObject account = serviceAccount("dialog.user");
        QVERIFY(!account.isEmpty());
        const QStringList expected{"dialog.user", account.value("token").toString(), account.value("salt").toString()};
        QVERIFY2(waitUntil([&] { return storedCredentials() == expected; }, 10000),
                 qPrintable(storedCredentials().join(' ')));
        QVERIFY(readLog(log).contains(" applying credentials for user: dialog.user"));
        QVERIFY(waitUntil([] { return WebDebugPages::list().isEmpty(); }, 10000));
        // The service knows the token: the account is confirmed and shares at once.
        QVERIFY2(waitUntil([] { return storedFlag("is_authenticated_user") && storedFlag("auto_upload"); }, 30000),
                 qPrintable(logTail()));
        // The account box shows the signed-in state: the login state reached it, and the sign-in buttons gave way.
        QVERIFY2(waitUntil([&] { return readLog(log).contains("[AC]: setTabIndex : 0"); }, 30000),
                 qPrintable(logTail()));
        QVERIFY(waitUntil(
            [&] {
                const QImage screen = user.grabScreen();
                const QRect box = accountBox();
                return whiteButton(screen, box).isNull() && brandPixels(screen, box) > box.width() * box.height() / 2;
            },
            20000));
        QVERIFY2(quitProgram(), qPrintable(logTail()));
    }

    // The program signed in by the page records, uploads and prints the link.
    void nextRecordingGetsItsLink()
    {
        QVERIFY(storedFlag("auto_upload"));
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

QTEST_GUILESS_MAIN(TestWebSignIn)
#include "test_web_signin.moc"
