// The tray of the real program on an X server of the test's own, with trayer
// as the desktop's system tray: the icon docks in trayer's panel, its menu
// opens under the right button with the items in their order, "Settings"
// opens the settings window, and "Quit Orlune" ends the program with status 0.
// A desktop without a tray gets one log line and keeps the floating menu; a
// tray that appears later still gets the icon.
#include "LoggedStart.h"
#include "PrivateServers.h"
#include "ScreenDriver.h"

#include <QRegularExpression>
#include <QScopeGuard>
#include <QtTest>

namespace {
const QString kNoTray = "[AC]: No system tray available";
const QString kShown = "[AC]: tray icon shown";
const QString kMenuLine = "[AC]: tray menu: ";
const QString kItems = "Video Recording (Alt+S) | Image Capture | Settings | Check for updates | Quit Orlune";

QString run(const QString& program, const QStringList& args, const QProcessEnvironment& env)
{
    QProcess tool;
    tool.setProcessEnvironment(env);
    tool.start(program, args);
    tool.waitForFinished(10000);
    return QString::fromLocal8Bit(tool.readAllStandardOutput());
}

// The items of the last menu the program described in its log.
QString loggedMenu(const QString& log)
{
    const int at = log.lastIndexOf(kMenuLine);
    if (at < 0)
        return QString();
    const int from = at + kMenuLine.size();
    return log.mid(from, log.indexOf('\n', from) - from).trimmed();
}
} // namespace

class TestTray : public QObject
{
    Q_OBJECT

    PrivateXServer xserver;
    QProcessEnvironment env;

    bool startTrayer(QProcess& trayer)
    {
        trayer.setProcessEnvironment(env);
        trayer.start("trayer", {"--edge", "bottom", "--align", "right", "--widthtype", "pixel", "--width", "200",
                                "--heighttype", "pixel", "--height", "32"});
        return trayer.waitForStarted(5000);
    }
    // The program's window inside trayer's panel, in screen coordinates: the
    // docked icon. Null while there is none.
    QRect dockedIcon() const
    {
        const QString panel = run("xdotool", {"search", "--name", "^panel$"}, env).section('\n', 0, 0).trimmed();
        if (panel.isEmpty())
            return QRect();
        // A line of the tree: 0x40000a "orlune": ("orlune" "orlune")  22x30+0+0  +1897+1049
        static const QRegularExpression line(
            R"re("orlune": \("orlune" "orlune"\)\s+(\d+)x(\d+)\S*\s+\+(-?\d+)\+(-?\d+))re");
        const QRegularExpressionMatch m = line.match(run("xwininfo", {"-id", panel, "-tree"}, env));
        if (!m.hasMatch())
            return QRect();
        return QRect(m.captured(3).toInt(), m.captured(4).toInt(), m.captured(1).toInt(), m.captured(2).toInt());
    }

private slots:
    void initTestCase()
    {
        for (const char* tool : {"xdotool", "xwininfo", "trayer", "Xvfb"})
            QVERIFY2(!QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(), tool);
        QVERIFY(xserver.start("1280x720x24"));
        env = orluneEnvironment();
        env.insert("DISPLAY", QString::fromLatin1(xserver.display()));
        env.insert("QT_QPA_PLATFORM", "xcb");
    }

    void menuFromTheTrayQuits_data()
    {
        QTest::addColumn<bool>("trayAtStart");
        QTest::newRow("a tray from the start") << true;
        QTest::newRow("no tray at first, one appears later") << false;
    }

    void menuFromTheTrayQuits()
    {
        QFETCH(bool, trayAtStart);
        const ScreenDriver user(env);
        QProcess trayer;
        if (trayAtStart) {
            QVERIFY(startTrayer(trayer));
            QVERIFY(waitUntil([&] { return !run("xdotool", {"search", "--name", "^panel$"}, env).isEmpty(); }, 10000));
        }
        QProcess orlune;
        // A failed step leaves no program behind for the next case.
        const auto stop = qScopeGuard([&] {
            orlune.kill();
            orlune.waitForFinished(5000);
            trayer.kill();
            trayer.waitForFinished(5000);
        });
        const QString log = startUntilLogged(orlune, {}, kMenuLine, env, 30000);
        QVERIFY2(!log.isEmpty(), qPrintable(newestLog()));
        QCOMPARE(loggedMenu(readLog(log)), kItems);

        if (!trayAtStart) {
            // The floating menu is the way in; the tray's absence is said once, not at every look.
            QVERIFY2(user.waitVisible("flyingMenuDialog", 30000), qPrintable(readLog(log)));
            QTest::qWait(5000);
            QCOMPARE(readLog(log).count(kNoTray), 1);
            QVERIFY(!readLog(log).contains(kShown));
            QVERIFY(startTrayer(trayer));
        }
        QVERIFY2(waitUntil([&] { return readLog(log).contains(kShown); }, 15000), qPrintable(readLog(log)));
        QRect icon;
        QVERIFY2(waitUntil([&] { return !(icon = dockedIcon()).isEmpty(); }, 10000),
                 "the icon is not in trayer's panel");
        QCOMPARE(readLog(log).count(kNoTray), trayAtStart ? 0 : 1);

        // Five items of one height: "Settings", the third, opens the settings window.
        QVERIFY(user.click(icon.center(), 3));
        QVERIFY2(user.waitVisible("trayMenu", 10000), qPrintable(readLog(log)));
        QRect menu = user.visibleWindow("trayMenu");
        QVERIFY(user.click(menu.center()));
        QVERIFY2(user.waitVisible("settingsDialog", 10000), qPrintable(readLog(log)));

        // The last one, "Quit Orlune", is at the bottom.
        QVERIFY(user.click(icon.center(), 3));
        QVERIFY2(user.waitVisible("trayMenu", 10000), qPrintable(readLog(log)));
        menu = user.visibleWindow("trayMenu");
        QVERIFY(user.click(QPoint(menu.center().x(), menu.bottom() - menu.height() / 10)));

        const OrluneRun ended = collectOrlune(orlune, 15000);
        QVERIFY2(ended.finished, qPrintable(readLog(log)));
        QCOMPARE(ended.exitCode, 0);
        QVERIFY(readLog(log).contains("[AC]: accept close: false"));
        QVERIFY(!readLog(log).contains("forcing exit"));
        QVERIFY(dockedIcon().isNull());
    }
};

QTEST_GUILESS_MAIN(TestTray)
#include "test_tray.moc"
