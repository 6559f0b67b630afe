// The sweep of files older versions left behind, the start flags, and the
// updater's clean-up of files moved aside by an update.
#include "FvUpdater.h"
#include "LogCapture.h"
#include "ObsoleteFiles.h"
#include "SettingsManager.h"
#include "StartOptions.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

namespace {
void touch(const QString& path)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("x");
}

ObsoleteList fileList(const char* line, const QStringList& rows)
{
    return {ObsoleteList::Files, ObsoleteList::FileTrigger, line, rows};
}
} // namespace

class TestStartupSweep : public QObject
{
    Q_OBJECT

    std::unique_ptr<LogCapture> log;

private slots:
    void init() { log = std::make_unique<LogCapture>(); }
    void cleanup() { log.reset(); }

    // A list whose trigger is missing is left alone and logs nothing; a triggered one removes what exists.
    void onlyTriggeredListsRemoveWhatExists()
    {
        QTemporaryDir base;
        touch(base.filePath("qml/Old/second.so"));
        touch(base.filePath("libavcodec.so.57"));
        touch(base.filePath("sub/libavutil.so.55"));
        touch(base.filePath("keep.so"));
        const QVector<ObsoleteList> lists = {
            fileList("[main]: removing .pdb files", {"qml/Old/first.so", "qml/Old/second.so"}),
            fileList("[main]: removing old libav*.dll files",
                     {"libavcodec.so.57", "missing.so", "sub/libavutil.so.55"})};
        QVERIFY(sweepObsoleteInstallFiles(lists, base.path())); // the last list was triggered and cleared
        QVERIFY(QFile::exists(base.filePath("qml/Old/second.so")));
        QVERIFY(!QFile::exists(base.filePath("libavcodec.so.57")));
        QVERIFY(!QFile::exists(base.filePath("sub/libavutil.so.55")));
        QVERIFY(QFile::exists(base.filePath("keep.so")));
        QCOMPARE(LogCapture::lines(),
                 QStringList({"[main]: removing old libav*.dll files", "[DBC]: debug files removed:  2 / 3"}));
    }

    void entryThatCannotBeRemovedIsRenamed()
    {
        // A folder standing where a file is listed can't be unlinked, but can
        // be moved aside: that counts as done and asks nothing.
        QTemporaryDir base;
        touch(base.filePath("busy.so/inside"));
        QVERIFY(removeObsoleteFiles({"busy.so"}, false, base.path()));
        QVERIFY(!QFile::exists(base.filePath("busy.so")));
        QVERIFY(QFile::exists(base.filePath("busy.so.oldversion/inside")));
        QCOMPARE(LogCapture::lines(),
                 QStringList({"[DBC]: failed to remove: \"busy.so\"", "[DBC]: debug files removed:  1 / 1"}));

        // When the moved-aside name is taken as well, both failures are logged,
        // the entry stays and the result says so.
        LogCapture::clear();
        touch(base.filePath("busy.so/again"));
        QVERIFY(!removeObsoleteFiles({"busy.so"}, false, base.path()));
        QVERIFY(QFile::exists(base.filePath("busy.so/again")));
        QCOMPARE(LogCapture::lines(),
                 QStringList({"[DBC]: failed to remove: \"busy.so\"", "[DBC]: failed to rename: \"busy.so\"",
                              "[DBC]: debug files removed:  0 / 1"}));
    }

    void oldCopiesRemovesTheMovedAsideFiles()
    {
        QTemporaryDir base;
        touch(base.filePath("lib.so"));
        touch(base.filePath("lib.so.oldversion"));
        QVERIFY(removeObsoleteFiles({"lib.so"}, true, base.path()));
        QVERIFY(QFile::exists(base.filePath("lib.so")));
        QVERIFY(!QFile::exists(base.filePath("lib.so.oldversion")));
    }

    void folderListsAndTheirTriggers()
    {
        QTemporaryDir base;
        // A file named like the trigger folder doesn't trigger a folder-tested list.
        touch(base.filePath("QtQuick"));
        touch(base.filePath("scenegraph/a.so"));
        const ObsoleteList byDir = {
            ObsoleteList::Folders, ObsoleteList::DirTrigger, "[main]: removing qt5 dirs", {"QtQuick", "scenegraph"}};
        QVERIFY(!obsoleteListTriggered(byDir, base.path()));

        // The last list triggers by existence of any kind; clearing it asks for a restart.
        touch(base.filePath("QtGraphicalEffects/x.qml"));
        touch(base.filePath("QtMultimedia/y.qml"));
        const ObsoleteList last = {ObsoleteList::Folders,
                                   ObsoleteList::FileTrigger,
                                   "[main]: removing unneeded directories",
                                   {"QtGraphicalEffects", "QtMultimedia"}};
        QVERIFY(sweepObsoleteInstallFiles({byDir, last}, base.path()));
        QVERIFY(!QFile::exists(base.filePath("QtGraphicalEffects")));
        QVERIFY(!QFile::exists(base.filePath("QtMultimedia")));
        QVERIFY(QFile::exists(base.filePath("scenegraph/a.so")));
        QVERIFY(LogCapture::lines().contains("[DBC]: debug dirs removed:  2 / 2"));

        // Once swept, a later start finds no trigger and does nothing.
        LogCapture::clear();
        QVERIFY(!sweepObsoleteInstallFiles({byDir, last}, base.path()));
        QVERIFY(LogCapture::lines().isEmpty());
    }

    // The shipped lists name files of older builds only: none of them triggers on this build's own folder.
    void shippedListsLeaveThisBuildAlone()
    {
        QTemporaryDir empty;
        QVERIFY(!sweepObsoleteInstallFiles(obsoleteInstallLists(), empty.path()));
        QVERIFY(!sweepObsoleteInstallFiles(obsoleteInstallLists(), QCoreApplication::applicationDirPath()));
    }

    void startFlagsAndVariables()
    {
        qputenv("KVD_ORLUNE_DELAYED", "1");
        qputenv("KVD_ORLUNE_RMOLDVERSION", "2");
        qunsetenv("QTWEBENGINE_REMOTE_DEBUGGING");
        StartOptions o = StartOptions::fromArgumentsAndEnvironment({"orlune"});
        QVERIFY(o.delayed);
        QVERIFY(o.rmOldVersion);
        // Children of this process start normally.
        QCOMPARE(qgetenv("KVD_ORLUNE_DELAYED"), QByteArray("0"));
        QCOMPARE(qgetenv("KVD_ORLUNE_RMOLDVERSION"), QByteArray("0"));

        o = StartOptions::fromArgumentsAndEnvironment({"orlune"});
        QVERIFY(!o.delayed);

        qputenv("KVD_ORLUNE_DELAYED", "yes"); // not a number above 0
        o = StartOptions::fromArgumentsAndEnvironment({"orlune", "-rmoldversion"});
        QVERIFY(!o.delayed);
        QVERIFY(!o.webDebug);
        QVERIFY(!qEnvironmentVariableIsSet("QTWEBENGINE_REMOTE_DEBUGGING"));

        // Flags match whole arguments only.
        o = StartOptions::fromArgumentsAndEnvironment({"orlune", "--delayed", "-webdebugx", "-delayed"});
        QVERIFY(o.delayed);
        QVERIFY(!o.webDebug);

        o = StartOptions::fromArgumentsAndEnvironment({"orlune", "-webdebug", "-console"});
        QVERIFY(o.webDebug);
        QVERIFY(o.console);
        QCOMPARE(qgetenv("QTWEBENGINE_REMOTE_DEBUGGING"), QByteArray("54321"));
    }

    // The updater's start sweeps files moved aside by an update and drops an unfinished download.
    void updaterInit()
    {
        const QString dir = QCoreApplication::applicationDirPath() + "/oldversion-probe";
        QDir(dir).removeRecursively();
        touch(dir + "/a.so.oldversion");
        touch(dir + "/deep/b.qml.oldversion2");
        touch(dir + "/c.oldversion.txt");
        touch(dir + "/d.so");

        SettingsManager* settings = SettingsManager::instance();
        FvUpdater::init(settings, settings);
        QVERIFY(FvUpdater::sharedUpdater());
        QCOMPARE(QFile::exists(dir + "/a.so.oldversion") || QFile::exists(dir + "/deep/b.qml.oldversion2"), false);
        QVERIFY(QFile::exists(dir + "/c.oldversion.txt") && QFile::exists(dir + "/d.so"));

        // A second init only warns.
        FvUpdater* before = FvUpdater::sharedUpdater();
        LogCapture::clear();
        FvUpdater::init(settings, settings);
        QCOMPARE(FvUpdater::sharedUpdater(), before);
        QVERIFY(LogCapture::lines().contains("[FvUpdater] Already initialized."));
        QDir(dir).removeRecursively();

        // An update whose metadata has fewer than three fields did not finish downloading.
        FvUpdater* updater = FvUpdater::sharedUpdater();
        const QString zip = updater->updateFilePath();
        QCOMPARE(zip, QCoreApplication::applicationDirPath() + QString("/update.zip"));

        touch(zip);
        QFile meta(zip + ".metadata");
        QVERIFY(meta.open(QIODevice::WriteOnly));
        meta.write("5.0.32;1234");
        meta.close();
        updater->InstallUpdateFromDownloadedFile(true);
        QVERIFY(!QFile::exists(zip));
        QVERIFY(!QFile::exists(zip + ".metadata"));

        // No package at all: logged, nothing else.
        LogCapture::clear();
        updater->InstallUpdateFromDownloadedFile(true);
        QVERIFY(!LogCapture::lines().filter("error opening file: ").isEmpty());
    }
};

QTEST_MAIN(TestStartupSweep)
#include "test_startup_sweep.moc"
