#include "Startup.h"

#include "AppController.h"
#include "CommandLineRecording.h"
#include "CrashReport.h"
#include "DisplayProbe.h"
#include "Endpoints.h"
#include "FvUpdater.h"
#include "Logging.h"
#include "MachineProfile.h"
#include "MediaDatabase.h"
#include "NativeFilter.h"
#include "ObsoleteFiles.h"
#include "QmlTypes.h"
#include "QtSingleApplication.h"
#include "SceneBackend.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"
#include "SleepWatcher.h"
#include "StartOptions.h"
#include "TermSignalHandler.h"
#include "UIController.h"
#include "Version.h"

#include <QDebug>
#include <QDir>
#include <QSslSocket>
#include <QStandardPaths>
#include <QSysInfo>
#include <QThread>
#include <QTimer>
#include <QUrl>
#include <QtWebEngineQuick/qtwebenginequickglobal.h>

#include <memory>

namespace {
const char* const kVersion = ORLUNE_VERSION;
const char* const kRelease = "orlune@" ORLUNE_VERSION;

QtSingleApplication* g_application = nullptr;

void setIdentity()
{
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QCoreApplication::setOrganizationName(QStringLiteral("Halvenmoor"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("Halvenmoor"));
    QCoreApplication::setApplicationName(QStringLiteral("orlune"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(kVersion));
}

void logMachineLine(bool delayed)
{
    char vendor[13] = {};
    cpuVendor(vendor);
    const int family = cpuFamily();
    const int model = cpuModel();
    qDebug().noquote() << "[main]:"
                       << "orlune" << kVersion << "Delayed:" << delayed << "CPU:" << vendor << "64bit"
                       << "family: " << QStringLiteral("0x%1").arg(family, 2, 16, QLatin1Char('0'))
                       << "model:" << QStringLiteral("0x%1").arg(model, 2, 16, QLatin1Char('0'))
                       << "cores:" << QThread::idealThreadCount() << "OS:" << QSysInfo::prettyProductName()
                       << "DWM:" << isDwmCompositionEnabled() << "HWID:" << machineId() << "Build:" << __DATE__
                       << __TIME__;
    qDebug() << "[main]:"
             << "SSL:" << QSslSocket::supportsSsl() << QSslSocket::sslLibraryBuildVersionString()
             << QSslSocket::sslLibraryVersionString();
}

// Sweeps what older versions left in the installation folder. When the last
// list has been cleared, a fresh copy starts beside this one; this start goes on.
void sweepOldVersion()
{
    if (!sweepObsoleteInstallFiles(obsoleteInstallLists(), QCoreApplication::applicationDirPath()))
        return;
    qDebug() << "[main]: restarting application...";
    qputenv("KVD_ORLUNE_RMOLDVERSION", "1");
    FvUpdater::sharedUpdater()->restartApplication();
}

void configureUpdater()
{
    FvUpdater* updater = FvUpdater::sharedUpdater();
    updater->setFeedURL(QUrl(Endpoints::webUrl() + QStringLiteral("download/check/Appcast.xml")));
    updater->setSkipVersionAllowed(false);
    updater->setRemindLaterAllowed(false);
    updater->cleanUpOldVersionFiles();
    updater->setInstallAtOnce(false);
    updater->InstallUpdateFromDownloadedFile(true);
}

void connectSignals(QtSingleApplication* app, AppController* controller)
{
    FvUpdater* updater = FvUpdater::sharedUpdater();
    QObject::connect(app, &QtSingleApplication::messageReceived, controller, &AppController::GotMsgFromAnotherInstance);
    QObject::connect(updater, &FvUpdater::updatedFinishedSuccessfully, controller,
                     &AppController::updatedFinishedSuccessfully);
    QObject::connect(updater, &FvUpdater::downloadFinishedSuccessfully, controller,
                     &AppController::updateDownloadFinishedSuccessfully);
    QObject::connect(updater, &FvUpdater::appQuit, controller, &AppController::quit);
    QObject::connect(updater, &FvUpdater::saltLineUpdated, controller, &AppController::saltUpdated);
    QObject::connect(updater, &FvUpdater::UIElementLock, controller, &AppController::UpdateButtonLock);
    QObject::connect(updater, &FvUpdater::logUploadFinished, controller, &AppController::openClickUpReportForm);
}

QStringList argumentsOf(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    return arguments;
}

// What can be said against a command-line recording before anything of this
// start exists: a malformed request, or no X display to record from.
// Returns the exit status, 0 when the start may go on.
int refuseBadRecordingRequest(const StartOptions& options)
{
    QString why = options.error;
    if (why.isEmpty() && options.record.requested)
        canReachDisplay(why);
    if (why.isEmpty())
        return 0;
    CommandLineRecording::printError(why);
    return CommandLineRecording::kBadRequest;
}

void setCrashReportUser(SettingsManager* settings)
{
    CrashReport::removeUser();
    const QString password = settings->readSettingStr(SettingsKey::password);
    QVariantMap user;
    user.insert(QStringLiteral("id"), password.isEmpty() ? machineId() : password);
    user.insert(QStringLiteral("username"), settings->readSettingStr(SettingsKey::login));
    user.insert(QStringLiteral("machine_id"), machineId());
    CrashReport::setUser(user);
}

// From the controller's construction to the end of the event loop. The
// controller lives on this frame, so it is gone when this returns.
int runController(QtSingleApplication* app, const StartOptions& options)
{
    SettingsManager* settings = SettingsManager::instance();

    AppController controller;
    controller.webContextMenuOff = !options.webDebug;
    // runTasks builds the interface; a command-line recording runs without one.
    if (!options.record.requested)
        controller.setInterfaceFactory([](AppController* owner) { return new UIController(owner); });
    connectSignals(app, &controller);

    qDebug() << "[main]: quitOnLastWindowClosed:" << app->quitOnLastWindowClosed();
    // The program lives in the tray: closing its last window must not end it.
    app->setQuitOnLastWindowClosed(false);

    controller.readFromConfig();
    setCrashReportUser(settings);

    if (!openDatabase(settings->readSettingStr(SettingsKey::settings_path)))
        return 1;

    QTimer::singleShot(2000, FvUpdater::sharedUpdater(), &FvUpdater::CheckForUpdatesSilent);
    g_application = app;
    controller.runTasks();

    // A recording asked for on the command line starts once the event loop runs.
    std::unique_ptr<CommandLineRecording> commandLine;
    if (options.record.requested) {
        commandLine = std::make_unique<CommandLineRecording>(&controller, options.record);
        QTimer::singleShot(0, commandLine.get(), &CommandLineRecording::start);
    }
    QObject::connect(app, &QCoreApplication::aboutToQuit, &controller, &AppController::slotAboutToQuit);

    // Never freed: native events may arrive until the application object goes.
    auto* nativeFilter = new NativeFilter(&controller);
    nativeFilter->watchCompositingManager();
    app->installNativeEventFilter(nativeFilter);

    SleepWatcher sleepWatcher(&controller);
    sleepWatcher.start();
    TermSignalHandler termHandler(&controller);
    if (commandLine)
        termHandler.setFirstResponder([&commandLine] { return commandLine->stopForSignal(); });
    termHandler.install();

    const int status = app->exec();
    app->removeNativeEventFilter(nativeFilter);
    return commandLine ? commandLine->exitStatus(status) : status;
}
} // namespace

int runOrlune(int argc, char** argv)
{
    setIdentity();
    // Read before anything else, so that a command line that can't be served
    // ends this start before it leaves any trace.
    const StartOptions options = StartOptions::fromArgumentsAndEnvironment(argumentsOf(argc, argv));
    if (const int refused = refuseBadRecordingRequest(options))
        return refused;
    const QString logFileName = Logging::logFileName();

    const QStringList dataLocations = QStandardPaths::standardLocations(QStandardPaths::AppLocalDataLocation);
    const QString dataFolder = dataLocations.isEmpty() ? QString() : dataLocations.first();
    const bool dataFolderExisted = QDir(dataFolder).exists();
    if (!dataFolderExisted)
        QDir(dataFolder).mkpath(QStringLiteral("."));

    CrashReport::init(dataFolder + QStringLiteral("/sentry-native"), QString::fromLatin1(kRelease),
                      Endpoints::crashDsn());

    // The web views need the web engine set up before the application object
    // exists, on the shared OpenGL contexts that setIdentity asked for.
    QtWebEngineQuick::initialize();
    auto* app = new QtSingleApplication(argc, argv, true);
    const QString appDir = QCoreApplication::applicationDirPath();
    QCoreApplication::addLibraryPath(appDir + QStringLiteral("/orlune"));
    QCoreApplication::addLibraryPath(appDir + QStringLiteral("/"));

    const QString offScreen =
        options.record.requested ? CommandLineRecording::screenProblem(options.record.rect) : QString();
    if (!offScreen.isEmpty()) {
        CommandLineRecording::printError(offScreen);
        delete app;
        CrashReport::close();
        return CommandLineRecording::kBadRequest;
    }

    if (options.delayed) {
        qDebug() << "[main]: running after 10 seconds of delay due it's after restart...";
        QThread::sleep(6);
    }

    if (app->sendMessage(QStringLiteral("Wake up!"), 5000)) {
        if (!options.delayed) {
            // The running copy opens its settings; a recording can't be made beside it.
            if (options.record.requested)
                CommandLineRecording::printError(
                    QStringLiteral("another copy of Orlune is running; -record needs it closed"));
            delete app;
            CrashReport::close();
            return options.record.requested ? CommandLineRecording::kBadRequest : 0;
        }
        qDebug() << "[main]: Faily!!! Prevous app is not yet stopped! Wait 10 sec's more...";
        QThread::sleep(10);
    }

    // -console needs nothing here: log lines reach stderr as well, except
    // while a command-line recording keeps the console for its results and errors.
    Logging::openLogFile(dataFolder, logFileName);
    if (options.record.requested && !options.console)
        Logging::setConsoleEcho(false);

    SettingsManager* settings = SettingsManager::instance();
    FvUpdater::init(settings, settings);
    logMachineLine(options.delayed);

    sweepOldVersion();
    if (dataFolderExisted)
        deleteOldLogFiles(7);
    registerQmlTypes();
    chooseSceneBackend();
    configureUpdater();

    const int status = runController(app, options);

    Logging::closeLogFile();
    delete app;
    CrashReport::close();
    return status;
}
