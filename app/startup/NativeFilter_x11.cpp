#include "NativeFilter.h"

#include "AppController.h"

#include <QDebug>
#include <QGuiApplication>
#include <QTimer>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdlib>

NativeFilter::NativeFilter(AppController* controller)
    : m_controller(controller)
{
}

bool NativeFilter::watchCompositingManager()
{
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t* conn = x11 ? x11->connection() : nullptr;
    if (!conn)
        return false;

    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(conn, &xcb_xfixes_id);
    if (!ext || !ext->present)
        return false;
    xcb_xfixes_query_version_reply_t* ver =
        xcb_xfixes_query_version_reply(conn, xcb_xfixes_query_version(conn, 1, 0), nullptr);
    if (!ver)
        return false;
    free(ver);

    const xcb_setup_t* setup = xcb_get_setup(conn);
    int screenNo = 0;
    for (xcb_screen_iterator_t it = xcb_setup_roots_iterator(setup); it.rem; xcb_screen_next(&it), ++screenNo) {
        const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(screenNo);
        xcb_intern_atom_reply_t* atom =
            xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, name.size(), name.constData()), nullptr);
        if (!atom)
            continue;
        xcb_xfixes_select_selection_input(conn, it.data->root, atom->atom,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
        m_cmSelections.append(atom->atom);
        free(atom);
    }
    xcb_flush(conn);
    m_selectionNotifyType = ext->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    return true;
}

bool NativeFilter::nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result)
{
    if (m_selectionNotifyType < 0 || eventType != "xcb_generic_event_t")
        return false;
    auto* ev = static_cast<xcb_generic_event_t*>(message);
    if ((ev->response_type & ~0x80) != m_selectionNotifyType)
        return false;
    // The toolkit watches other selections (the clipboard) through XFixes too.
    auto* notify = reinterpret_cast<xcb_xfixes_selection_notify_event_t*>(ev);
    if (!m_cmSelections.contains(notify->selection))
        return false;
    qDebug() << "[main]: compositing manager selection changed, subtype:" << notify->subtype;
    if (m_controller && m_controller->skinTimer)
        m_controller->skinTimer->start();
    // The toolkit follows the same selection for its own compositing state,
    // so the event is passed on rather than consumed.
    return false;
}
