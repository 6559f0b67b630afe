#pragma once

#include <QByteArray>
#include <QSize>
#include <cstdint>

struct xcb_connection_t;

// A connection of its own to the X server that a screen capture reads, with
// the root window of the captured screen. Used on the thread that opened it.
class X11Connection
{
public:
    X11Connection() = default;
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    // input: a capture input name (":1.0", ":1.0+10,20"); empty means $DISPLAY.
    bool open(const QByteArray& input);
    void close();
    // False once the server has gone away or refused us.
    bool isOpen() const;

    xcb_connection_t* handle() const { return connection; }
    uint32_t rootWindow() const { return root; }
    QSize rootSize() const { return size; }

    // The display part of a capture input name: the grab offset after '+' is
    // not part of it.
    static QByteArray displayName(const QByteArray& input);

private:
    xcb_connection_t* connection = nullptr;
    uint32_t root = 0;
    QSize size;
};
