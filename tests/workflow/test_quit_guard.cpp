// The shutdown door: quit ends the event loop, and a process whose loop does
// not end is ended 500 ms later with status 1.
#include <QElapsedTimer>
#include <QProcess>
#include <QtTest>

class TestQuitGuard : public QObject
{
    Q_OBJECT

private slots:
    void loopEndsNormally();
    void stuckProcessIsEndedWithStatus1();

private:
    struct Outcome
    {
        int exitCode = -1;
        qint64 elapsedMs = 0;
        QString output;
    };
    static Outcome runProbe(const QString& mode);
};

TestQuitGuard::Outcome TestQuitGuard::runProbe(const QString& mode)
{
    Outcome outcome;
    QProcess probe;
    probe.setProcessChannelMode(QProcess::MergedChannels);
    QElapsedTimer clock;
    probe.start(QStringLiteral(QUIT_PROBE), {mode});
    if (!probe.waitForStarted(5000))
        return outcome;
    clock.start();
    probe.waitForFinished(20000);
    outcome.elapsedMs = clock.elapsed();
    outcome.exitCode = probe.exitStatus() == QProcess::NormalExit ? probe.exitCode() : -2;
    outcome.output = QString::fromLocal8Bit(probe.readAll());
    return outcome;
}

void TestQuitGuard::loopEndsNormally()
{
    const Outcome outcome = runProbe("loop");
    QCOMPARE(outcome.exitCode, 0);
    QVERIFY2(outcome.output.contains("probe: left the event loop"), qPrintable(outcome.output));
    QVERIFY(outcome.output.contains("~AppController"));
    QVERIFY(!outcome.output.contains("did not quit gracefully"));
}

void TestQuitGuard::stuckProcessIsEndedWithStatus1()
{
    const Outcome outcome = runProbe("blocked");
    QCOMPARE(outcome.exitCode, 1);
    QVERIFY2(outcome.output.contains("[FW]: Application did not quit gracefully, forcing exit"),
             qPrintable(outcome.output));
    QVERIFY(!outcome.output.contains("probe: left the event loop"));
    // The probe sleeps 5 s; the guard must end it long before that.
    QVERIFY2(outcome.elapsedMs < 4000, qPrintable(QString::number(outcome.elapsedMs)));
}

QTEST_GUILESS_MAIN(TestQuitGuard)
#include "test_quit_guard.moc"
