// Screen capture of the session's X server, with ffplay playing a test pattern at the top left and the
// pointer driven by xdotool.

#include "MovingPicture.h"
#include "PointerProbe_x11.h"
#include "PrivateServers.h"
#include "RecorderTestSupport.h"
#include "X11Connection_x11.h"
#include "ffThumbCreator.h"
#include "ffmpegVideoCap.h"

#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QImageReader>
#include <QScreen>
#include <QStandardPaths>
#include <QtTest>
#include <functional>

namespace {
bool xdotool(const QStringList& args)
{
    return QProcess::execute("xdotool", args) == 0;
}

bool movePointer(QPoint p)
{
    return xdotool({"mousemove", QString::number(p.x()), QString::number(p.y())});
}

// Highlight yellow over a dark background; `margin` is how far red and green
// must stand above blue (smaller for the thin ring, which the encoder's half-size colour planes wash out).
bool yellowish(QRgb c, int margin = 50)
{
    return qRed(c) - qBlue(c) > margin && qGreen(c) - qBlue(c) > margin && qAbs(qRed(c) - qGreen(c)) < 50;
}

QString cropFilter(const QRect& crop)
{
    return QString("crop=%1:%2:%3:%4").arg(crop.width()).arg(crop.height()).arg(crop.x()).arg(crop.y());
}

// The frames of a recording through a video filter, in order.
QList<QImage> decodeFrames(const QString& path, const QString& filter, const QString& folder)
{
    QDir().mkpath(folder);
    QList<QImage> frames;
    // Passthrough: one picture per recorded frame, none repeated to fill gaps.
    if (QProcess::execute("ffmpeg",
                          {"-v", "error", "-i", path, "-vf", filter, "-fps_mode", "passthrough", folder + "/f%04d.png"})
        != 0)
        return frames;
    const QStringList names = QDir(folder).entryList({"f*.png"}, QDir::Files, QDir::Name);
    for (const QString& name : names)
        frames << QImage(folder + "/" + name).convertToFormat(QImage::Format_RGB32);
    return frames;
}

// How many of the four axes from c show yellow somewhere at a distance in [from, to].
int yellowAxes(const QImage& image, QPoint c, int from, int to, int margin)
{
    int axes = 0;
    for (const QPoint step : {QPoint(1, 0), QPoint(-1, 0), QPoint(0, 1), QPoint(0, -1)}) {
        bool hit = false;
        for (int d = from; d <= to && !hit; ++d)
            hit = yellowish(image.pixel(c + step * d), margin);
        axes += hit ? 1 : 0;
    }
    return axes;
}

bool showsNoHighlight(const QImage& image)
{
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (yellowish(image.pixel(x, y), 30))
                return false;
    return true;
}

// Pixels that changed clearly between two pictures of one size.
int changedPixels(const QImage& a, const QImage& b)
{
    int changed = 0;
    for (int y = 0; y < qMin(a.height(), b.height()); ++y)
        for (int x = 0; x < qMin(a.width(), b.width()); ++x)
            changed += qAbs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y))) > 24 ? 1 : 0;
    return changed;
}

} // namespace

class TestScreenCapture : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        for (const char* tool : {"ffplay", "ffmpeg", "ffprobe", "xdotool", "Xvfb"})
            QVERIFY2(!QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(), tool);
        display = qgetenv("DISPLAY");
        QVERIFY2(!display.isEmpty(), "the test needs the session's X server");
        screen = QGuiApplication::primaryScreen()->geometry().size();
        QVERIFY(library.open());
        QVERIFY(picture.start(QSize(640, 480)));
    }

    void cleanup()
    {
        xdotool({"mouseup", "1"});
        xdotool({"mouseup", "3"});
    }

    void pointerProbeReadsPositionAndButtons()
    {
        // Away from the players' windows: a click there goes to the root window.
        const QPoint origin(screen.width() - 400, screen.height() - 200);
        PointerProbe probe;
        QVERIFY(probe.open(display + "+5,5", origin));
        PointerProbe::State state;

        QVERIFY(movePointer(origin + QPoint(100, 50)));
        QVERIFY(probe.query(state));
        QCOMPARE(QList<int>({state.x, state.y, state.buttons}), QList<int>({100, 50, 0}));
        QVERIFY(movePointer(origin - QPoint(30, 20)));
        QVERIFY(probe.query(state));
        QCOMPARE(QPoint(state.x, state.y), QPoint(-30, -20));

        QVERIFY(xdotool({"mousedown", "1"}));
        QVERIFY(probe.query(state));
        QCOMPARE(state.buttons, PointerProbe::kLeftButton);
        QVERIFY(xdotool({"mouseup", "1"}));
        QVERIFY(xdotool({"mousedown", "3"}));
        QVERIFY(probe.query(state));
        QCOMPARE(state.buttons, PointerProbe::kRightButton);
        QVERIFY(xdotool({"mouseup", "3"}));

        probe.close();
        QVERIFY(!probe.query(state));
        QCOMPARE(state.x, -1);
        QVERIFY(!probe.open(":987", origin));
    }

    void recordsRegionWithHighlightAndPreviews()
    {
        // The region takes in the lower right of the player at the top left, with
        // its noise and moving line; the pointer goes to an empty, black part of
        // the root window inside it, clear of any larger player another test may show at the top left.
        const QRect region(400, 300, 960, 540);
        const QPoint pointer(1310, 790);
        if (screen.width() < region.right() + 1 || screen.height() < region.bottom() + 1)
            QSKIP("needs a screen of at least 1360x840");
        QVERIFY(movePointer(QPoint(5, 5)));

        const QString name = "region.mp4";
        QElapsedTimer clock;
        record(name, region, true, [&] {
            clock.start();
            QTest::qWait(400);
            QVERIFY(movePointer(pointer));
            QTest::qWait(300);
            QVERIFY(xdotool({"mousedown", "1"}));
            QTest::qWait(300);
            QVERIFY(xdotool({"mouseup", "1"}));
            // Long enough for the pointer to rest, and for the preview's 90 frames.
            QTest::qWait(qMax<qint64>(1500, 4000 - clock.elapsed()));
        });
        if (QTest::currentTestFailed())
            return;

        const QString path = outputPath(name);
        // ffprobe gives the values in its own order.
        QCOMPARE(probeStreamValue(path, "codec_name,profile,width,height,pix_fmt").split('\n'),
                 QStringList(
                     {"h264", "Main", QString::number(region.width()), QString::number(region.height()), "yuv420p"}));

        // The picture moves: sampled without smoothing, the player's noise and
        // line differ from the first frame to the last.
        const QList<QImage> whole = decodeFrames(path, "scale=240:135:flags=neighbor", library.dir.path() + "/whole");
        QVERIFY(whole.size() >= 50);
        const int changed = changedPixels(whole.first(), whole.last());
        QVERIFY2(changed > 200, qPrintable(QString::number(changed)));

        // Around the pointer: the disc while it moves and while the button is
        // down, the ring alone after the release, and nothing once it rests.
        const QPoint relative = pointer - region.topLeft();
        const QRect crop(relative - QPoint(50, 50), QSize(100, 100));
        const QList<QImage> frames = decodeFrames(path, cropFilter(crop), library.dir.path() + "/pointer");
        QVERIFY(frames.size() >= 50);
        const QPoint centre(50, 50);
        int discs = 0, rings = 0, firstDisc = -1, firstRing = -1;
        for (int i = 0; i < frames.size(); ++i) {
            // The disc fills all around the pointer, clear of the cursor's own picture; the ring leaves the
            // pointer clear and is yellow at 30 to 44 on every axis.
            if (yellowAxes(frames[i], centre, 18, 18, 50) == 4) {
                ++discs;
                firstDisc = firstDisc < 0 ? i : firstDisc;
            } else if (yellowAxes(frames[i], centre, 18, 18, 30) == 0
                       && yellowAxes(frames[i], centre, 30, 44, 30) == 4) {
                ++rings;
                firstRing = firstRing < 0 ? i : firstRing;
            }
        }
        QVERIFY2(discs >= 6, qPrintable(QString::number(discs)));
        QVERIFY2(rings >= 2 && rings <= 6, qPrintable(QString::number(rings)));
        QVERIFY(firstDisc < firstRing);
        QVERIFY(showsNoHighlight(frames.first()));
        QVERIFY(showsNoHighlight(frames.last()));

        // Previews beside the recording, at the preview maker's size.
        const QSize previewSize = ffThumbCreator::previewSize(region.width(), region.height());
        QImageReader jpg(path + ".jpg");
        QCOMPARE(jpg.size(), previewSize);
        QVERIFY(!jpg.read().isNull());
        QImageReader gif(path + ".gif");
        QCOMPARE(gif.size(), previewSize);
        QVERIFY2(gif.imageCount() >= 2, qPrintable(QString::number(gif.imageCount())));
        QVERIFY(!gif.read().isNull());
    }

    void cutsRegionToTheScreen_data()
    {
        QTest::addColumn<QRect>("region");
        QTest::addColumn<QSize>("expected");
        const int w = screen.width(), h = screen.height();
        QTest::newRow("over the bottom right") << QRect(w - 119, h - 79, 320, 240) << QSize(119, 79);
        QTest::newRow("over the left edge") << QRect(-40, 100, 200, 100) << QSize(160, 100);
        QTest::newRow("inside") << QRect(100, 100, 320, 240) << QSize(320, 240);
        // Nothing of it on the screen: it cannot be opened.
        QTest::newRow("off the screen") << QRect(w + 10, 0, 100, 100) << QSize();
    }

    void cutsRegionToTheScreen()
    {
        QFETCH(QRect, region);
        QFETCH(QSize, expected);
        ffmpegVideoCap cap;
        cap.setCaptureParams(region.x(), region.y(), region.width(), region.height());
        if (expected.isEmpty()) {
            QVERIFY(cap.open_input_device(display.constData()) < 0);
            return;
        }
        if (expected.width() != region.width())
            QTest::ignoreMessage(QtWarningMsg,
                                 QRegularExpression(QString("Capture width reduced from %1 to %2 to fit within display")
                                                        .arg(region.width())
                                                        .arg(expected.width())));
        if (expected.height() != region.height())
            QTest::ignoreMessage(
                QtWarningMsg, QRegularExpression(QString("Capture height reduced from %1 to %2 to fit within display")
                                                     .arg(region.height())
                                                     .arg(expected.height())));
        QVERIFY(cap.open_input_device(display.constData()) >= 1);
        VideoParams params;
        QCOMPARE(cap.fillVideoParams(params), 1);
        QCOMPARE(QSize(params.width, params.height), expected);
        // What the user chose stays as it was.
        QCOMPARE(QRect(cap.captureX, cap.captureY, cap.captureW, cap.captureH), region);
        cap.freeUnused();
    }

    void recordsRegionPartlyOffScreen()
    {
        // 119x79 of the region are on the screen; the recording evens that.
        const QRect region(screen.width() - 119, screen.height() - 79, 320, 240);
        record("corner.mp4", region, false, [] { QTest::qWait(1000); });
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(probeStreamValue(outputPath("corner.mp4"), "width,height"), QString("118\n78"));
    }

    void lostDisplayEndsCaptureQuietly()
    {
        auto server = std::make_unique<PrivateXServer>();
        QVERIFY(server->start("640x480x24"));
        QTemporaryDir previews;
        ffmpegVideoCap cap;
        cap.highlightMouse = true;
        cap.setCaptureParams(0, 0, 320, 240);
        cap.setPreviewPaths(previews.path(), "lost.gif", "lost.jpg");
        // The server may take connections a moment after it has named its display.
        QVERIFY(QTest::qWaitFor([&] { return cap.open_input_device(server->display().constData()) >= 1; }, 5000));
        cap.start();
        QTRY_VERIFY_WITH_TIMEOUT(cap.started && cap.videoFrameCount > 20, 5000);

        server.reset();
        QTRY_VERIFY_WITH_TIMEOUT(cap.isFinished(), 5000);
        QCOMPARE(cap.started, 0);
        QVERIFY(!cap.thumbCreator);
        cap.freeUnused();
        QVERIFY(!cap.inputContext);
    }

private:
    // Records `region` of the session's display into the library's folder,
    // running `during` once the recording has started.
    void record(const QString& name, const QRect& region, bool highlight, const std::function<void()>& during)
    {
        ffmpegMux coder;
        SessionEvents session(coder);
        coder.disableSys = true;
        coder.highlightMouse = highlight;
        coder.setInputOutput(display.constData(), kTestMic, name, 0, library.dir.path(), 1);
        coder.setCaptureParams(region.x(), region.y(), region.width(), region.height());
        QCOMPARE(session.run(coder, during), QStringList({"started:0", "done:0"}));
    }
    QString outputPath(const QString& name) const { return library.dir.path() + "/" + name; }

    TestLibrary library;
    MovingPicture picture;
    QByteArray display;
    QSize screen;
};

QTEST_MAIN(TestScreenCapture)
#include "test_screen_capture.moc"
