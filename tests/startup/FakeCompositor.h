#pragma once
// A separate X client standing in for a compositing manager: it takes and
// drops the _NET_WM_CM_S0 selection (or any other) as one starting and ending does.
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

class FakeCompositor
{
public:
    FakeCompositor()
    {
        conn = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(conn))
            return;
        xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(conn)).data;
        window = xcb_generate_id(conn);
        xcb_create_window(conn, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                          XCB_COPY_FROM_PARENT, 0, nullptr);
    }
    ~FakeCompositor() { xcb_disconnect(conn); }
    bool ok() const { return !xcb_connection_has_error(conn); }
    // Owns the selection, or gives it up; done once the server has taken it in.
    void own(bool take, const char* selection = "_NET_WM_CM_S0")
    {
        xcb_intern_atom_reply_t* atom =
            xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, uint16_t(strlen(selection)), selection), nullptr);
        xcb_set_selection_owner(conn, take ? window : xcb_window_t(XCB_WINDOW_NONE), atom ? atom->atom : 0,
                                XCB_CURRENT_TIME);
        free(atom);
        free(xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr)); // a round trip
    }

private:
    xcb_connection_t* conn = nullptr;
    xcb_window_t window = 0;
};
