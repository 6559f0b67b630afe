#include "PointerProbe_x11.h"

#include <cstdlib>
#include <xcb/xcb.h>

bool PointerProbe::open(const QByteArray& input, QPoint origin_)
{
    origin = origin_;
    return connection.open(input);
}

void PointerProbe::close()
{
    connection.close();
}

bool PointerProbe::query(State& out)
{
    out = State();
    if (!connection.isOpen())
        return false;
    xcb_connection_t* c = connection.handle();
    xcb_query_pointer_reply_t* reply =
        xcb_query_pointer_reply(c, xcb_query_pointer(c, connection.rootWindow()), nullptr);
    if (!reply)
        return false;
    if (reply->same_screen) {
        out.x = reply->root_x - origin.x();
        out.y = reply->root_y - origin.y();
    }
    if (reply->mask & XCB_BUTTON_MASK_1)
        out.buttons |= kLeftButton;
    if (reply->mask & XCB_BUTTON_MASK_3)
        out.buttons |= kRightButton;
    free(reply);
    return true;
}
