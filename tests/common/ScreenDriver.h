#pragma once

// A user at the X screen, played by xdotool: keys, pointer moves, drags and
// clicks in the server's own (physical) pixels, and the windows of the
// program found by their titles. Every call runs xdotool on the display of
// the environment given.

#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QTemporaryDir>

class ScreenDriver
{
public:
    explicit ScreenDriver(const QProcessEnvironment& env)
        : env(env)
    {
    }

    bool key(const QString& keys) const;
    bool moveTo(QPoint p) const;
    bool click(QPoint p, int button = 1) const;
    // Presses the left button at `from`, moves in steps to `to`, releases.
    bool drag(QPoint from, QPoint to) const;
    // The geometry of the visible window with this exact title; null when none is mapped.
    QRect visibleWindow(const QString& title) const;
    bool waitVisible(const QString& title, int timeoutMs) const;
    bool waitHidden(const QString& title, int timeoutMs) const;
    // The screen as the X server shows it (ffmpeg's x11grab, one frame).
    QImage grabScreen() const;

private:
    QString xdotool(const QStringList& args, bool* ok = nullptr) const;
    QProcessEnvironment env;
};

// A still picture on the whole screen: ffplay showing an image with no border
// at the top left, for as long as this object lives.
class StillPicture
{
public:
    ~StillPicture();
    bool show(const QImage& picture, const QProcessEnvironment& env);
    // A picture whose every small patch differs from its neighbours, so that
    // a recording of the wrong rectangle, even a few pixels off, can't match.
    static QImage pattern(QSize size);

private:
    QTemporaryDir dir;
    QProcess player;
};

// Mean absolute difference per channel (0..255) of two pictures of one size;
// 255 when the sizes differ.
double meanDifference(const QImage& a, const QImage& b);
// Pixels of the picture that are the recording frame's red.
int framePixels(const QImage& picture);
// The centre of the red marks inside a rectangle of the screen (null when there
// are none): the floating menu's record button is the one red thing in the
// expanded menu.
QPoint redCentre(const QImage& screen, const QRect& inside);
