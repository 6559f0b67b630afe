#include "QHotkeyPrivateX11.h"

#include "X11KeySymbols.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdlib>

namespace {

constexpr int kReleasePollMs = 50;

// Lock modifiers are part of X's modifier state but never part of a shortcut:
// Caps Lock, Num Lock (Mod2) and Scroll Lock or Mode switch (Mod5), as X
// servers map them.
constexpr quint16 kCapsLock = XCB_MOD_MASK_LOCK;
constexpr quint16 kNumLock = XCB_MOD_MASK_2;
constexpr quint16 kScrollOrMode = XCB_MOD_MASK_5;
constexpr quint16 kLockCombinations[] = {
    0,
    kCapsLock,
    kNumLock,
    kScrollOrMode,
    kCapsLock | kNumLock,
    kCapsLock | kScrollOrMode,
    kNumLock | kScrollOrMode,
    kCapsLock | kNumLock | kScrollOrMode,
};
// The modifiers a shortcut may hold: Shift, Control, Alt (Mod1), Meta/Super (Mod4).
constexpr quint16 kShortcutModifiers = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;
// Key codes of the core protocol.
constexpr quint32 kMinKeycode = 8;
constexpr quint32 kMaxKeycode = 255;

xcb_connection_t* x11Connection()
{
    auto* gui = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    auto* x11 = gui ? gui->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

QList<xcb_window_t> rootWindows(xcb_connection_t* connection)
{
    QList<xcb_window_t> roots;
    for (xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection)); it.rem; xcb_screen_next(&it))
        roots << it.data->root;
    return roots;
}

QString errorText(const xcb_generic_error_t* error)
{
    switch (error->error_code) {
    case XCB_ACCESS: return QStringLiteral("BadAccess (the key is grabbed by another client)");
    case XCB_VALUE: return QStringLiteral("BadValue (integer parameter out of range for operation)");
    case XCB_WINDOW: return QStringLiteral("BadWindow (invalid Window parameter)");
    default: return QStringLiteral("X error %1").arg(error->error_code);
    }
}

} // namespace

QHotkeyPrivate* QHotkeyPrivate::instance()
{
    if (!QCoreApplication::instance())
        return nullptr;
    // Made at the first use and kept until the process ends, beyond the
    // application object, since hot keys may be released that late.
    static QHotkeyPrivateX11 registry;
    return &registry;
}

QHotkeyPrivateX11::QHotkeyPrivateX11()
{
    pollTimer.setInterval(kReleasePollMs);
    connect(&pollTimer, &QTimer::timeout, this, &QHotkeyPrivateX11::pollForHotkeyRelease);
}

QHotkeyPrivateX11::~QHotkeyPrivateX11()
{
    if (QCoreApplication::instance())
        pollTimer.stop();
}

quint32 QHotkeyPrivateX11::nativeKeycode(Qt::Key keycode, bool& ok)
{
    ok = false;
    const quint32 keysym = X11KeySymbols::keysymForQtKey(keycode);
    xcb_connection_t* connection = x11Connection();
    if (!keysym || !connection)
        return 0;
    // The key map is read afresh: the keyboard layout may have changed since the last shortcut.
    xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(connection);
    if (!symbols)
        return 0;
    quint32 code = 0;
    if (xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols, keysym)) {
        if (codes[0] != XCB_NO_SYMBOL)
            code = codes[0];
        free(codes);
    }
    xcb_key_symbols_free(symbols);
    ok = code != 0;
    return code;
}

quint32 QHotkeyPrivateX11::nativeModifiers(Qt::KeyboardModifiers modifiers, bool& ok)
{
    ok = true;
    quint32 native = 0;
    if (modifiers & Qt::ShiftModifier)
        native |= XCB_MOD_MASK_SHIFT;
    if (modifiers & Qt::ControlModifier)
        native |= XCB_MOD_MASK_CONTROL;
    if (modifiers & Qt::AltModifier)
        native |= XCB_MOD_MASK_1;
    if (modifiers & Qt::MetaModifier)
        native |= XCB_MOD_MASK_4;
    return native;
}

bool QHotkeyPrivateX11::registerShortcut(QHotkey::NativeShortcut shortcut)
{
    xcb_connection_t* connection = x11Connection();
    if (!connection) {
        error = QStringLiteral("no connection to an X server");
        return false;
    }
    if (shortcut.key < kMinKeycode || shortcut.key > kMaxKeycode) {
        error = QStringLiteral("BadValue (key code %1 is not a key of the X server)").arg(shortcut.key);
        return false;
    }
    QList<xcb_void_cookie_t> grabs;
    for (xcb_window_t root : rootWindows(connection)) {
        for (quint16 locks : kLockCombinations)
            grabs << xcb_grab_key_checked(connection, 1, root, quint16(shortcut.modifier | locks),
                                          xcb_keycode_t(shortcut.key), XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    }
    bool grabbed = true;
    for (const xcb_void_cookie_t& cookie : grabs) {
        if (xcb_generic_error_t* failure = xcb_request_check(connection, cookie)) {
            if (grabbed)
                error = errorText(failure);
            grabbed = false;
            free(failure);
        }
    }
    // Half a grab would leave the key to whoever holds the other half: let go of ours.
    if (!grabbed)
        ungrab(shortcut);
    return grabbed;
}

bool QHotkeyPrivateX11::unregisterShortcut(QHotkey::NativeShortcut shortcut)
{
    if (!x11Connection()) {
        error = QStringLiteral("no connection to an X server");
        return false;
    }
    ungrab(shortcut);
    polledShortcuts.removeAll(shortcut);
    if (polledShortcuts.isEmpty())
        pollTimer.stop();
    return true;
}

void QHotkeyPrivateX11::ungrab(QHotkey::NativeShortcut shortcut)
{
    xcb_connection_t* connection = x11Connection();
    if (!connection)
        return;
    for (xcb_window_t root : rootWindows(connection)) {
        for (quint16 locks : kLockCombinations)
            xcb_ungrab_key(connection, xcb_keycode_t(shortcut.key), root, quint16(shortcut.modifier | locks));
    }
    xcb_flush(connection);
}

bool QHotkeyPrivateX11::nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result)
{
    if (eventType != "xcb_generic_event_t")
        return false;
    auto* event = static_cast<xcb_generic_event_t*>(message);
    switch (event->response_type & ~0x80) {
    case XCB_KEY_PRESS: {
        auto* press = reinterpret_cast<xcb_key_press_event_t*>(event);
        keyPressed(QHotkey::NativeShortcut(press->detail, press->state & kShortcutModifiers), press->time);
        break;
    }
    case XCB_KEY_RELEASE: {
        auto* release = reinterpret_cast<xcb_key_release_event_t*>(event);
        keyReleased(release->detail, release->time);
        break;
    }
    default: break;
    }
    // The event goes on to the toolkit: a window of ours may have the focus.
    return false;
}

void QHotkeyPrivateX11::keyPressed(QHotkey::NativeShortcut shortcut, quint32 time)
{
    // A held key repeats its press, each time after a release of the same
    // time stamp; only the first press counts. Repeats may still be queued
    // when the key is already up, so the time stamp decides, not the key state.
    const bool repeat = lastReleaseTime.value(shortcut.key, 0) == time && time != 0;
    if (repeat || !hasShortcut(shortcut) || polledShortcuts.contains(shortcut))
        return;
    activateShortcut(shortcut);
    if (polledShortcuts.isEmpty())
        pollTimer.start();
    polledShortcuts.append(shortcut);
}

void QHotkeyPrivateX11::keyReleased(quint32 keycode, quint32 time)
{
    // A held key's auto-repeat sends a release before each repeated press, so
    // a release counts only once the keyboard says the key is up. The
    // modifiers may be let go first: the key alone decides.
    lastReleaseTime.insert(keycode, time);
    for (const QHotkey::NativeShortcut& shortcut : std::as_const(polledShortcuts)) {
        if (shortcut.key == keycode) {
            pollForHotkeyRelease();
            return;
        }
    }
}

void QHotkeyPrivateX11::pollForHotkeyRelease()
{
    xcb_connection_t* connection = x11Connection();
    xcb_query_keymap_reply_t* keymap =
        connection ? xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr) : nullptr;
    for (int i = polledShortcuts.size() - 1; i >= 0; --i) {
        const quint32 key = polledShortcuts[i].key;
        const bool down = keymap && (keymap->keys[key / 8] & (1u << (key % 8)));
        if (!down)
            releaseShortcut(polledShortcuts.takeAt(i));
    }
    free(keymap);
    if (polledShortcuts.isEmpty())
        pollTimer.stop();
}
