// What the session tells the controller. Sleep and wake come from logind's
// PrepareForSleep: a private bus daemon plays the system bus, and this test
// owns the logind name on it. A compositing manager starting or ending is
// seen through the X11 _NET_WM_CM_S0 selection, taken and dropped by a second
// client.
#include "AppController.h"
#include "FakeCompositor.h"
#include "LogCapture.h"
#include "NativeFilter.h"
#include "SleepWatcher.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QGuiApplication>
#include <QProcess>
#include <QtTest>

namespace {
QDBusMessage prepareForSleep(bool goingToSleep)
{
    QDBusMessage m =
        QDBusMessage::createSignal("/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep");
    m << goingToSleep;
    return m;
}
} // namespace

class TestSleepAndCompositor : public QObject
{
    Q_OBJECT

    std::unique_ptr<LogCapture> log;
    QProcess bus;
    QString address;

private slots:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable("dbus-daemon").isEmpty())
            QSKIP("dbus-daemon is not installed");
        bus.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
        QVERIFY(bus.waitForReadyRead(10000));
        address = QString::fromUtf8(bus.readLine()).trimmed();
        QVERIFY(!address.isEmpty());
        // Must happen before anything in this process opens the system bus.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address.toUtf8());
        log = std::make_unique<LogCapture>();
    }

    void cleanupTestCase()
    {
        log.reset();
        bus.kill();
        bus.waitForFinished(3000);
    }

    void sleepAndWakeReachTheController()
    {
        QDBusConnection logind = QDBusConnection::connectToBus(address, "fake-logind");
        QVERIFY(logind.isConnected());
        QVERIFY(logind.registerService("org.freedesktop.login1"));
        QDBusConnection stranger = QDBusConnection::connectToBus(address, "stranger");
        QVERIFY(stranger.isConnected());

        AppController controller;
        SleepWatcher watcher(&controller);
        QVERIFY(watcher.start());

        // Only logind itself is listened to.
        QVERIFY(stranger.send(prepareForSleep(true)));
        QTest::qWait(500);
        QCOMPARE(LogCapture::count("suspendPower"), 0);

        QVERIFY(logind.send(prepareForSleep(true)));
        QTRY_COMPARE_WITH_TIMEOUT(LogCapture::count("suspendPower"), 1, 5000);
        QCOMPARE(LogCapture::count("resumePower"), 0);

        QVERIFY(logind.send(prepareForSleep(false)));
        QTRY_COMPARE_WITH_TIMEOUT(LogCapture::count("resumePower"), 1, 5000);
        QCOMPARE(LogCapture::count("suspendPower"), 1);
    }

    void compositorChangesStartTheSkinTimer()
    {
        if (QGuiApplication::platformName() != QLatin1String("xcb"))
            QSKIP("needs an X server");
        AppController controller;
        QVERIFY(controller.skinTimer);
        controller.skinTimer->stop();

        NativeFilter filter(&controller);
        QVERIFY(filter.watchCompositingManager());
        qApp->installNativeEventFilter(&filter);

        FakeCompositor compositor;
        QVERIFY(compositor.ok());

        // A clipboard owner is no compositor.
        compositor.own(true, "CLIPBOARD");
        QTest::qWait(500);
        QVERIFY(!controller.skinTimer->isActive());

        compositor.own(true);
        QTRY_VERIFY_WITH_TIMEOUT(controller.skinTimer->isActive(), 5000);
        QCOMPARE(controller.skinTimer->interval(), 5000);

        controller.skinTimer->stop();
        compositor.own(false);
        QTRY_VERIFY_WITH_TIMEOUT(controller.skinTimer->isActive(), 5000);
        controller.skinTimer->stop();
        qApp->removeNativeEventFilter(&filter);
    }
};

QTEST_MAIN(TestSleepAndCompositor)
#include "test_sleep_and_compositor.moc"
