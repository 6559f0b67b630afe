// The program's small windows as a user meets them, on an X server and a
// sound server of this test's own. On a first start the hint sits in the
// middle of the screen until Alt+S; it never comes back on a later start.
// Unplugging a sound device makes the program warn in its pop-up at the
// bottom right of the screen, which goes after five seconds; a second warning
// replaces the first and has five seconds of its own. At scale 1 and 2.
#include "LoggedStart.h"
#include "PrivateServers.h"
#include "ScreenDriver.h"

#include <QElapsedTimer>
#include <QSettings>
#include <QtTest>

namespace {
const QSize kScreen(1280, 720);
// The windows' sizes in logical pixels: the hint, and a warning pop-up.
const QSize kHint(420, 140);
const QSize kWarning(368, 180);
} // namespace

class TestUiPopupsE2e : public QObject
{
    Q_OBJECT

    PrivateXServer xserver;
    PrivatePulse pulse;
    QProcessEnvironment baseEnv;
    QString micModule, sinkModule;

    QString plugMicrophone()
    {
        return pulse.load("module-sine-source", {"source_name=popup_mic", "frequency=440",
                                                 "source_properties=device.description=Microphone"});
    }
    QString plugSpeakers()
    {
        return pulse.load("module-null-sink",
                          {"sink_name=popup_speakers", "sink_properties=device.description=Speakers"});
    }

    // How long the pop-up stays on screen after `shown`, in milliseconds; -1 when it stays past 10 s.
    static qint64 hiddenAfter(const ScreenDriver& user, const QElapsedTimer& shown)
    {
        return user.waitHidden("bottomMessageDialog", 10000) ? shown.elapsed() : -1;
    }

    // Waits until the log holds the line a new time, and starts `clock` then.
    static bool waitLogged(const QString& log, const QString& line, int times, QElapsedTimer& clock)
    {
        const bool logged = waitUntil([&] { return readLog(log).count(line) >= times; }, 10000);
        clock.start();
        return logged;
    }

private slots:
    void initTestCase()
    {
        for (const char* tool : {"xdotool", "Xvfb", "pulseaudio", "pactl"})
            QVERIFY2(!QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(), tool);
        QVERIFY(xserver.start("1280x720x24"));
        QVERIFY(pulse.start(QString()));
        // After the sound server: the program inherits its address.
        baseEnv = orluneEnvironment();
        baseEnv.insert("DISPLAY", QString::fromLatin1(xserver.display()));
        baseEnv.insert("QT_QPA_PLATFORM", "xcb");
    }

    void hintAndPopups_data()
    {
        QTest::addColumn<int>("scale");
        QTest::newRow("scale 1") << 1;
        QTest::newRow("scale 2") << 2;
    }

    void hintAndPopups()
    {
        QFETCH(int, scale);
        QVERIFY(!(micModule = plugMicrophone()).isEmpty() && !(sinkModule = plugSpeakers()).isEmpty());
        {
            QSettings store(orluneConfigFile(), QSettings::IniFormat);
            store.setValue("is_first_start", true);
        }
        QProcessEnvironment env = baseEnv;
        env.insert("QT_SCALE_FACTOR", QString::number(scale));
        const ScreenDriver user(env);

        QProcess orlune;
        const QString log = startUntilLogged(orlune, {}, "[AC]:", env, 30000);
        QVERIFY2(!log.isEmpty(), qPrintable(newestLog()));

        // The hint, centred on the screen, goes with the capture key.
        QVERIFY2(user.waitVisible("firstDialog", 30000), qPrintable(readLog(log)));
        const QSize hint = kHint * scale;
        QCOMPARE(user.visibleWindow("firstDialog"),
                 QRect(QPoint((kScreen.width() - hint.width()) / 2, (kScreen.height() - hint.height()) / 2), hint));
        QVERIFY(user.key("alt+s"));
        QVERIFY(user.waitHidden("firstDialog", 10000));
        QVERIFY(user.waitVisible("regionSelect0", 10000));
        QVERIFY(user.key("Escape"));
        QVERIFY(user.waitHidden("regionSelect0", 10000));

        // The microphone goes: a warning in the lower right corner for five seconds.
        const QString noMic = "[AC]: showPopup MsgWarning \"No Microphone detected\"";
        const QString noSpeakers = "[AC]: showPopup MsgWarning \"No Playback Device detected\"";
        QElapsedTimer shown;
        pulse.pactl({"unload-module", micModule});
        QVERIFY2(waitLogged(log, noMic, 1, shown), qPrintable(readLog(log)));
        QVERIFY(user.waitVisible("bottomMessageDialog", 3000));
        const QSize warning = kWarning * scale;
        QCOMPARE(user.visibleWindow("bottomMessageDialog"),
                 QRect(QPoint(kScreen.width() - warning.width(), kScreen.height() - warning.height()), warning));
        const qint64 alone = hiddenAfter(user, shown);
        QVERIFY2(alone >= 4500 && alone <= 7000, qPrintable(QString("hidden after %1 ms").arg(alone)));

        // The speakers go, then the microphone again 2.5 s later: the second
        // warning takes the window over and has its own five seconds.
        QVERIFY(!(micModule = plugMicrophone()).isEmpty());
        QTest::qWait(1000);
        QElapsedTimer first, second;
        pulse.pactl({"unload-module", sinkModule});
        QVERIFY2(waitLogged(log, noSpeakers, 1, first), qPrintable(readLog(log)));
        QVERIFY(user.waitVisible("bottomMessageDialog", 3000));
        QTest::qWait(2500);
        pulse.pactl({"unload-module", micModule});
        QVERIFY2(waitLogged(log, noMic, 2, second), qPrintable(readLog(log)));
        QTest::qWait(5800 - int(first.elapsed()));
        QVERIFY2(!user.visibleWindow("bottomMessageDialog").isNull(), "the second pop-up is still shown");
        QCOMPARE(user.visibleWindow("bottomMessageDialog").size(), warning);
        const qint64 replaced = hiddenAfter(user, second);
        QVERIFY2(replaced >= 4500 && replaced <= 7000, qPrintable(QString("hidden after %1 ms").arg(replaced)));

        orlune.terminate();
        QVERIFY(collectOrlune(orlune, 20000).finished);
        QCOMPARE(QSettings(orluneConfigFile(), QSettings::IniFormat).value("is_first_start").toBool(), false);

        // A later start shows no hint.
        QProcess again;
        startOrlune(again, {}, env);
        QVERIFY(user.waitVisible("flyingMenuDialog", 30000));
        QTest::qWait(1500);
        QVERIFY(user.visibleWindow("firstDialog").isNull());
        again.terminate();
        QVERIFY(collectOrlune(again, 20000).finished);
    }
};

QTEST_GUILESS_MAIN(TestUiPopupsE2e)
#include "test_ui_popups_e2e.moc"
