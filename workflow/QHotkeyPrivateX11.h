#pragma once

#include "QHotkeyPrivate.h"

#include <QHash>
#include <QList>
#include <QTimer>

// The hot key registry of an X server. A shortcut is a passive key grab on
// every root window, made once for each combination of the lock modifiers
// (Caps Lock, Num Lock, Scroll Lock/Mode switch), since X matches the
// modifier state exactly and a lit Num Lock would otherwise hide the key.
// Key presses and releases arrive through the native event filter; a held
// key activates once, and its release is seen by the key release event or,
// should that be missed, by a 50 ms poll of the keyboard state.
class QHotkeyPrivateX11 : public QHotkeyPrivate
{
    Q_OBJECT

public:
    QHotkeyPrivateX11();
    ~QHotkeyPrivateX11() override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

protected:
    quint32 nativeKeycode(Qt::Key keycode, bool& ok) override;
    quint32 nativeModifiers(Qt::KeyboardModifiers modifiers, bool& ok) override;
    bool registerShortcut(QHotkey::NativeShortcut shortcut) override;
    bool unregisterShortcut(QHotkey::NativeShortcut shortcut) override;

private slots:
    void pollForHotkeyRelease();

private:
    void keyPressed(QHotkey::NativeShortcut shortcut, quint32 time);
    void keyReleased(quint32 keycode, quint32 time);
    void ungrab(QHotkey::NativeShortcut shortcut);

    QTimer pollTimer;
    QList<QHotkey::NativeShortcut> polledShortcuts;
    QHash<quint32, quint32> lastReleaseTime; // key code to the server time of its last release
};
