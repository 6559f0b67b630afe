// What the real program says to a command-line recording it can't make:
// a malformed request, no display, a rectangle off every screen (all refused
// before the log and the database are opened), a rectangle the controller refuses, a
// session that can't start, and a second copy beside a running one.
#include "LoggedStart.h"

#include <QtTest>

class TestCommandLineErrors : public QObject
{
    Q_OBJECT

    // Exactly one "orlune: " line on stderr, containing `message`.
    static void checkOneErrorLine(const OrluneRun& run, const QString& message)
    {
        const QStringList errors = linesStartingWith(run.err, "orlune: ");
        QVERIFY2(errors.size() == 1, qPrintable(run.err));
        QVERIFY2(errors.first().contains(message), qPrintable(errors.first()));
        QVERIFY2(!run.out.contains("file: "), qPrintable(run.out));
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(!qEnvironmentVariableIsEmpty("DISPLAY"), "the test needs the session's X server");
        QVERIFY2(!QFile::exists(orluneDataFolder()), "the home must be empty");
    }

    void refusedBeforeStart_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("display");
        QTest::addColumn<QString>("message");
        const QString display = qEnvironmentVariable("DISPLAY");
        QTest::newRow("three numbers") << QStringList{"-record", "1,2,3"} << display << "four integers";
        QTest::newRow("not a number") << QStringList{"-record", "0,0,w,10"} << display << "four integers";
        QTest::newRow("fraction") << QStringList{"-record", "0,0,100.5,10"} << display << "four integers";
        QTest::newRow("negative width") << QStringList{"-record", "0,0,-5,10"} << display << "must not be negative";
        QTest::newRow("no rectangle") << QStringList{"-record"} << display << "X,Y,W,H after it";
        QTest::newRow("duration not a number")
            << QStringList{"-record", "0,0,320,240", "-duration", "soon"} << display << "-duration wants a number";
        QTest::newRow("duration negative")
            << QStringList{"-record", "0,0,320,240", "-duration", "-4"} << display << "-duration wants a number";
        QTest::newRow("exit without record") << QStringList{"-exit-when-done"} << display << "need -record";
        QTest::newRow("outside every screen")
            << QStringList{"-record", "5000,5000,320,240"} << display << "outside every screen";
        QTest::newRow("no DISPLAY") << QStringList{"-record", "0,0,320,240"} << QString() << "DISPLAY is not set";
        QTest::newRow("unreachable display") << QStringList{"-record", "0,0,320,240"} << ":97"
                                             << "cannot connect to the X display";
    }

    void refusedBeforeStart()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, display);
        QFETCH(QString, message);
        QProcessEnvironment env = orluneEnvironment();
        if (display.isEmpty())
            env.remove("DISPLAY");
        else
            env.insert("DISPLAY", display);

        const OrluneRun run = runOrlune(args, 20000, env);
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 2);
        checkOneErrorLine(run, message);
        // The start ended before its log and its database.
        QVERIFY(logNames().isEmpty());
        QVERIFY(!QFile::exists(orluneDatabaseFile()));
    }

    void tooSmallIsRefusedByTheController()
    {
        const OrluneRun run = runOrlune({"-record", "0,0,10,5", "-exit-when-done"}, 60000);
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 2);
        checkOneErrorLine(run, "10x5 is below the smallest recordable size");
        // The refusal came from the controller's own check, and nothing was recorded.
        QVERIFY(newestLog().contains("[AC]: select area not choosen..."));
        QCOMPARE(sqliteTool(orluneDatabaseFile(), QString("SELECT COUNT(*) FROM files;")), QString("0"));
    }

    void sessionThatCannotStartFails()
    {
        QProcessEnvironment env = orluneEnvironment();
        env.insert("ORLUNE_VIDEO_INPUT", "lavfi:nosuchsource");
        const OrluneRun run = runOrlune({"-record", "0,0,320,240", "-duration", "2", "-exit-when-done"}, 60000, env);
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 1);
        checkOneErrorLine(run, "recording failed");
    }

    void anotherCopyRunning()
    {
        QTest::qWait(1100); // a log file of its own
        QProcess first;
        const QString firstLog = startUntilLogged(first, {}, "[main]: quitOnLastWindowClosed:");
        QVERIFY2(!firstLog.isEmpty(), "the first copy did not get ready");
        const int logsBefore = int(logNames().size());

        const OrluneRun second = runOrlune({"-record", "0,0,320,240", "-exit-when-done"}, 20000);
        QVERIFY(second.finished);
        QCOMPARE(second.exitCode, 2);
        checkOneErrorLine(second, "another copy of Orlune is running");
        // The running copy was woken as by any second start, and recorded nothing.
        QVERIFY(waitUntil([&] { return readLog(firstLog).contains("Wake up!"); }, 5000));
        QCOMPARE(int(logNames().size()), logsBefore);
        QCOMPARE(first.state(), QProcess::Running);

        first.terminate();
        QVERIFY(first.waitForFinished(10000));
        QCOMPARE(first.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(TestCommandLineErrors)
#include "test_command_line_errors.moc"
