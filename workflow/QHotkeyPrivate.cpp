#include "QHotkeyPrivate.h"

#include <QCoreApplication>
#include <QDebug>
#include <QThread>

namespace {
// Runs `call` on the registry's thread and returns its result; hot keys used
// from another thread wait for the registry.
template <typename Call>
auto onThreadOf(QObject* owner, Call call) -> decltype(call())
{
    if (QThread::currentThread() == owner->thread())
        return call();
    decltype(call()) result{};
    QMetaObject::invokeMethod(owner, call, Qt::BlockingQueuedConnection, &result);
    return result;
}
} // namespace

QHotkeyPrivate::QHotkeyPrivate()
{
    if (QCoreApplication* app = QCoreApplication::instance()) {
        moveToThread(app->thread());
        app->installNativeEventFilter(this);
    }
}

QHotkeyPrivate::~QHotkeyPrivate()
{
    if (!shortcuts.isEmpty())
        qWarning() << "QHotkeyPrivate destroyed with registered shortcuts!";
    if (QCoreApplication* app = QCoreApplication::instance())
        app->removeNativeEventFilter(this);
}

QHotkey::NativeShortcut QHotkeyPrivate::nativeShortcut(Qt::Key keycode, Qt::KeyboardModifiers modifiers)
{
    return onThreadOf(this, [=] { return nativeShortcutInvoked(keycode, modifiers); });
}

bool QHotkeyPrivate::addShortcut(QHotkey* hotkey)
{
    return onThreadOf(this, [=] { return addShortcutInvoked(hotkey); });
}

bool QHotkeyPrivate::removeShortcut(QHotkey* hotkey)
{
    return onThreadOf(this, [=] { return removeShortcutInvoked(hotkey); });
}

void QHotkeyPrivate::addMapping(Qt::Key keycode, Qt::KeyboardModifiers modifiers,
                                QHotkey::NativeShortcut nativeShortcut)
{
    onThreadOf(this, [=] {
        addMappingInvoked(keycode, modifiers, nativeShortcut);
        return true;
    });
}

int QHotkeyPrivate::registrationCount(QHotkey::NativeShortcut shortcut) const
{
    return int(shortcuts.count(shortcut));
}

void QHotkeyPrivate::addMappingInvoked(Qt::Key keycode, Qt::KeyboardModifiers modifiers,
                                       QHotkey::NativeShortcut nativeShortcut)
{
    mapping.insert(qMakePair(int(keycode), int(modifiers.toInt())), nativeShortcut);
}

QHotkey::NativeShortcut QHotkeyPrivate::nativeShortcutInvoked(Qt::Key keycode, Qt::KeyboardModifiers modifiers)
{
    const auto cached = mapping.constFind(qMakePair(int(keycode), int(modifiers.toInt())));
    if (cached != mapping.constEnd())
        return cached.value();
    bool keyOk = false;
    bool modifiersOk = false;
    const quint32 key = nativeKeycode(keycode, keyOk);
    const quint32 modifier = nativeModifiers(modifiers, modifiersOk);
    if (keyOk && modifiersOk)
        return QHotkey::NativeShortcut(key, modifier);
    return QHotkey::NativeShortcut();
}

bool QHotkeyPrivate::addShortcutInvoked(QHotkey* hotkey)
{
    const QHotkey::NativeShortcut shortcut = hotkey->nativeShortcut;
    // The system is asked only for the first hot key of a native shortcut.
    if (!shortcuts.contains(shortcut) && !registerShortcut(shortcut)) {
        qWarning().noquote() << QStringLiteral("Failed to register %1. Error: %2").arg(hotkey->describe(), error);
        return false;
    }
    shortcuts.insert(shortcut, hotkey);
    hotkey->markRegistered(true);
    return true;
}

bool QHotkeyPrivate::removeShortcutInvoked(QHotkey* hotkey)
{
    const QHotkey::NativeShortcut shortcut = hotkey->nativeShortcut;
    if (shortcuts.remove(shortcut, hotkey) == 0)
        return false;
    hotkey->markRegistered(false);
    // ...and released with the last one.
    if (!shortcuts.contains(shortcut) && !unregisterShortcut(shortcut)) {
        qWarning().noquote() << QStringLiteral("Failed to unregister %1. Error: %2").arg(hotkey->describe(), error);
        return false;
    }
    return true;
}

void QHotkeyPrivate::activateShortcut(QHotkey::NativeShortcut shortcut)
{
    emitToHotkeys(shortcut, &QHotkey::activated);
}

void QHotkeyPrivate::releaseShortcut(QHotkey::NativeShortcut shortcut)
{
    emitToHotkeys(shortcut, &QHotkey::released);
}

void QHotkeyPrivate::emitToHotkeys(QHotkey::NativeShortcut shortcut, void (QHotkey::*signal)())
{
    const QList<QHotkey*> hotkeys = shortcuts.values(shortcut);
    for (QHotkey* hotkey : hotkeys)
        QMetaObject::invokeMethod(hotkey, signal, Qt::QueuedConnection);
}
