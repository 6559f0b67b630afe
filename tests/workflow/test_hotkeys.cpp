// Global hot keys on an X server of this test's own: key presses come from
// xdotool, as from a keyboard, and a second X client (this test's own xcb
// connection) grabs keys as another program would. Covers the shared grab of
// two hot keys on one shortcut, a held key, lock modifiers, a key taken by
// another client, shortcuts that can't be mapped, and the controller's
// shortcut store, edit guard and Esc key.
#include "AppController.h"
#include "KeySequence.h"
#include "PrivateServers.h"
#include "QHotkey.h"
#include "QHotkeyPrivate.h"
#include "SettingsManager.h"

#include <QApplication>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QtTest>

#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>

namespace {

// Another program on the same X server.
class OtherClient
{
public:
    OtherClient()
    {
        m_connection = xcb_connect(nullptr, nullptr);
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    }
    ~OtherClient() { xcb_disconnect(m_connection); }

    // Grabs the key with exactly these modifiers; false when someone else holds it.
    bool grab(quint32 key, quint32 modifiers)
    {
        xcb_generic_error_t* error = xcb_request_check(
            m_connection, xcb_grab_key_checked(m_connection, 1, m_root, quint16(modifiers), xcb_keycode_t(key),
                                               XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        free(error);
        return error == nullptr;
    }
    void ungrab(quint32 key, quint32 modifiers)
    {
        xcb_ungrab_key(m_connection, xcb_keycode_t(key), m_root, quint16(modifiers));
        // A round trip: the server has let go of the key before anyone else asks for it.
        free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }
    // Whether the key is free: a grab succeeds (and is let go again).
    bool canGrab(quint32 key, quint32 modifiers)
    {
        if (!grab(key, modifiers))
            return false;
        ungrab(key, modifiers);
        return true;
    }
    bool numLockOn()
    {
        xcb_query_pointer_reply_t* reply =
            xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr);
        const bool on = reply && (reply->mask & XCB_MOD_MASK_2);
        free(reply);
        return on;
    }

private:
    xcb_connection_t* m_connection = nullptr;
    xcb_window_t m_root = 0;
};

void xdotool(const QStringList& args)
{
    QProcess::execute("xdotool", args);
}

QVariant storedValue(const QString& key)
{
    const QString file =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/Halvenmoor/orlune.conf";
    return QSettings(file, QSettings::NativeFormat).value(key);
}

} // namespace

class TestHotkeys : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void keyToStringShowsPendingModifiers();
    void heldKeyActivatesOnceAndReleasesOnce();
    void numLockDoesNotHideTheKey();
    void twoHotkeysOnOneShortcutShareOneGrab();
    void unmappableShortcut();
    void controllerStoresAndRestoresTheShortcut();
    void controllerKeepsTextOfUnmappableShortcut();
    void controllerWithStoredPairThatCannotBeGrabbed();
    void controllerWhenAnotherProgramHoldsTheKey();
    void editingIgnoresTheHotkey();
    void hotkeyOpensSelectionAndEscapeClosesIt();

private:
    LogCapture* log = nullptr;
    AppController* controller = nullptr;
    OtherClient* other = nullptr;
};

void TestHotkeys::initTestCase()
{
    log = new LogCapture();
    other = new OtherClient();
    QCoreApplication::setOrganizationName("Halvenmoor");
    QCoreApplication::setApplicationName("orlune");
    QVERIFY(QHotkeyPrivate::instance());
}

void TestHotkeys::cleanupTestCase()
{
    delete controller;
    delete other;
    delete log;
}

void TestHotkeys::keyToStringShowsPendingModifiers()
{
    KeySequence keys;
    QCOMPARE(keys.keyToString(Qt::Key_Control, Qt::ControlModifier), QString("Ctrl+..."));
    QCOMPARE(keys.keyToString(Qt::Key_unknown, int(Qt::ControlModifier | Qt::ShiftModifier)),
             QString("Ctrl+Shift+..."));
    QCOMPARE(keys.keyToString(Qt::Key_S, Qt::AltModifier), QString("Alt+S"));
    QVERIFY(keys.isKeyUnknown(Qt::Key_unknown));
    QVERIFY(!keys.isKeyUnknown(Qt::Key_S));
}

void TestHotkeys::heldKeyActivatesOnceAndReleasesOnce()
{
    QHotkey hotkey(QKeySequence("Ctrl+Alt+H"), true);
    QVERIFY(hotkey.isRegistered());
    QSignalSpy activated(&hotkey, &QHotkey::activated);
    QSignalSpy released(&hotkey, &QHotkey::released);

    xdotool({"keydown", "ctrl+alt+h", "sleep", "0.8"});
    QTRY_COMPARE_WITH_TIMEOUT(activated.count(), 1, 3000);
    QCOMPARE(released.count(), 0); // still held
    xdotool({"keyup", "ctrl+alt+h"});
    QTRY_COMPARE_WITH_TIMEOUT(released.count(), 1, 2000);
    QTest::qWait(200);
    QCOMPARE(activated.count(), 1);
    QCOMPARE(released.count(), 1);
}

void TestHotkeys::numLockDoesNotHideTheKey()
{
    QHotkey hotkey(QKeySequence("Ctrl+Alt+N"), true);
    QVERIFY(hotkey.isRegistered());
    QSignalSpy activated(&hotkey, &QHotkey::activated);
    xdotool({"key", "Num_Lock"});
    QTRY_VERIFY_WITH_TIMEOUT(other->numLockOn(), 2000);
    xdotool({"key", "ctrl+alt+n"});
    QTRY_COMPARE_WITH_TIMEOUT(activated.count(), 1, 3000);
    xdotool({"key", "Num_Lock"});
    QTRY_VERIFY_WITH_TIMEOUT(!other->numLockOn(), 2000);
}

void TestHotkeys::twoHotkeysOnOneShortcutShareOneGrab()
{
    QHotkeyPrivate* registry = QHotkeyPrivate::instance();
    auto* first = new QHotkey(QKeySequence("Ctrl+Alt+G"), true);
    auto* second = new QHotkey(QKeySequence("Ctrl+Alt+G"), true);
    QVERIFY(first->isRegistered());
    QVERIFY(second->isRegistered());
    const QHotkey::NativeShortcut native = first->currentNativeShortcut();
    QCOMPARE(second->currentNativeShortcut(), native);
    QCOMPARE(registry->registrationCount(native), 2);
    QVERIFY(!other->canGrab(native.key, native.modifier));

    // One press reaches both, once each.
    QSignalSpy firstSpy(first, &QHotkey::activated);
    QSignalSpy secondSpy(second, &QHotkey::activated);
    xdotool({"key", "ctrl+alt+g"});
    QTRY_COMPARE_WITH_TIMEOUT(firstSpy.count(), 1, 3000);
    QTRY_COMPARE_WITH_TIMEOUT(secondSpy.count(), 1, 3000);

    // The grab stays while one of them is registered, and goes with the last.
    delete first;
    QCOMPARE(registry->registrationCount(native), 1);
    QVERIFY(!other->canGrab(native.key, native.modifier));
    QVERIFY(second->setRegistered(false));
    QCOMPARE(registry->registrationCount(native), 0);
    QVERIFY(other->canGrab(native.key, native.modifier));
    delete second;
}

void TestHotkeys::unmappableShortcut()
{
    LogCapture::clear();
    QHotkey hotkey;
    // No key of the test server's layout carries this letter.
    QVERIFY(!hotkey.setShortcut(QKeySequence(QString::fromUtf8("Ctrl+Ж")), true));
    QVERIFY(!hotkey.isRegistered());
    QVERIFY(!hotkey.currentNativeShortcut().isValid());
    QCOMPARE(LogCapture::count("Unable to map shortcut to native keys. Key:"), 1);
    QVERIFY(!hotkey.setShortcut(QKeySequence("Ctrl+F35"), true)); // no such key
}

void TestHotkeys::controllerStoresAndRestoresTheShortcut()
{
    controller = new AppController();
    QSignalSpy changed(controller, &AppController::keySequenceChanged);

    // First start: no native pair stored yet.
    controller->readFromConfig();
    QCOMPARE(controller->keySequence, QString("Alt+S"));
    QVERIFY(controller->startStopHotkey->isRegistered());
    const QHotkey::NativeShortcut native = controller->startStopHotkey->currentNativeShortcut();
    QCOMPARE(native.modifier, quint32(XCB_MOD_MASK_1));
    QCOMPARE(storedValue("startstop_hotkey").toString(), QString("Alt+S"));
    QCOMPARE(storedValue("startstop_nativeKey").toUInt(), native.key);
    QCOMPARE(storedValue("startstop_nativeModifier").toUInt(), native.modifier);
    QCOMPARE(changed.count(), 1);
    QVERIFY(!other->canGrab(native.key, native.modifier));

    // The same text again changes nothing.
    controller->setKeySequence("Alt+S");
    QCOMPARE(changed.count(), 1);

    // Next start: the stored native pair is registered as it stands.
    LogCapture::clear();
    controller->startStopHotkey->setRegistered(false);
    controller->readFromConfig();
    QCOMPARE(LogCapture::count("Hotkey successfully restored:"), 1);
    QVERIFY(controller->startStopHotkey->isRegistered());
    QCOMPARE(controller->startStopHotkey->currentNativeShortcut(), native);
}

void TestHotkeys::controllerKeepsTextOfUnmappableShortcut()
{
    const QHotkey::NativeShortcut altS = controller->startStopHotkey->currentNativeShortcut();
    const QString text = QString::fromUtf8("Ctrl+Ж");
    controller->setKeySequence(text);
    QCOMPARE(controller->keySequence, text);
    QCOMPARE(storedValue("startstop_hotkey").toString(), text);
    QCOMPARE(storedValue("startstop_nativeKey").toUInt(), 0u);
    QCOMPARE(storedValue("startstop_nativeModifier").toUInt(), 0u);
    // The old binding is gone.
    QVERIFY(!controller->startStopHotkey->isRegistered());
    QVERIFY(other->canGrab(altS.key, altS.modifier));

    controller->resetShortcutToDefault();
    QCOMPARE(controller->keySequence, QString("Alt+S"));
    QVERIFY(controller->startStopHotkey->isRegistered());
    QCOMPARE(storedValue("startstop_nativeKey").toUInt(), altS.key);
}

void TestHotkeys::controllerWithStoredPairThatCannotBeGrabbed()
{
    SettingsManager* settings = SettingsManager::instance();
    settings->writeSetting("startstop_hotkey", "Alt+Q");
    settings->writeSetting("startstop_nativeKey", 999u);
    settings->writeSetting("startstop_nativeModifier", quint32(XCB_MOD_MASK_1));
    LogCapture::clear();
    controller->readFromConfig();
    QCOMPARE(LogCapture::count("Failed to register hotkey."), 1);
    QCOMPARE(LogCapture::count("Failed to register native key 999 modifier 8. Error: BadValue"), 1);
    QCOMPARE(controller->keySequence, QString("Alt+S")); // unchanged
    QVERIFY(!controller->startStopHotkey->isRegistered());

    // A new choice in the settings dialog repairs it.
    controller->setKeySequence("Alt+Q");
    QVERIFY(controller->startStopHotkey->isRegistered());
    controller->resetShortcutToDefault();
    QVERIFY(controller->startStopHotkey->isRegistered());
    QCOMPARE(storedValue("startstop_hotkey").toString(), QString("Alt+S"));
}

void TestHotkeys::controllerWhenAnotherProgramHoldsTheKey()
{
    QHotkey probe(QKeySequence("Ctrl+Alt+P"));
    const QHotkey::NativeShortcut native = probe.currentNativeShortcut();
    QVERIFY(other->grab(native.key, native.modifier));
    LogCapture::clear();
    QSignalSpy registeredChanged(controller->startStopHotkey, &QHotkey::registeredChanged);
    controller->setKeySequence("Ctrl+Alt+P");
    QCOMPARE(LogCapture::count("Failed to register Ctrl+Alt+P. Error: BadAccess"), 1);
    QVERIFY(!controller->startStopHotkey->isRegistered());
    QCOMPARE(registeredChanged.count(), 1); // Alt+S let go, nothing taken
    QCOMPARE(QHotkeyPrivate::instance()->registrationCount(native), 0);
    // No message to the user; the text is kept all the same.
    QCOMPARE(controller->keySequence, QString("Ctrl+Alt+P"));
    QCOMPARE(storedValue("startstop_hotkey").toString(), QString("Ctrl+Alt+P"));

    // Other hot keys are not disturbed.
    QHotkey working(QKeySequence("Ctrl+Alt+J"), true);
    QSignalSpy activated(&working, &QHotkey::activated);
    xdotool({"key", "ctrl+alt+j"});
    QTRY_COMPARE_WITH_TIMEOUT(activated.count(), 1, 3000);

    // The failed attempt left none of the lock combinations grabbed, and the
    // key is ours once the other program lets it go.
    other->ungrab(native.key, native.modifier);
    QVERIFY(other->canGrab(native.key, native.modifier | XCB_MOD_MASK_2));
    controller->setEnabledAltSShortKey(true);
    QVERIFY(controller->startStopHotkey->isRegistered());
    controller->resetShortcutToDefault();
    QVERIFY(controller->startStopHotkey->isRegistered());
}

void TestHotkeys::editingIgnoresTheHotkey()
{
    LogCapture::clear();
    controller->keySequenceEditingStarted();
    xdotool({"key", "alt+s"});
    QTRY_COMPARE_WITH_TIMEOUT(LogCapture::count("editing is active"), 1, 3000);
    QCOMPARE(LogCapture::count("showScreenDialogs"), 0);
    QVERIFY(!controller->escHotkey);
    controller->keySequenceEditingFinished();
    QVERIFY(!controller->editingActive);
}

void TestHotkeys::hotkeyOpensSelectionAndEscapeClosesIt()
{
    QHotkey probe(QKeySequence(QKeySequence::Cancel));
    const QHotkey::NativeShortcut esc = probe.currentNativeShortcut();
    QVERIFY(esc.isValid());
    QVERIFY2(other->canGrab(esc.key, esc.modifier), "Esc is no global key while no selection is open");

    LogCapture::clear();
    xdotool({"key", "alt+s"});
    QTRY_COMPARE_WITH_TIMEOUT(LogCapture::count("showScreenDialogs"), 1, 3000);
    QVERIFY(controller->escHotkey);
    QVERIFY(controller->escHotkey->isRegistered());
    QVERIFY(!controller->startStopHotkey->isRegistered()); // Alt+S can't re-enter
    QVERIFY(!other->canGrab(esc.key, esc.modifier));

    xdotool({"key", "alt+s"});
    QTest::qWait(300);
    QCOMPARE(LogCapture::count("showScreenDialogs"), 1);

    // Without the interface Esc closes the selection itself.
    xdotool({"key", "Escape"});
    QTRY_VERIFY_WITH_TIMEOUT(!controller->escHotkey, 3000);
    QVERIFY(controller->startStopHotkey->isRegistered());
    QTRY_VERIFY_WITH_TIMEOUT(other->canGrab(esc.key, esc.modifier), 2000);
}

int main(int argc, char** argv)
{
    // Key presses and grabs of this test must not reach other tests' programs.
    PrivateXServer xserver;
    if (!xserver.start()) {
        fprintf(stderr, "test_hotkeys: Xvfb did not start\n");
        return 1;
    }
    qputenv("DISPLAY", xserver.display());
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    TestHotkeys test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_hotkeys.moc"
