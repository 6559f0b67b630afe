// The shutdown door: quit ends the event loop, and a process whose loop does
// not end is ended 500 ms later with status 1.
#include <QElapsedTimer>
#include <QProcess>
#include <QtTest>

class TestQuitGuard : public QObject
{
    Q_OBJECT

private slots:
    void quit_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("lines"); // the output has them, except those marked '!'
        const QString left = "probe: left the event loop", forced = "did not quit gracefully, forcing exit";
        QTest::newRow("loop ends") << "loop" << 0 << QStringList{left, "~AppController", "!" + forced};
        QTest::newRow("stuck") << "blocked" << 1 << QStringList{"[FW]: Application " + forced, "!" + left};
    }

    void quit()
    {
        QFETCH(QString, mode);
        QFETCH(int, status);
        QFETCH(QStringList, lines);
        QProcess probe;
        probe.setProcessChannelMode(QProcess::MergedChannels);
        probe.start(QStringLiteral(QUIT_PROBE), {mode});
        QVERIFY(probe.waitForStarted(5000));
        QElapsedTimer clock;
        clock.start();
        probe.waitForFinished(20000);
        // The stuck probe sleeps 5 s; the guard must end it long before that.
        QVERIFY2(clock.elapsed() < 4000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(probe.exitStatus(), QProcess::NormalExit);
        QCOMPARE(probe.exitCode(), status);
        const QString output = QString::fromLocal8Bit(probe.readAll());
        for (const QString& line : lines)
            QVERIFY2(output.contains(line.mid(line.startsWith('!') ? 1 : 0)) != line.startsWith('!'),
                     qPrintable(line + "\n" + output));
    }
};

QTEST_GUILESS_MAIN(TestQuitGuard)
#include "test_quit_guard.moc"
