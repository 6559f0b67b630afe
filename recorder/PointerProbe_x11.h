#pragma once

#include "X11Connection_x11.h"

#include <QPoint>

// Where the pointer is relative to a capture origin and which buttons are
// down, asked of the X server each time. Opened and used on the capture
// thread, on a connection of its own.
class PointerProbe
{
public:
    // Button bits of `buttons`: left and right.
    static constexpr int kLeftButton = 1;
    static constexpr int kRightButton = 2;

    struct State
    {
        int x = -1;
        int y = -1;
        int buttons = 0;
    };

    // input: the capture input name; origin: the captured region's top left
    // in root window coordinates.
    bool open(const QByteArray& input, QPoint origin);
    void close();
    bool isOpen() const { return connection.isOpen(); }

    // False when the server gives no answer (gone away). A pointer on another
    // screen of the display has no position here: x and y stay -1.
    bool query(State& out);

private:
    X11Connection connection;
    QPoint origin;
};
