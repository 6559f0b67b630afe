#include "SceneBackend.h"

#include <QDebug>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QtGlobal>

#include <xcb/xcb.h>

#include <cstring>

namespace {
bool serverHasExtension(xcb_connection_t* connection, const char* name)
{
    const xcb_query_extension_cookie_t cookie = xcb_query_extension(connection, uint16_t(std::strlen(name)), name);
    xcb_query_extension_reply_t* reply = xcb_query_extension_reply(connection, cookie, nullptr);
    const bool present = reply && reply->present;
    free(reply);
    return present;
}

bool displayHasDirectRendering()
{
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (!connection || xcb_connection_has_error(connection)) {
        if (connection)
            xcb_disconnect(connection);
        return true; // no answer: leave the choice to the toolkit
    }
    const bool direct = serverHasExtension(connection, "DRI3") || serverHasExtension(connection, "DRI2");
    xcb_disconnect(connection);
    return direct;
}
} // namespace

void chooseSceneBackend()
{
    if (qEnvironmentVariableIsSet("QT_QUICK_BACKEND")) {
        qDebug() << "[main]: scene backend from QT_QUICK_BACKEND:" << qgetenv("QT_QUICK_BACKEND");
        return;
    }
    if (displayHasDirectRendering())
        return;
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    qDebug() << "[main]: no direct rendering on this display, the interface is drawn in software";
}
