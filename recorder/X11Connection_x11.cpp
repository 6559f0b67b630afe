#include "X11Connection_x11.h"

#include <xcb/xcb.h>

X11Connection::~X11Connection()
{
    close();
}

QByteArray X11Connection::displayName(const QByteArray& input)
{
    const int plus = input.indexOf('+');
    return plus < 0 ? input : input.left(plus);
}

bool X11Connection::open(const QByteArray& input)
{
    close();
    const QByteArray name = displayName(input);
    int screenNumber = 0;
    connection = xcb_connect(name.isEmpty() ? nullptr : name.constData(), &screenNumber);
    if (xcb_connection_has_error(connection)) {
        close();
        return false;
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; it.rem && i < screenNumber; ++i)
        xcb_screen_next(&it);
    if (!it.rem) {
        close();
        return false;
    }
    root = it.data->root;
    size = QSize(it.data->width_in_pixels, it.data->height_in_pixels);
    return true;
}

void X11Connection::close()
{
    if (connection)
        xcb_disconnect(connection);
    connection = nullptr;
    root = 0;
    size = QSize();
}

bool X11Connection::isOpen() const
{
    return connection && !xcb_connection_has_error(connection);
}
