// The animated GIF writer on known pictures, read back by Qt's GIF decoder and by the bytes of its blocks.

#include "gifWriter.h"

#include <QImage>
#include <QImageReader>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <vector>

namespace {

using Rgba = std::vector<uint8_t>;

// An opaque RGBA picture whose pixels `colour` gives.
Rgba picture(int w, int h, const std::function<QRgb(int x, int y)>& colour)
{
    Rgba px(size_t(w) * h * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const QRgb c = colour(x, y);
            uint8_t* p = &px[(size_t(y) * w + x) * 4];
            p[0] = uint8_t(qRed(c));
            p[1] = uint8_t(qGreen(c));
            p[2] = uint8_t(qBlue(c));
            p[3] = 255;
        }
    return px;
}

Rgba solid(int w, int h, QRgb c)
{
    return picture(w, h, [c](int, int) { return c; });
}

// Four flat quadrants, the kind of picture a desktop mostly is, with a
// yellow square of 12x10 at (50, 30) when asked for.
Rgba quadrants(int w, int h, bool square)
{
    static const QRgb colours[4] = {qRgb(250, 250, 250), qRgb(20, 40, 160), qRgb(200, 30, 30), qRgb(40, 40, 40)};
    return picture(w, h, [=](int x, int y) {
        if (square && QRect(50, 30, 12, 10).contains(x, y))
            return qRgb(255, 255, 0);
        return colours[(y >= h / 2) * 2 + (x >= w / 2)];
    });
}

QString writeGif(const QString& path, int w, int h, const std::vector<Rgba>& frames, int delay = 20)
{
    gifWriter writer;
    if (!writer.begin(QFile::encodeName(path).constData(), w, h))
        return "begin failed";
    for (const Rgba& f : frames)
        if (!writer.writeFrame(f.data(), w, h, delay))
            return "writeFrame failed";
    if (!writer.end())
        return "end failed";
    return {};
}

QVector<QImage> decodeAll(const QString& path)
{
    QImageReader reader(path, "gif");
    QVector<QImage> out;
    while (reader.canRead()) {
        QImage img = reader.read();
        if (img.isNull())
            break;
        out.append(img.convertToFormat(QImage::Format_RGB32));
    }
    return out;
}

} // namespace

class TestGifWriter : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(dir.isValid()); }

    void solidImageIsExactAndWellFormed()
    {
        const QString path = dir.filePath("solid.gif");
        QCOMPARE(writeGif(path, 64, 48, {solid(64, 48, qRgb(200, 30, 90))}), QString());

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        // Header: signature, size, 2-entry global table, then the endless loop extension.
        QVERIFY(bytes.startsWith("GIF89a"));
        QCOMPARE(bytes.mid(6, 5), QByteArray("\x40\x00\x30\x00\xF0", 5));
        QCOMPARE(bytes.mid(13, 6), QByteArray(6, '\0'));
        QCOMPARE(bytes.mid(19, 19), QByteArray("\x21\xFF\x0BNETSCAPE2.0\x03\x01\x00\x00\x00", 19));
        // The frame: delay 20, kept under the next one, index 0 transparent; a
        // local table of 256 colours whose first entry is black; 8-bit codes.
        QCOMPARE(bytes.mid(38, 8), QByteArray("\x21\xF9\x04\x05\x14\x00\x00\x00", 8));
        QCOMPARE(bytes.mid(46, 10), QByteArray("\x2C\x00\x00\x00\x00\x40\x00\x30\x00\x87", 10));
        QCOMPARE(bytes.mid(56, 3), QByteArray(3, '\0'));
        QCOMPARE(quint8(bytes[56 + 768]), quint8(8));
        QVERIFY(bytes.endsWith(';'));

        // First frame: nothing is transparent.
        const QVector<QImage> images = decodeAll(path);
        QCOMPARE(images.size(), 1);
        for (int y = 0; y < 48; ++y)
            for (int x = 0; x < 64; ++x)
                QCOMPARE(images[0].pixel(x, y), qRgb(200, 30, 90));
    }

    void gradientAfterNoiseStaysClose()
    {
        // The noise fills the 4096-entry code table many times over first.
        const int w = 320, h = 200;
        Rgba noise(size_t(w) * h * 4);
        quint32 seed = 12345;
        for (uint8_t& byte : noise)
            byte = uint8_t((seed = seed * 1103515245u + 12345u) >> 16);
        // Red grows to the right, green downwards, blue is fixed.
        const Rgba src = picture(w, h, [](int x, int y) { return qRgb(x * 255 / (w - 1), y * 255 / (h - 1), 96); });
        const QString path = dir.filePath("gradient.gif");
        QCOMPARE(writeGif(path, w, h, {noise, src}), QString());
        const QVector<QImage> images = decodeAll(path);
        QCOMPARE(images.size(), 2);
        const QImage& img = images[1];

        // Dithering trades per-pixel accuracy for correct local averages:
        // compare 8x8 block means tightly and single pixels loosely.
        long long totalError = 0;
        for (int by = 0; by < h; by += 8)
            for (int bx = 0; bx < w; bx += 8) {
                int drift[3] = {0, 0, 0};
                for (int y = by; y < by + 8; ++y)
                    for (int x = bx; x < bx + 8; ++x) {
                        const QRgb got = img.pixel(x, y);
                        const uint8_t* s = &src[(size_t(y) * w + x) * 4];
                        const int diff[3] = {qRed(got) - s[0], qGreen(got) - s[1], qBlue(got) - s[2]};
                        for (int c = 0; c < 3; ++c) {
                            QVERIFY2(qAbs(diff[c]) <= 40, qPrintable(QString("pixel %1,%2").arg(x).arg(y)));
                            totalError += qAbs(diff[c]);
                            drift[c] += diff[c];
                        }
                    }
                // The error of a row's last pixel goes on into the first pixels
                // of the next row, so the left edge may drift further.
                for (int c = 0; c < 3; ++c)
                    QVERIFY2(qAbs(drift[c]) / 64 <= (bx == 0 ? 16 : 4),
                             qPrintable(QString("block %1,%2 channel %3").arg(bx).arg(by).arg(c)));
            }
        QVERIFY(double(totalError) / (w * h * 3) < 4.0);
    }

    void unchangedPixelsAreTransparent()
    {
        const int w = 120, h = 80;
        const Rgba first = quadrants(w, h, false);
        const Rgba second = quadrants(w, h, true);
        const QString path = dir.filePath("twoframes.gif");
        QCOMPARE(writeGif(path, w, h, {first, second, second, second}), QString());

        // A full decoder shows the first picture with the square on top.
        const QVector<QImage> images = decodeAll(path);
        QCOMPARE(images.size(), 4);
        QCOMPARE(images[1].pixel(55, 35), qRgb(255, 255, 0));
        QCOMPARE(images[1].pixel(5, 5), qRgb(250, 250, 250));
        QCOMPARE(images[1].pixel(115, 5), qRgb(20, 40, 160));
        QCOMPARE(images[1].pixel(5, 75), qRgb(200, 30, 30));
        QCOMPARE(images[1].pixel(115, 75), qRgb(40, 40, 40));
        QCOMPARE(images[0].pixel(55, 35), qRgb(250, 250, 250));
        QCOMPARE(images[3], images[1]);

        // A frame equal to the one before is all transparent: little more than its colour table.
        const QString two = dir.filePath("two.gif");
        QCOMPARE(writeGif(two, w, h, {first, second}), QString());
        const qint64 perFrame = (QFileInfo(path).size() - QFileInfo(two).size()) / 2;
        QVERIFY2(perFrame < 19 + 768 + 200, qPrintable(QString::number(perFrame)));
    }

    void badCallsDoNothing()
    {
        gifWriter writer;
        QVERIFY(!writer.begin(QFile::encodeName(dir.filePath("missing/dir/x.gif")).constData(), 10, 10));
        const Rgba pic = solid(10, 10, qRgb(1, 2, 3));
        QVERIFY(!writer.writeFrame(pic.data(), 10, 10, 20));
        QVERIFY(!writer.end());

        const QString path = dir.filePath("mismatch.gif");
        QVERIFY(writer.begin(QFile::encodeName(path).constData(), 10, 10));
        const Rgba bigger = solid(20, 10, qRgb(1, 2, 3));
        QVERIFY(!writer.writeFrame(bigger.data(), 20, 10, 20));
        QVERIFY(writer.writeFrame(pic.data(), 10, 10, 20));
        QVERIFY(writer.size() > 0);
        QVERIFY(writer.end());
        QCOMPARE(decodeAll(path).size(), 1);
    }

private:
    QTemporaryDir dir;
};

QTEST_GUILESS_MAIN(TestGifWriter)
#include "test_gifwriter.moc"
