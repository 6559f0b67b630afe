#include "DisplayProbe.h"

#include <QtGlobal>

#include <xcb/xcb.h>

bool canReachDisplay(QString& why)
{
    const QByteArray display = qgetenv("DISPLAY");
    if (display.isEmpty()) {
        why = QStringLiteral("no X display: DISPLAY is not set");
        return false;
    }
    xcb_connection_t* connection = xcb_connect(display.constData(), nullptr);
    const bool reached = connection && xcb_connection_has_error(connection) == 0;
    if (connection)
        xcb_disconnect(connection);
    if (!reached)
        why = QStringLiteral("cannot connect to the X display \"%1\"").arg(QString::fromLocal8Bit(display));
    return reached;
}
