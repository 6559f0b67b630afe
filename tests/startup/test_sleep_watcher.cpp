// Sleep and wake reach the controller from logind's PrepareForSleep. A
// private bus daemon plays the system bus, and this test owns the logind
// name on it.
#include "AppController.h"
#include "LogCapture.h"
#include "SleepWatcher.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProcess>
#include <QtTest>

namespace {
QDBusMessage prepareForSleep(bool goingToSleep)
{
    QDBusMessage m =
        QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/login1"),
                                   QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"));
    m << goingToSleep;
    return m;
}

int count(const QString& needle)
{
    return LogCapture::count(needle);
}
} // namespace

class TestSleepWatcher : public QObject
{
    Q_OBJECT

    std::unique_ptr<LogCapture> log;

private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty())
            QSKIP("dbus-daemon is not installed");
        m_bus.start(QStringLiteral("dbus-daemon"),
                    {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
        QVERIFY(m_bus.waitForReadyRead(10000));
        m_address = QString::fromUtf8(m_bus.readLine()).trimmed();
        QVERIFY(!m_address.isEmpty());
        // Must happen before anything in this process opens the system bus.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.toUtf8());
        log = std::make_unique<LogCapture>();
    }

    void cleanupTestCase()
    {
        log.reset();
        m_bus.kill();
        m_bus.waitForFinished(3000);
    }

    void sleepAndWakeReachTheController()
    {
        QDBusConnection logind = QDBusConnection::connectToBus(m_address, QStringLiteral("fake-logind"));
        QVERIFY(logind.isConnected());
        QVERIFY(logind.registerService(QStringLiteral("org.freedesktop.login1")));
        QDBusConnection stranger = QDBusConnection::connectToBus(m_address, QStringLiteral("stranger"));
        QVERIFY(stranger.isConnected());

        AppController controller;
        SleepWatcher watcher(&controller);
        QVERIFY(watcher.start());

        // Only logind itself is listened to.
        QVERIFY(stranger.send(prepareForSleep(true)));
        QTest::qWait(500);
        QCOMPARE(count(QStringLiteral("suspendPower")), 0);

        QVERIFY(logind.send(prepareForSleep(true)));
        QTRY_COMPARE_WITH_TIMEOUT(count(QStringLiteral("suspendPower")), 1, 5000);
        QCOMPARE(count(QStringLiteral("resumePower")), 0);

        QVERIFY(logind.send(prepareForSleep(false)));
        QTRY_COMPARE_WITH_TIMEOUT(count(QStringLiteral("resumePower")), 1, 5000);
        QCOMPARE(count(QStringLiteral("suspendPower")), 1);
    }

private:
    QProcess m_bus;
    QString m_address;
};

QTEST_MAIN(TestSleepWatcher)
#include "test_sleep_watcher.moc"
