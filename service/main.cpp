// orlune-service: the reference cloud peer of the desktop program.
//   orlune-service --data DIR [--port N]              serve on 127.0.0.1 (port 0: any free port)
//   orlune-service --data DIR --create-account LOGIN  add an account, print login, token and salt

#include "AccountStore.h"
#include "HttpServer.h"
#include "ServiceRouter.h"
#include "ServiceState.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QTextStream>
#include <QWebChannel>
#include <cstdio>

namespace {

int createAccount(const QString& dataDir, const QString& login, const QString& password)
{
    AccountStore accounts(dataDir);
    QString error;
    const auto account = accounts.create(login, password, &error);
    if (!account) {
        QTextStream(stderr) << "orlune-service: can't create account '" << login << "': " << error << Qt::endl;
        return 1;
    }
    QTextStream out(stdout);
    out << "login: " << account->login << '\n'
        << "token: " << account->token << '\n'
        << "salt: " << account->salt << Qt::endl;
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName("orlune-service");

    QCommandLineParser parser;
    parser.setApplicationDescription("Reference cloud service for Orlune, on loopback.");
    parser.addHelpOption();
    parser.addOption({"data", "Folder for accounts, files and downloads.", "DIR"});
    parser.addOption({"port", "Port on 127.0.0.1; 0 picks a free one.", "N", "8765"});
    parser.addOption({"create-account", "Add an account and print its login, token and salt.", "LOGIN"});
    parser.addOption({"password", "Web password of the new account (optional).", "PASSWORD"});
    parser.process(app);

    const QString dataDir = parser.value("data");
    if (dataDir.isEmpty()) {
        QTextStream(stderr) << "orlune-service: --data DIR is required" << Qt::endl;
        return 2;
    }
    if (!QDir().mkpath(dataDir)) {
        QTextStream(stderr) << "orlune-service: can't create data folder " << dataDir << Qt::endl;
        return 2;
    }
    if (parser.isSet("create-account"))
        return createAccount(dataDir, parser.value("create-account"), parser.value("password"));

    bool ok = false;
    const uint port = parser.value("port").toUInt(&ok);
    if (!ok || port > 65535) {
        QTextStream(stderr) << "orlune-service: bad port " << parser.value("port") << Qt::endl;
        return 2;
    }

    // Keeps the web channel library, whose resources hold the page's channel script, linked in.
    QWebChannel::staticMetaObject.className();

    ServiceState state(QDir(dataDir).absolutePath());
    ServiceRouter router(state);
    HttpServer server([&router](const HttpRequest& request) { return router.handle(request); });
    if (!server.listen(static_cast<quint16>(port))) {
        QTextStream(stderr) << "orlune-service: can't listen on 127.0.0.1:" << port << ": " << server.errorString()
                            << Qt::endl;
        return 1;
    }
    QTextStream(stdout) << "listening: 127.0.0.1:" << server.port() << Qt::endl;
    return app.exec();
}
