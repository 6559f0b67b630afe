// The interface's images as the program loads them from its resources: every name
// the QML and the overlay ask for is there and draws, in the colours its background
// needs; the level images cover their plain glyph; the cross cursor aims at its middle.
#include <QCursor>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QImageReader>
#include <QPixmap>
#include <QtTest>

namespace {

const QString kFlying = ":/images/FlyingDialog/";
const QString kPanel = ":/images/VideoRecordingDialog/";
const QString kScreen = ":/images/ScreenDialog/";
const QString kWebCam = ":/images/WebCamDialog/";
const QString kPopup = ":/images/BottomMessageDialog/";
const QString kFirst = ":/images/FirstDialog/";
const QString kSettings = ":/images/SettingsDialog/";

// The level images and the device glyphs they lie over; the same in both folders.
const QStringList kDevices = {"mic", "volume", "webcam"};
const QStringList kLevelGlyphs = {"mic", "volume"};

// Qt Quick's Image goes through QImageReader with the item's size as scaled size.
QImage render(const QString& path, QSize size = QSize(48, 48))
{
    QImageReader reader(path);
    reader.setScaledSize(size);
    return reader.read().convertToFormat(QImage::Format_ARGB32);
}

struct Ink
{
    int pixels = 0;   // pixels drawn at more than half opacity
    double light = 0; // their mean lightness, 0 black .. 255 white
    int red = 0;      // of them, those of the recording red
    int green = 0;    // those of the level green
    int grey = 0;     // those of the disabled grey
    int off = 0;      // strongly coloured pixels, none of the above
};

Ink inkOf(const QImage& image)
{
    Ink ink;
    double lightSum = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (c.alpha() < 128)
                continue;
            ++ink.pixels;
            lightSum += c.lightness();
            if (c.red() > 200 && c.green() < 60 && c.blue() < 60)
                ++ink.red;
            else if (c.green() > 150 && c.red() < 80 && c.blue() < 150)
                ++ink.green;
            else if (qAbs(c.red() - 154) < 12 && qAbs(c.green() - 154) < 12 && qAbs(c.blue() - 154) < 12)
                ++ink.grey;
            else if (c.hsvSaturation() > 60)
                ++ink.off;
        }
    }
    ink.light = ink.pixels ? lightSum / ink.pixels : 0;
    return ink;
}

} // namespace

class TestImages : public QObject
{
    Q_OBJECT
private slots:
    void contractImagesDraw_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QSize>("aspect"); // of the drawing, as the QML sizes it
        QTest::addColumn<QString>("kind");
        const QSize square(24, 24);
        // kind: light on the dark menu, dark on white, grey, green, red, or mixed with red.
        for (const QString& name : QStringList{"camera", "gallery", "setting", "pin", "pin-circle"})
            QTest::newRow(qPrintable("Flying " + name)) << kFlying + name + ".svg" << square << "light";
        QTest::newRow("Flying dots") << kFlying + "dots.svg" << QSize(50, 40) << "light";
        QTest::newRow("Flying logo horizontal") << kFlying + "logo-white-horizontal.svg" << QSize(350, 90) << "light";
        QTest::newRow("Flying logo vertical") << kFlying + "logo-white-vertical.svg" << QSize(90, 350) << "light";
        QTest::newRow("Flying rec-point") << kFlying + "rec-point.svg" << square << "red";
        QTest::newRow("Flying record") << kFlying + "record.svg" << square << "light+red";
        QTest::newRow("Flying recording") << kFlying + "recording.svg" << square << "light+red";
        QTest::newRow("Panel stop-record") << kPanel + "stop-record.svg" << square << "dark+red";
        struct Folder
        {
            QString path, label, plain;
        };
        for (const Folder& f : {Folder{kFlying, "Flying", "light"}, Folder{kPanel, "Panel", "dark"}}) {
            const QString &folder = f.path, &label = f.label, &plain = f.plain;
            for (const QString& device : kDevices) {
                const QString base = folder + device;
                QTest::newRow(qPrintable(QString("%1 %2").arg(label, device))) << base + ".svg" << square << plain;
                QTest::newRow(qPrintable(QString("%1 %2-inactive").arg(label, device)))
                    << base + "-inactive.svg" << square << plain;
                QTest::newRow(qPrintable(QString("%1 %2-disabled").arg(label, device)))
                    << base + "-disabled.svg" << square << "grey";
            }
            for (const QString& glyph : kLevelGlyphs)
                QTest::newRow(qPrintable(QString("%1 %2-green").arg(label, glyph)))
                    << folder + glyph + "-green.svg" << square << "green";
        }
        for (const QString& name : QStringList{"camera", "video-camera", "reload-arrow", "cross"})
            QTest::newRow(qPrintable("Screen " + name)) << kScreen + name + ".svg" << square << "dark";
        for (const QString& name : QStringList{"circle", "circle-large", "fullscreen", "mirror", "close"})
            QTest::newRow(qPrintable("WebCam " + name)) << kWebCam + name + ".svg" << square << "dark";
        // The pop-up's button icons lie on white or on a tint of the brand colour.
        for (const QString& name : QStringList{"open-link", "open-gallery"})
            QTest::newRow(qPrintable("Pop-up " + name)) << kPopup + name + ".svg" << square << "brand";
        QTest::newRow("First cross") << kFirst + "cross.svg" << square << "light";
        // The settings window: light on its account box, dark on its white body;
        // the offline picture is asked for without a suffix.
        for (const QString& name : QStringList{"menu.svg", "minimize.svg", "offline"})
            QTest::newRow(qPrintable("Settings " + name)) << kSettings + name << square << "light";
        for (const QString& name : QStringList{"gear", "edit", "reset"})
            QTest::newRow(qPrintable("Settings " + name)) << kSettings + name + ".svg" << square << "dark";
    }

    // Each image exists under its name, draws at the size it is shown, keeps the
    // proportions its item has, and uses the colours of its background.
    void contractImagesDraw()
    {
        QFETCH(QString, path);
        QFETCH(QSize, aspect);
        QFETCH(QString, kind);
        QVERIFY2(QFile::exists(path), qPrintable(path + " is not in the resources"));
        const QSize natural = QImageReader(path).size();
        QVERIFY2(qAbs(double(natural.width()) / natural.height() - double(aspect.width()) / aspect.height()) < 0.01,
                 qPrintable(QString("%1 is %2x%3").arg(path).arg(natural.width()).arg(natural.height())));
        const QImage image = render(path, aspect.scaled(96, 96, Qt::KeepAspectRatio));
        QVERIFY2(!image.isNull(), qPrintable(path + " does not load"));
        const Ink ink = inkOf(image);
        QVERIFY2(ink.pixels > image.width() * image.height() / 50, qPrintable(path + " draws next to nothing"));
        // Not a box: the corners stay clear, so the button's own background shows.
        QCOMPARE(image.pixelColor(0, 0).alpha(), 0);
        QCOMPARE(image.pixelColor(image.width() - 1, image.height() - 1).alpha(), 0);

        const double redShare = double(ink.red) / ink.pixels;
        if (kind == "red") {
            QVERIFY(redShare > 0.95);
        } else if (kind == "green") {
            QVERIFY(double(ink.green) / ink.pixels > 0.95);
        } else if (kind == "grey") {
            QVERIFY(double(ink.grey) / ink.pixels > 0.9);
        } else if (kind == "brand") {
            // The brand purple, #5100A4.
            int purple = 0;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x) {
                    const QColor c = image.pixelColor(x, y);
                    if (c.alpha() >= 128 && qAbs(c.hsvHue() - 270) < 12 && c.hsvSaturation() > 200)
                        ++purple;
                }
            QVERIFY2(double(purple) / ink.pixels > 0.9, qPrintable(QString("%1 of %2").arg(purple).arg(ink.pixels)));
        } else {
            // Light or dark glyph, with a red mark where the kind says so.
            QCOMPARE(ink.red > 0, kind.endsWith("+red"));
            QCOMPARE(ink.off, 0);
            // The lightness of the glyph itself, without its red mark.
            double lightSum = 0;
            int count = 0;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x) {
                    const QColor c = image.pixelColor(x, y);
                    if (c.alpha() >= 128 && c.hsvSaturation() < 60) {
                        lightSum += c.lightness();
                        ++count;
                    }
                }
            QVERIFY(count > 0);
            if (kind.startsWith("light"))
                QVERIFY2(lightSum / count > 230, qPrintable(QString::number(lightSum / count)));
            else
                QVERIFY2(lightSum / count < 50, qPrintable(QString::number(lightSum / count)));
        }
    }

    // The level display clips the green image from below over the plain one: the two
    // must be the same glyph in the same place, the green one filled.
    void levelImagesCoverTheirGlyph()
    {
        for (const QString& folder : {kFlying, kPanel}) {
            for (const QString& glyph : kLevelGlyphs) {
                const QImage plain = render(folder + glyph + ".svg");
                const QImage green = render(folder + glyph + "-green.svg");
                int plainPixels = 0, uncovered = 0;
                for (int y = 0; y < plain.height(); ++y)
                    for (int x = 0; x < plain.width(); ++x)
                        if (plain.pixelColor(x, y).alpha() > 200) {
                            ++plainPixels;
                            uncovered += green.pixelColor(x, y).alpha() < 200;
                        }
                QVERIFY(plainPixels > 0);
                QVERIFY2(
                    uncovered == 0,
                    qPrintable(QString("%1%2: %3 pixels of the glyph not covered").arg(folder, glyph).arg(uncovered)));
                QVERIFY2(inkOf(green).pixels > inkOf(plain).pixels * 1.2, "the green image is not filled");
            }
        }
    }

    // Off shows the same device crossed out; it is not the same picture.
    void inactiveImagesDifferFromActive()
    {
        for (const QString& folder : {kFlying, kPanel})
            for (const QString& device : kDevices)
                QVERIFY2(render(folder + device + ".svg") != render(folder + device + "-inactive.svg"),
                         qPrintable(folder + device));
    }

    // The overlay's cursor: 32x32, hot spot in the middle, which stays clear, with
    // black arms ringed in white so they show on any picture.
    void crossCursor()
    {
        const QPixmap pixmap(kScreen + "cross_cursor.png");
        QCOMPARE(pixmap.size(), QSize(32, 32));
        const QCursor cursor(pixmap);
        QCOMPARE(cursor.hotSpot(), QPoint(16, 16));
        const QImage image = pixmap.toImage().convertToFormat(QImage::Format_ARGB32);
        QVERIFY(image.hasAlphaChannel());
        const QPoint hot = cursor.hotSpot();
        QCOMPARE(image.pixelColor(hot).alpha(), 0);
        const QList<QPoint> arms = {{1, 0}, {-1, 0}, {0, 1}, {0, -1}};
        for (const QPoint& arm : arms) {
            const QPoint side(arm.y(), arm.x()); // across the arm
            for (int distance = 4; distance <= 12; ++distance) {
                const QPoint p = hot + arm * distance;
                QCOMPARE(image.pixelColor(p), QColor(Qt::black));
                QCOMPARE(image.pixelColor(p + side), QColor(Qt::white));
                QCOMPARE(image.pixelColor(p - side), QColor(Qt::white));
            }
            QCOMPARE(image.pixelColor(hot + arm * 13), QColor(Qt::white)); // the ring closes the arm's end
            QCOMPARE(image.pixelColor(hot + arm * 14).alpha(), 0);
        }
        QCOMPARE(image.pixelColor(0, 0).alpha(), 0);
    }

    // The licence file says the images are drawings of the project's own: plain SVG
    // shapes, with no embedded pictures, no text set in a font and no editor's baggage.
    void svgFilesArePlainDrawings()
    {
        QDirIterator it(ORLUNE_SOURCE_DIR "/assets/images", {"*.svg"}, QDir::Files, QDirIterator::Subdirectories);
        int files = 0;
        const QStringList banned = {"<image", "data:", "<text", "font", "xlink:href", "<style", "inkscape", "sodipodi"};
        while (it.hasNext()) {
            const QString path = it.next();
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString text = QString::fromUtf8(file.readAll());
            ++files;
            QVERIFY2(text.startsWith("<svg xmlns=\"http://www.w3.org/2000/svg\""), qPrintable(path));
            for (const QString& word : banned)
                QVERIFY2(!text.contains(word, Qt::CaseInsensitive), qPrintable(path + " contains " + word));
        }
        QCOMPARE(files, 52);
    }
};

QTEST_MAIN(TestImages)
#include "test_images.moc"
