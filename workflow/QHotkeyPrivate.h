#pragma once

#include "QHotkey.h"

#include <QAbstractNativeEventFilter>
#include <QHash>
#include <QMultiHash>
#include <QObject>
#include <QPair>

// The process-wide registry of hot keys: maps Qt shortcuts to native ones
// (with a cache), keeps which QHotkey objects share a native shortcut, grabs
// a native shortcut with the system at its first hot key and lets it go at
// its last, and turns the system's key events into activated() and
// released(). The platform part derives from it and supplies the four
// virtual operations and the native event filter.
//
// All work happens on the registry's thread; calls from other threads are
// carried there and waited for.
class QHotkeyPrivate : public QObject, public QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    QHotkeyPrivate();
    // Removes itself as native event filter; warns about shortcuts left grabbed.
    ~QHotkeyPrivate() override;

    // The registry of this platform, created at its first use. Null without
    // an application object.
    static QHotkeyPrivate* instance();

    QHotkey::NativeShortcut nativeShortcut(Qt::Key keycode, Qt::KeyboardModifiers modifiers);
    bool addShortcut(QHotkey* hotkey);
    bool removeShortcut(QHotkey* hotkey);
    // Fixes the native form of a Qt shortcut, bypassing the platform's mapping.
    void addMapping(Qt::Key keycode, Qt::KeyboardModifiers modifiers, QHotkey::NativeShortcut nativeShortcut);

    // How many hot keys share a native shortcut (0: not grabbed).
    int registrationCount(QHotkey::NativeShortcut shortcut) const;

    // Text of the last native failure.
    QString error;

    Q_INVOKABLE void addMappingInvoked(Qt::Key keycode, Qt::KeyboardModifiers modifiers,
                                       QHotkey::NativeShortcut nativeShortcut);
    Q_INVOKABLE bool addShortcutInvoked(QHotkey* hotkey);
    Q_INVOKABLE bool removeShortcutInvoked(QHotkey* hotkey);
    Q_INVOKABLE QHotkey::NativeShortcut nativeShortcutInvoked(Qt::Key keycode, Qt::KeyboardModifiers modifiers);

protected:
    virtual quint32 nativeKeycode(Qt::Key keycode, bool& ok) = 0;
    virtual quint32 nativeModifiers(Qt::KeyboardModifiers modifiers, bool& ok) = 0;
    virtual bool registerShortcut(QHotkey::NativeShortcut shortcut) = 0;
    virtual bool unregisterShortcut(QHotkey::NativeShortcut shortcut) = 0;

    // The hot keys of a native shortcut each get activated() (or released()),
    // queued, so that a slot may delete its hot key.
    void activateShortcut(QHotkey::NativeShortcut shortcut);
    void releaseShortcut(QHotkey::NativeShortcut shortcut);
    bool hasShortcut(QHotkey::NativeShortcut shortcut) const { return shortcuts.contains(shortcut); }

private:
    void emitToHotkeys(QHotkey::NativeShortcut shortcut, void (QHotkey::*signal)());

    QHash<QPair<int, int>, QHotkey::NativeShortcut> mapping;
    QMultiHash<QHotkey::NativeShortcut, QHotkey*> shortcuts;
};
