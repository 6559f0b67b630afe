// The global hot key of the real program: a recording started from the
// command line is stopped by Alt+S pressed (by xdotool) while no window of
// the program has the focus, and the file is finalized in the database. The
// program runs on an X server of this test's own, so that no other program
// holds the key and no other test receives it.
#include "LoggedStart.h"
#include "PrivateServers.h"

#include <QFileInfo>
#include <QtTest>

class TestHotkeyStop : public QObject
{
    Q_OBJECT

    PrivateXServer xserver;
    QProcessEnvironment env;

private slots:
    void initTestCase()
    {
        for (const char* tool : {"xdotool", "sqlite3", "Xvfb"})
            QVERIFY2(!QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(), tool);
        QVERIFY(xserver.start("1280x720x24"));
        env = orluneEnvironment();
        env.insert("DISPLAY", QString::fromLatin1(xserver.display()));
        env.insert("QT_QPA_PLATFORM", "xcb");
    }

    void altSStopsTheRecording()
    {
        QProcess orlune;
        const QString log =
            startUntilLogged(orlune, {"-record", "0,0,640,480"}, "[CLI]: recording started", env, 30000);
        QVERIFY2(!log.isEmpty(), qPrintable(newestLog()));
        QVERIFY(!readLog(log).contains("Failed to register"));
        QTest::qWait(1500);

        QProcess xdotool;
        xdotool.setProcessEnvironment(env);
        xdotool.start("xdotool", {"key", "alt+s"});
        QVERIFY(xdotool.waitForFinished(10000));

        // The file line comes once the session has ended and finalized its file.
        QString out;
        QVERIFY2(waitUntil(
                     [&] {
                         out += QString::fromLocal8Bit(orlune.readAllStandardOutput());
                         return out.contains("file: ");
                     },
                     30000),
                 qPrintable(readLog(log)));
        const QString text = readLog(log);
        QVERIFY(text.contains("sender: hotkey? QHotkey"));
        QVERIFY(text.contains("[AC]: recording is active, stopping..."));
        // The program goes on running after the recording: it ends at TERM.
        QCOMPARE(orlune.state(), QProcess::Running);
        orlune.terminate();
        const OrluneRun run = collectOrlune(orlune, 20000);
        QVERIFY2(run.finished, qPrintable(run.err));

        const QStringList files = linesStartingWith(out, "file: ");
        QCOMPARE(files.size(), 1);
        const QString path = files.first().mid(6).trimmed();
        QVERIFY(QFileInfo(path).size() > 0);
        const QString database = orluneDataFolder() + "/orlune.sqlite";
        const QStringList row =
            sqliteTool(database, QString("SELECT file_finalized, file_size FROM files WHERE file_name='%1';")
                                     .arg(QFileInfo(path).fileName()))
                .split('|');
        QCOMPARE(row.value(0), QString("true"));
        QCOMPARE(row.value(1).toLongLong(), QFileInfo(path).size());
    }
};

QTEST_GUILESS_MAIN(TestHotkeyStop)
#include "test_hotkey_stop.moc"
