// Global hot keys on a private X server: presses come from xdotool, and a
// second xcb connection grabs keys as another program would.
#include "AppController.h"
#include "KeySequence.h"
#include "PrivateDisplayMain.h"
#include "QHotkey.h"
#include "QHotkeyPrivate.h"
#include "RecordingPort.h"
#include "SettingsManager.h"

#include <QApplication>
#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

#include <xcb/xcb.h>

#include <cstdlib>
#include <optional>

namespace {

class OtherClient
{
public:
    ~OtherClient() { xcb_disconnect(m_connection); }

    bool grab(quint32 key, quint32 modifiers)
    {
        auto* error = xcb_request_check(m_connection, xcb_grab_key_checked(m_connection, 1, m_root, quint16(modifiers),
                                                                           xcb_keycode_t(key), XCB_GRAB_MODE_ASYNC,
                                                                           XCB_GRAB_MODE_ASYNC));
        free(error);
        return error == nullptr;
    }
    void ungrab(quint32 key, quint32 modifiers)
    {
        xcb_ungrab_key(m_connection, xcb_keycode_t(key), m_root, quint16(modifiers));
        // A round trip: the server has let go of the key before anyone else asks for it.
        free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }
    bool canGrab(const QHotkey::NativeShortcut& native, quint32 more = 0)
    {
        const bool ok = grab(native.key, native.modifier | more);
        if (ok)
            ungrab(native.key, native.modifier | more);
        return ok;
    }
    bool numLockOn()
    {
        auto* reply = xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr);
        const bool on = reply && (reply->mask & XCB_MOD_MASK_2);
        free(reply);
        return on;
    }

private:
    xcb_connection_t* m_connection = xcb_connect(nullptr, nullptr);
    xcb_window_t m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
};

void xdotool(const QStringList& args)
{
    QProcess::execute("xdotool", args);
}

// The stored shortcut: "text native-key native-modifier".
QString stored()
{
    QSettings file;
    return QStringList{file.value("startstop_hotkey").toString(), file.value("startstop_nativeKey").toString(),
                       file.value("startstop_nativeModifier").toString()}
        .join(' ');
}

} // namespace

class TestHotkeys : public QObject
{
    Q_OBJECT

    std::optional<LogCapture> log; // made once the test library has installed its own handler
    OtherClient other;
    RecordingPort port;
    AppController* controller = nullptr;
    QString altS; // Alt+S as stored: "Alt+S key modifier"

    bool registered() const { return controller->startStopHotkey->isRegistered(); }
    QString shortcut() const { return controller->keySequence + (registered() ? " on, " : " off, ") + stored(); }

private slots:
    void initTestCase() { log.emplace(); }

    void cleanupTestCase() { delete controller; }

    void keyToStringShowsPendingModifiers()
    {
        KeySequence keys;
        QCOMPARE(QStringList({keys.keyToString(Qt::Key_Control, Qt::ControlModifier),
                              keys.keyToString(Qt::Key_unknown, int(Qt::ControlModifier | Qt::ShiftModifier)),
                              keys.keyToString(Qt::Key_S, Qt::AltModifier)}),
                 QStringList({"Ctrl+...", "Ctrl+Shift+...", "Alt+S"}));
        QVERIFY(keys.isKeyUnknown(Qt::Key_unknown) && !keys.isKeyUnknown(Qt::Key_S));
    }

    // One grab for both; a held key activates and releases once, also with Num Lock on.
    void twoHotkeysOnOneShortcut()
    {
        QHotkeyPrivate* registry = QHotkeyPrivate::instance();
        auto* first = new QHotkey(QKeySequence("Ctrl+Alt+G"), true);
        QHotkey second(QKeySequence("Ctrl+Alt+G"), true);
        QVERIFY(first->isRegistered() && second.isRegistered());
        const QHotkey::NativeShortcut native = first->currentNativeShortcut();
        QCOMPARE(registry->registrationCount(native), 2);
        QVERIFY(!other.canGrab(native));
        QSignalSpy firstActivated(first, &QHotkey::activated);
        QSignalSpy activated(&second, &QHotkey::activated);
        QSignalSpy released(&second, &QHotkey::released);
        xdotool({"keydown", "ctrl+alt+g", "sleep", "0.8"});
        QTRY_COMPARE_WITH_TIMEOUT(activated.count(), 1, 3000);
        QCOMPARE(released.count(), 0);
        xdotool({"keyup", "ctrl+alt+g"});
        QTRY_COMPARE_WITH_TIMEOUT(released.count(), 1, 2000);
        QTest::qWait(200);
        QCOMPARE(QList<int>({int(firstActivated.count()), int(activated.count()), int(released.count())}),
                 QList<int>({1, 1, 1}));
        xdotool({"key", "Num_Lock"});
        QTRY_VERIFY_WITH_TIMEOUT(other.numLockOn(), 2000);
        xdotool({"key", "ctrl+alt+g"});
        QTRY_COMPARE_WITH_TIMEOUT(activated.count(), 2, 3000);
        xdotool({"key", "Num_Lock"});
        QTRY_VERIFY_WITH_TIMEOUT(!other.numLockOn(), 2000);
        delete first;
        QCOMPARE(registry->registrationCount(native), 1);
        QVERIFY(!other.canGrab(native));
        QVERIFY(second.setRegistered(false));
        QCOMPARE(registry->registrationCount(native), 0);
        QVERIFY(other.canGrab(native));
    }

    void unmappableShortcut()
    {
        QHotkey hotkey;
        // No key of the test server's layout carries this letter.
        QVERIFY(!hotkey.setShortcut(QKeySequence(QString::fromUtf8("Ctrl+Ж")), true));
        QVERIFY(!hotkey.isRegistered());
        QCOMPARE(LogCapture::count("Unable to map shortcut to native keys. Key:"), 1);
        QVERIFY(!hotkey.setShortcut(QKeySequence("Ctrl+F35"), true)); // no such key
    }

    void controllerStoresAndRestoresTheShortcut()
    {
        controller = new AppController();
        controller->setInterfacePort(&port);
        QSignalSpy changed(controller, &AppController::keySequenceChanged);
        controller->readFromConfig(); // the first start: no native pair stored yet
        const QHotkey::NativeShortcut native = controller->startStopHotkey->currentNativeShortcut();
        altS = QString("Alt+S %1 8").arg(native.key);
        QCOMPARE(shortcut(), "Alt+S on, " + altS);
        QCOMPARE(changed.count(), 1);
        QVERIFY(!other.canGrab(native));
        controller->setKeySequence("Alt+S"); // the same text again changes nothing
        QCOMPARE(changed.count(), 1);
        // The next start registers the stored native pair as it stands.
        LogCapture::clear();
        controller->startStopHotkey->setRegistered(false);
        controller->readFromConfig();
        QCOMPARE(LogCapture::count("Hotkey successfully restored:"), 1);
        QVERIFY(registered() && controller->startStopHotkey->currentNativeShortcut() == native);
        // A text that can't be mapped is kept, with no native pair, and the old binding goes.
        const QString text = QString::fromUtf8("Ctrl+Ж");
        controller->setKeySequence(text);
        QCOMPARE(shortcut(), text + " off, " + text + " 0 0");
        QVERIFY(other.canGrab(native));
        controller->resetShortcutToDefault();
        QCOMPARE(shortcut(), "Alt+S on, " + altS);
        SettingsManager* settings = SettingsManager::instance();
        settings->writeSetting("startstop_hotkey", "Alt+Q");
        settings->writeSetting("startstop_nativeKey", 999u);
        settings->writeSetting("startstop_nativeModifier", quint32(XCB_MOD_MASK_1));
        LogCapture::clear();
        controller->readFromConfig();
        QCOMPARE(LogCapture::count("Failed to register hotkey."), 1);
        QCOMPARE(LogCapture::count("Failed to register native key 999 modifier 8. Error: BadValue"), 1);
        QCOMPARE(shortcut(), "Alt+S off, Alt+Q 999 8"); // the text unchanged
        controller->setKeySequence("Alt+Q");            // a new choice repairs it
        QVERIFY(registered());
        controller->resetShortcutToDefault();
        QCOMPARE(shortcut(), "Alt+S on, " + altS);
    }

    // The combination is refused with a pop-up, and Alt+S stays registered, stored and working.
    void controllerWhenAnotherProgramHoldsTheKey()
    {
        const QHotkey::NativeShortcut native = QHotkey(QKeySequence("Ctrl+Alt+P")).currentNativeShortcut();
        QVERIFY(other.grab(native.key, native.modifier));
        LogCapture::clear();
        QSignalSpy popups(controller, &AppController::showPopupSignal);
        QSignalSpy changed(controller, &AppController::keySequenceChanged);
        controller->setKeySequence("Ctrl+Alt+P");
        QCOMPARE(LogCapture::count("Failed to register Ctrl+Alt+P. Error: BadAccess"), 1);
        QCOMPARE(LogCapture::count("is held by another program, keeping \"Alt+S\""), 1);
        QCOMPARE(QHotkeyPrivate::instance()->registrationCount(native), 0);
        QCOMPARE(shortcut(), "Alt+S on, " + altS);
        QCOMPARE(popups.count(), 1);
        QCOMPARE(popups[0][0].value<Common::MsgType>(), Common::MsgWarning);
        QCOMPARE(popups[0][1].toString(),
                 QString("The shortcut Ctrl+Alt+P is already in use by another program. Alt+S stays your shortcut."));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed[0][0].toString(), QString("Alt+S"));
        // No lock combination was left grabbed, and the key is ours once it is let go.
        other.ungrab(native.key, native.modifier);
        QVERIFY(other.canGrab(native, XCB_MOD_MASK_2));
        controller->setKeySequence("Ctrl+Alt+P");
        QVERIFY2(shortcut().startsWith("Ctrl+Alt+P on, Ctrl+Alt+P "), qPrintable(shortcut()));
        controller->resetShortcutToDefault();
        QCOMPARE(shortcut(), "Alt+S on, " + altS);
    }

    // Not while the shortcut is being edited; without an interface Esc closes the selection.
    void hotkeyOpensSelectionAndEscapeClosesIt()
    {
        const QHotkey::NativeShortcut esc = QHotkey(QKeySequence(QKeySequence::Cancel)).currentNativeShortcut();
        QVERIFY2(esc.isValid() && other.canGrab(esc), "Esc is no global key while no selection is open");
        QSignalSpy pressed(controller->startStopHotkey, &QHotkey::activated);
        port.calls.clear();
        controller->keySequenceEditingStarted();
        xdotool({"key", "alt+s"});
        QTRY_COMPARE_WITH_TIMEOUT(pressed.count(), 1, 3000);
        QVERIFY(port.calls.isEmpty() && !controller->escHotkey);
        controller->keySequenceEditingFinished();
        QVERIFY(!controller->editingActive);
        xdotool({"key", "alt+s"});
        QTRY_COMPARE_WITH_TIMEOUT(port.count("hideFirstDialog()"), 1, 3000);
        // Esc is taken while the selection is open, and Alt+S can't re-enter.
        QVERIFY(controller->escHotkey && controller->escHotkey->isRegistered() && !other.canGrab(esc) && !registered());
        xdotool({"key", "alt+s"});
        QTest::qWait(300);
        QCOMPARE(port.count("hideFirstDialog()"), 1);
        xdotool({"key", "Escape"});
        QTRY_VERIFY_WITH_TIMEOUT(!controller->escHotkey, 3000);
        QVERIFY(registered());
        QTRY_VERIFY_WITH_TIMEOUT(other.canGrab(esc), 2000);
    }
};

ORLUNE_TEST_MAIN_ON_PRIVATE_DISPLAY(TestHotkeys)

#include "test_hotkeys.moc"
