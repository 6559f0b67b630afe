// A recording made through the interface, as a user makes one: on an X server
// of this test's own (the hot keys are global), a still picture fills the
// screen; the user opens the selection (Alt+S, or the floating menu's record
// button), drags a rectangle and starts the recording, then stops it (Alt+S,
// or the panel's stop button). The file must show exactly the dragged screen
// pixels, without the red frame, and be entered like any other recording.
// Once at scale 1 and once at scale 2, where Qt's logical pixels are half
// the server's.
#include "LoggedStart.h"
#include "PrivateServers.h"
#include "ScreenDriver.h"

#include <QFileInfo>
#include <QtTest>

namespace {
const QSize kScreen(1280, 720);
// The rectangle dragged, in the server's pixels; away from the floating
// menu, which starts in the middle of the screen.
const QRect kArea(100, 100, 400, 300);

QImage frameAt(const QString& file, double seconds)
{
    QProcess ffmpeg;
    ffmpeg.start("ffmpeg", {"-loglevel", "error", "-ss", QString::number(seconds), "-i", file, "-frames:v", "1", "-f",
                            "image2pipe", "-c:v", "png", "-"});
    ffmpeg.waitForFinished(30000);
    return QImage::fromData(ffmpeg.readAllStandardOutput(), "PNG");
}
} // namespace

class TestUiRecordE2e : public QObject
{
    Q_OBJECT

    PrivateXServer xserver;
    QProcessEnvironment baseEnv;
    StillPicture still;
    QImage picture;

private slots:
    void initTestCase()
    {
        for (const char* tool : {"xdotool", "sqlite3", "Xvfb", "ffplay", "ffmpeg", "ffprobe", "xcompmgr"})
            QVERIFY2(!QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(), tool);
        QVERIFY(xserver.start("1280x720x24"));
        baseEnv = orluneEnvironment();
        baseEnv.insert("DISPLAY", QString::fromLatin1(xserver.display()));
        baseEnv.insert("QT_QPA_PLATFORM", "xcb");
        picture = StillPicture::pattern(kScreen);
        QVERIFY(still.show(picture, baseEnv));
    }

    void recordsTheDraggedRectangle_data()
    {
        QTest::addColumn<int>("scale");
        QTest::addColumn<bool>("fromMenuButton");
        QTest::addColumn<bool>("panelStops");
        QTest::addColumn<bool>("compositor");
        QTest::newRow("scale 1, Alt+S and the action menu, Alt+S stops") << 1 << false << false << false;
        QTest::newRow("scale 2, the menu's record button, the panel stops") << 2 << true << true << false;
        QTest::newRow("scale 1 with a compositor: translucent windows") << 1 << false << true << true;
    }

    void recordsTheDraggedRectangle()
    {
        QFETCH(int, scale);
        QFETCH(bool, fromMenuButton);
        QFETCH(bool, panelStops);
        QFETCH(bool, compositor);
        // With a compositing manager the windows are translucent rather than masked.
        QProcess compositing;
        if (compositor) {
            compositing.setProcessEnvironment(baseEnv);
            compositing.start("xcompmgr", {});
            QVERIFY(compositing.waitForStarted(5000));
            QTest::qWait(500);
        }
        QProcessEnvironment env = baseEnv;
        env.insert("QT_SCALE_FACTOR", QString::number(scale));
        const ScreenDriver user(env);

        QProcess orlune;
        const QString log = startUntilLogged(orlune, {}, "[AC]:", env, 30000);
        QVERIFY2(!log.isEmpty(), qPrintable(newestLog()));
        QVERIFY2(waitUntil([&] { return readLog(log).contains("[UIC]: setDwmIsCompositionEnabled"); }, 30000),
                 qPrintable(readLog(log)));
        QVERIFY2(user.waitVisible("flyingMenuDialog", 30000), qPrintable(readLog(log)));
        const QStringList before = orluneRecordings();

        if (!fromMenuButton) {
            // Esc closes the selection and gives Alt+S back.
            QVERIFY(user.key("alt+s"));
            QVERIFY2(user.waitVisible("regionSelect0", 10000), qPrintable(readLog(log)));
            QVERIFY(user.key("Escape"));
            QVERIFY(user.waitHidden("regionSelect0", 10000));
            QVERIFY(user.key("alt+s"));
            QVERIFY(user.waitVisible("regionSelect0", 10000));
            // A second Alt+S while the selection shows changes nothing.
            QVERIFY(user.key("alt+s"));
            QVERIFY(user.drag(kArea.topLeft(), kArea.bottomRight() + QPoint(1, 1)));
            // The action menu lies 5 logical pixels under the selection; its
            // video button is the second of four 42-pixel buttons, 10 from its left.
            const QPoint videoButton =
                QPoint(kArea.left() + (10 + 42 + 7 + 21) * scale, kArea.bottom() + 1 + (5 + 30) * scale);
            QVERIFY(user.click(videoButton));
        } else {
            const QRect menu = user.visibleWindow("flyingMenuDialog");
            QVERIFY(user.moveTo(menu.center()));
            QTest::qWait(1000); // the menu expands under the pointer
            const QRect expanded = user.visibleWindow("flyingMenuDialog");
            const QPoint record = redCentre(user.grabScreen(), expanded);
            QVERIFY2(!record.isNull(), "no record button in the floating menu");
            QVERIFY(user.click(record));
            QVERIFY2(user.waitVisible("regionSelect0", 10000), qPrintable(readLog(log)));
            // In this run state the release itself starts the recording.
            QVERIFY(user.drag(kArea.topLeft(), kArea.bottomRight() + QPoint(1, 1)));
        }
        QVERIFY2(waitUntil([&] { return readLog(log).contains("[AC]: handleRecordingStarted("); }, 30000),
                 qPrintable(readLog(log)));
        QVERIFY(user.moveTo(QPoint(kScreen.width() - 5, kScreen.height() - 5)));
        QVERIFY(user.waitVisible("videoRecordingDialog", 5000));
        const QRect frame = user.visibleWindow("videoRecordingDialog");
        QVERIFY2(frame.contains(kArea) && frame != kArea, "the red frame lies around the area");
        const QRect panel = user.visibleWindow("videoRecordingMenu");
        QVERIFY2(!panel.isNull() && !panel.intersects(kArea), "the panel stands beside the area");
        QTest::qWait(3000);

        if (!panelStops) {
            QVERIFY(user.key("alt+s"));
        } else {
            // The stop button is the first of the panel, 20 logical pixels from its left, 50 wide.
            QVERIFY(user.click(QPoint(panel.left() + 45 * scale, panel.center().y())));
        }
        QVERIFY2(waitUntil([&] { return readLog(log).contains("[AC]: handleRecordDone"); }, 30000),
                 qPrintable(readLog(log)));
        QVERIFY(user.waitHidden("videoRecordingDialog", 10000));
        QVERIFY(user.waitHidden("videoRecordingMenu", 10000));

        QStringList added = orluneRecordings();
        for (const QString& name : before)
            added.removeAll(name);
        QCOMPARE(added.size(), 1);
        const QString file = orluneFilesPath() + "/" + added.first();
        QCOMPARE(probeStreamValue(file, "width").toInt(), kArea.width());
        QCOMPARE(probeStreamValue(file, "height").toInt(), kArea.height());
        QVERIFY2(waitUntil([&] { return QFileInfo::exists(file + ".jpg"); }, 20000), "preview beside the file");

        // The picture is the dragged rectangle of the screen, not one a few pixels off.
        const QImage recorded = frameAt(file, 1.5);
        const double exact = meanDifference(recorded, picture.copy(kArea));
        const double shifted = meanDifference(recorded, picture.copy(kArea.translated(4, 4)));
        QVERIFY2(exact < 14 && exact * 2 < shifted,
                 qPrintable(QString("difference %1, shifted by 4: %2").arg(exact).arg(shifted)));
        QCOMPARE(framePixels(recorded), 0);

        const QString row =
            sqliteTool(orluneDatabaseFile(),
                       QString("SELECT file_finalized, file_size FROM files WHERE file_name='%1';").arg(added.first()));
        QCOMPARE(row.section('|', 0, 0), QString("true"));
        QCOMPARE(row.section('|', 1, 1).toLongLong(), QFileInfo(file).size());

        QVERIFY(readLog(log).contains(compositor ? "DWM: true" : "DWM: false"));

        orlune.terminate();
        QVERIFY(collectOrlune(orlune, 20000).finished);
        compositing.terminate();
        compositing.waitForFinished(5000);
    }

    // The floating menu dragged to the left edge sticks there and turns
    // vertical; after a restart it stands where it was left.
    void floatingMenuSticksAndKeepsItsPlace()
    {
        const ScreenDriver user(baseEnv);
        QRect placed;
        for (int run = 0; run < 2; ++run) {
            QProcess orlune;
            startOrlune(orlune, {}, baseEnv);
            QVERIFY(user.waitVisible("flyingMenuDialog", 30000));
            if (run == 0) {
                const QRect menu = user.visibleWindow("flyingMenuDialog");
                QVERIFY(user.moveTo(menu.center()));
                QTest::qWait(800); // expanded under the pointer
                const QRect expanded = user.visibleWindow("flyingMenuDialog");
                // Grab it beside its record button, on the bar's background, and pull it left.
                const QPoint grip(expanded.left() + expanded.width() - 6, expanded.center().y());
                QVERIFY(user.drag(grip, QPoint(8, 300)));
                QTest::qWait(800);
                placed = user.visibleWindow("flyingMenuDialog");
                QCOMPARE(placed.left(), 0);
                QVERIFY2(placed.height() > placed.width(), "vertical at the side");
            } else {
                QTest::qWait(800);
                const QRect again = user.visibleWindow("flyingMenuDialog");
                QCOMPARE(again.left(), placed.left());
                QVERIFY2(again.height() > again.width(), "still vertical after a restart");
                QVERIFY(qAbs(again.top() - placed.top()) <= 2);
            }
            orlune.terminate();
            QVERIFY(collectOrlune(orlune, 20000).finished);
        }
    }
};

QTEST_GUILESS_MAIN(TestUiRecordE2e)
#include "test_ui_record_e2e.moc"
