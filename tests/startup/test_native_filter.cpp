// The X11 watch for a compositing manager: a second client takes and drops
// the _NET_WM_CM_S0 selection, as a compositor starting and ending does.
#include "AppController.h"
#include "NativeFilter.h"

#include <QGuiApplication>
#include <QTimer>
#include <QtTest>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

namespace {
// A separate X client standing in for a compositing manager.
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
        selection = intern("_NET_WM_CM_S0");
    }
    ~FakeCompositor() { xcb_disconnect(conn); }
    xcb_atom_t intern(const char* name)
    {
        xcb_intern_atom_reply_t* r =
            xcb_intern_atom_reply(conn, xcb_intern_atom(conn, 0, uint16_t(strlen(name)), name), nullptr);
        const xcb_atom_t atom = r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
        free(r);
        return atom;
    }
    bool ok() const { return !xcb_connection_has_error(conn) && selection != XCB_ATOM_NONE; }
    void own(bool take)
    {
        xcb_set_selection_owner(conn, take ? window : xcb_window_t(XCB_WINDOW_NONE), selection, XCB_CURRENT_TIME);
        xcb_flush(conn);
    }
    // Any selection other than the compositor's.
    void ownClipboard()
    {
        xcb_set_selection_owner(conn, window, intern("CLIPBOARD"), XCB_CURRENT_TIME);
        xcb_flush(conn);
    }

    xcb_connection_t* conn = nullptr;
    xcb_window_t window = 0;
    xcb_atom_t selection = XCB_ATOM_NONE;
};
} // namespace

class TestNativeFilter : public QObject
{
    Q_OBJECT

private slots:
    void compositorChangesStartTheSkinTimer()
    {
        if (QGuiApplication::platformName() != QLatin1String("xcb"))
            QSKIP("needs an X server");
        AppController controller;
        QVERIFY(controller.skinTimer);
        controller.skinTimer->stop();

        NativeFilter filter(&controller);
        QVERIFY(filter.watchCompositingManager());
        qApp->installNativeEventFilter(&filter);

        FakeCompositor compositor;
        QVERIFY(compositor.ok());

        // A clipboard owner is no compositor.
        compositor.ownClipboard();
        QTest::qWait(500);
        QVERIFY(!controller.skinTimer->isActive());

        compositor.own(true);
        QTRY_VERIFY_WITH_TIMEOUT(controller.skinTimer->isActive(), 5000);
        QCOMPARE(controller.skinTimer->interval(), 5000);

        controller.skinTimer->stop();
        compositor.own(false);
        QTRY_VERIFY_WITH_TIMEOUT(controller.skinTimer->isActive(), 5000);
        controller.skinTimer->stop();
        qApp->removeNativeEventFilter(&filter);
    }
};

QTEST_MAIN(TestNativeFilter)
#include "test_native_filter.moc"
