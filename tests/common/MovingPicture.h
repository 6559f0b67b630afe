#pragma once

#include <QProcess>
#include <QSize>

// Moving content on the session's X screen for capture tests: ffplay playing
// a test pattern of the given size at the top left, for as long as it lives.
class MovingPicture
{
public:
    ~MovingPicture();
    // Starts the player and gives it time to show its first pictures.
    bool start(QSize size);

private:
    QProcess player;
};
