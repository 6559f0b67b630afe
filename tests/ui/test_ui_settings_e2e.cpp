// The settings window as a user meets it, on an X server and a sound server
// of this test's own: opened from the floating menu's settings button, each
// change is in the settings file at once. A quality button and a switch write
// their keys; typing into the proxy's port turns the proxy off and leaves its
// switch disabled until a test passes; a new hot key typed into the shortcut
// field is stored, opens the selection, and the old one no longer does; the
// report button asks before it sends anything.
#include "LoggedStart.h"
#include "PrivateServers.h"
#include "ScreenDriver.h"

#include <QSettings>
#include <QtTest>

namespace {
// Places inside the window at scale 1, from its top right corner and from
// the bottom of the account box (the window is 528 pixels taller than it,
// 600 with the proxy fields open).
constexpr int kBody = 528;
constexpr int kBodyWithProxy = 600;
const QPoint kSd(-120, 207);
const QPoint kHd(-54, 207);
const QPoint kHighlightSwitch(-46, 299);
const QPoint kProxyGear(-94, 344);
const QPoint kProxySwitch(-46, 344);
const QPoint kEditShortcutWithProxy(-88, 464);
const QPoint kReportBugWithProxy(-126, 523);
// The port field stands at the left of the second row of proxy fields.
const QPoint kPortFieldFromLeft(87, 421);

QVariant stored(const char* key)
{
    return QSettings(orluneConfigFile(), QSettings::IniFormat).value(key);
}

bool waitStored(const char* key, const QVariant& value)
{
    return waitUntil([&] { return stored(key) == value; }, 5000);
}
} // namespace

class TestUiSettingsE2e : public QObject
{
    Q_OBJECT

    PrivateXServer xserver;
    PrivatePulse pulse;
    QProcessEnvironment env;

private slots:
    void initTestCase()
    {
        for (const char* tool : {"xdotool", "Xvfb", "pulseaudio", "ffmpeg"})
            QVERIFY2(!QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(), tool);
        QVERIFY(xserver.start("1280x720x24"));
        QVERIFY(pulse.start(QString()));
        env = orluneEnvironment();
        env.insert("DISPLAY", QString::fromLatin1(xserver.display()));
        env.insert("QT_QPA_PLATFORM", "xcb");
    }

    void everyChangeIsStoredAtOnce()
    {
        {
            QSettings store(orluneConfigFile(), QSettings::IniFormat);
            store.setValue("is_first_start", false);
            store.setValue("is_authenticated_user", true);
            store.setValue("mouse_highlight", false);
            store.setValue("recording_quality", -3); // out of range: shown as SD
            store.setValue("proxy_host", "127.0.0.1");
            store.setValue("proxy_port", "3128");
            store.setValue("proxy_server", true);
            store.setValue("proxy_verification_status", 1);
        }
        const ScreenDriver user(env);
        QProcess orlune;
        const QString log = startUntilLogged(orlune, {}, "[AC]:", env, 30000);
        QVERIFY2(!log.isEmpty(), qPrintable(newestLog()));
        QVERIFY2(user.waitVisible("flyingMenuDialog", 30000), qPrintable(readLog(log)));

        // The menu stands upright at the right edge; its settings button is 27 pixels below the record button.
        QVERIFY(user.moveTo(user.visibleWindow("flyingMenuDialog").center()));
        QTest::qWait(1000);
        const QPoint record = redCentre(user.grabScreen(), user.visibleWindow("flyingMenuDialog"));
        QVERIFY2(!record.isNull(), "no record button in the floating menu");
        QVERIFY(user.click(record + QPoint(0, 27)));
        QVERIFY2(user.waitVisible("settingsDialog", 10000), qPrintable(readLog(log)));
        QTest::qWait(500);
        const QRect window = user.visibleWindow("settingsDialog");
        const int box = window.height() - kBody;
        const auto at = [&](QPoint fromTopRight) {
            return QPoint(window.right() + 1 + fromTopRight.x(), window.top() + box + fromTopRight.y());
        };

        // The stored quality out of range is shown clamped: SD is the chosen one, drawn in the brand colour.
        const QColor sd = user.grabScreen().pixelColor(at(kSd) + QPoint(-20, -10)); // beside its label
        QVERIFY2(qAbs(sd.red() - 0x51) < 16 && sd.green() < 16 && qAbs(sd.blue() - 0xA4) < 16, qPrintable(sd.name()));
        QVERIFY(user.click(at(kHd)));
        QVERIFY2(waitStored("recording_quality", 1), qPrintable(stored("recording_quality").toString()));
        QCOMPARE(stored("isVideoQualityNeverSet").toBool(), false);

        QVERIFY(user.click(at(kHighlightSwitch)));
        QVERIFY(waitStored("mouse_highlight", true));

        // The gear opens the proxy fields; a digit typed into the port is a new proxy.
        QVERIFY(user.click(at(kProxyGear)));
        QVERIFY(waitUntil([&] { return user.visibleWindow("settingsDialog").height() == box + kBodyWithProxy; }, 3000));
        QVERIFY(user.click(window.topLeft() + QPoint(0, box) + kPortFieldFromLeft));
        QVERIFY(user.key("End"));
        QVERIFY(user.key("9"));
        QVERIFY(waitStored("proxy_port", "31289"));
        QVERIFY(waitStored("proxy_server", false));
        QCOMPARE(stored("proxy_verification_status").toInt(), 0);
        // Its switch is disabled now: a click changes nothing.
        QVERIFY(user.click(at(kProxySwitch)));
        QTest::qWait(1000);
        QCOMPARE(stored("proxy_server").toBool(), false);

        // A new hot key: stored, it opens the selection, and Alt+S is let go.
        QVERIFY(user.click(at(kEditShortcutWithProxy)));
        QTest::qWait(300);
        QVERIFY(user.key("ctrl+shift+y"));
        QVERIFY2(waitStored("startstop_hotkey", "Ctrl+Shift+Y"),
                 qPrintable(stored("startstop_hotkey").toString() + "\n" + readLog(log)));
        QVERIFY(user.moveTo(QPoint(5, 5)));
        QVERIFY(user.key("ctrl+shift+y"));
        QVERIFY2(user.waitVisible("regionSelect0", 10000), qPrintable(readLog(log)));
        QVERIFY(user.key("Escape"));
        QVERIFY(user.waitHidden("regionSelect0", 10000));
        QVERIFY(user.key("alt+s"));
        QTest::qWait(1500);
        QVERIFY(user.visibleWindow("regionSelect0").isNull());

        // "REPORT BUG" asks first.
        QVERIFY(user.click(at(kReportBugWithProxy)));
        QVERIFY2(user.waitVisible("messageDialog", 5000), qPrintable(readLog(log)));

        orlune.terminate();
        QVERIFY(collectOrlune(orlune, 20000).finished);
    }
};

QTEST_GUILESS_MAIN(TestUiSettingsE2e)
#include "test_ui_settings_e2e.moc"
