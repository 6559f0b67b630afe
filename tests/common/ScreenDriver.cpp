#include "ScreenDriver.h"

#include "Polling.h"

#include <QRandomGenerator>
#include <QTest>

#include <cmath>
#include <cstdlib>

QString ScreenDriver::xdotool(const QStringList& args, bool* ok) const
{
    QProcess tool;
    tool.setProcessEnvironment(env);
    tool.start("xdotool", args);
    const bool finished = tool.waitForFinished(10000);
    if (ok)
        *ok = finished && tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
    return QString::fromLocal8Bit(tool.readAllStandardOutput()).trimmed();
}

bool ScreenDriver::key(const QString& keys) const
{
    bool ok = false;
    xdotool({"key", keys}, &ok);
    return ok;
}

bool ScreenDriver::moveTo(QPoint p) const
{
    bool ok = false;
    xdotool({"mousemove", QString::number(p.x()), QString::number(p.y())}, &ok);
    return ok;
}

bool ScreenDriver::click(QPoint p, int button) const
{
    bool ok = false;
    // A short rest between move and click lets the window see the pointer arrive (hover).
    xdotool(
        {"mousemove", QString::number(p.x()), QString::number(p.y()), "sleep", "0.2", "click", QString::number(button)},
        &ok);
    return ok;
}

bool ScreenDriver::drag(QPoint from, QPoint to) const
{
    QStringList args{"mousemove", QString::number(from.x()), QString::number(from.y()), "sleep", "0.2", "mousedown",
                     "1"};
    const int steps = 8;
    for (int i = 1; i <= steps; ++i) {
        const QPoint p = from + (to - from) * i / steps;
        args << "sleep"
             << "0.05"
             << "mousemove" << QString::number(p.x()) << QString::number(p.y());
    }
    args << "sleep"
         << "0.2"
         << "mouseup"
         << "1";
    bool ok = false;
    xdotool(args, &ok);
    return ok;
}

QRect ScreenDriver::visibleWindow(const QString& title) const
{
    const QString ids = xdotool({"search", "--onlyvisible", "--name", "^" + title + "$"});
    if (ids.isEmpty())
        return QRect();
    const QString shell = xdotool({"getwindowgeometry", "--shell", ids.split('\n').first()});
    QMap<QString, int> values;
    for (const QString& line : shell.split('\n')) {
        const int eq = line.indexOf('=');
        if (eq > 0)
            values.insert(line.left(eq), line.mid(eq + 1).toInt());
    }
    return QRect(values.value("X"), values.value("Y"), values.value("WIDTH"), values.value("HEIGHT"));
}

bool ScreenDriver::waitVisible(const QString& title, int timeoutMs) const
{
    return waitUntil([&] { return !visibleWindow(title).isNull(); }, timeoutMs);
}

bool ScreenDriver::waitHidden(const QString& title, int timeoutMs) const
{
    return waitUntil([&] { return visibleWindow(title).isNull(); }, timeoutMs);
}

QImage ScreenDriver::grabScreen() const
{
    QProcess ffmpeg;
    ffmpeg.setProcessEnvironment(env);
    ffmpeg.start("ffmpeg", {"-loglevel", "error", "-f", "x11grab", "-i", env.value("DISPLAY"), "-frames:v", "1", "-f",
                            "image2pipe", "-c:v", "png", "-"});
    if (!ffmpeg.waitForFinished(15000))
        return QImage();
    return QImage::fromData(ffmpeg.readAllStandardOutput(), "PNG");
}

StillPicture::~StillPicture()
{
    player.kill();
    player.waitForFinished(5000);
}

bool StillPicture::show(const QImage& picture, const QProcessEnvironment& env)
{
    const QString file = dir.filePath("still.png");
    if (!picture.save(file))
        return false;
    player.setProcessEnvironment(env);
    player.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    player.start("ffplay", {"-loglevel", "quiet", "-noborder", "-left", "0", "-top", "0", "-an", file});
    if (!player.waitForStarted(5000))
        return false;
    QTest::qWait(1500);
    return player.state() == QProcess::Running;
}

QImage StillPicture::pattern(QSize size)
{
    // Cells of 8 pixels in random muted colours (no saturated red, which is
    // the recording frame's colour), with a fine gradient inside each cell.
    QImage image(size, QImage::Format_RGB32);
    QRandomGenerator random(20261123);
    const int cell = 8;
    const int columns = (size.width() + cell - 1) / cell;
    const int rows = (size.height() + cell - 1) / cell;
    QVector<QRgb> colours(columns * rows);
    for (QRgb& c : colours)
        c = qRgb(random.bounded(40, 160), random.bounded(40, 230), random.bounded(40, 230));
    for (int y = 0; y < size.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const QRgb c = colours[(y / cell) * columns + x / cell];
            const int shade = (x % cell + y % cell) * 3;
            line[x] = qRgb(qRed(c) + shade, qGreen(c) + shade, qBlue(c) + shade);
        }
    }
    return image;
}

double meanDifference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size() || a.isNull())
        return 255.0;
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const auto* p = reinterpret_cast<const QRgb*>(x.constScanLine(row));
        const auto* q = reinterpret_cast<const QRgb*>(y.constScanLine(row));
        for (int col = 0; col < x.width(); ++col)
            sum += std::abs(qRed(p[col]) - qRed(q[col])) + std::abs(qGreen(p[col]) - qGreen(q[col]))
                   + std::abs(qBlue(p[col]) - qBlue(q[col]));
    }
    return sum / (3.0 * x.width() * x.height());
}

int framePixels(const QImage& picture)
{
    const QImage image = picture.convertToFormat(QImage::Format_RGB32);
    int count = 0;
    for (int row = 0; row < image.height(); ++row) {
        const auto* p = reinterpret_cast<const QRgb*>(image.constScanLine(row));
        for (int col = 0; col < image.width(); ++col)
            count += qRed(p[col]) > 200 && qGreen(p[col]) < 70 && qBlue(p[col]) < 70;
    }
    return count;
}

QPoint redCentre(const QImage& screen, const QRect& inside)
{
    qint64 sx = 0, sy = 0, n = 0;
    for (int y = inside.top(); y <= inside.bottom(); ++y)
        for (int x = inside.left(); x <= inside.right(); ++x) {
            const QRgb c = screen.pixel(x, y);
            if (qRed(c) > 180 && qGreen(c) < 90 && qBlue(c) < 90) {
                sx += x;
                sy += y;
                ++n;
            }
        }
    return n ? QPoint(int(sx / n), int(sy / n)) : QPoint();
}
