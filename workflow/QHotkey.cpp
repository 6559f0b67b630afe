#include "QHotkey.h"

#include "QHotkeyPrivate.h"

#include <QDebug>

QHotkey::QHotkey(QObject* parent)
    : QObject(parent)
{
}

QHotkey::QHotkey(const QKeySequence& sequence, bool autoRegister, QObject* parent)
    : QObject(parent)
{
    setShortcut(sequence, autoRegister);
}

QHotkey::~QHotkey()
{
    if (registered) {
        if (QHotkeyPrivate* registry = QHotkeyPrivate::instance())
            registry->removeShortcut(this);
    }
}

QKeySequence QHotkey::shortcut() const
{
    if (keyCode == Qt::Key_unknown)
        return QKeySequence();
    return QKeySequence(QKeyCombination(modifiers, keyCode));
}

QString QHotkey::describe() const
{
    if (keyCode != Qt::Key_unknown)
        return shortcut().toString();
    return QStringLiteral("native key %1 modifier %2").arg(nativeShortcut.key).arg(nativeShortcut.modifier);
}

void QHotkey::markRegistered(bool value)
{
    if (registered == value)
        return;
    registered = value;
    emit registeredChanged(registered);
}

bool QHotkey::setRegistered(bool value)
{
    QHotkeyPrivate* registry = QHotkeyPrivate::instance();
    if (value && !registered) {
        if (!nativeShortcut.isValid() || !registry)
            return false;
        return registry->addShortcut(this);
    }
    if (!value && registered)
        return registry && registry->removeShortcut(this);
    return true;
}

bool QHotkey::setShortcut(const QKeySequence& sequence, bool autoRegister)
{
    if (sequence.isEmpty())
        return resetShortcut();
    if (sequence.count() > 1)
        qWarning() << "Keysequences with multiple shortcuts are not allowed! Only the first shortcut will be used!";
    const int combined = sequence[0].toCombined();
    return setShortcut(Qt::Key(combined & ~Qt::KeyboardModifierMask),
                       Qt::KeyboardModifiers(combined & Qt::KeyboardModifierMask), autoRegister);
}

bool QHotkey::setShortcut(Qt::Key key, Qt::KeyboardModifiers mods, bool autoRegister)
{
    if (registered) {
        // A registered hot key changes only when the caller asked for the new one to be registered.
        if (!autoRegister || !setRegistered(false))
            return false;
    }
    if (key == Qt::Key_unknown) {
        keyCode = Qt::Key_unknown;
        modifiers = Qt::NoModifier;
        nativeShortcut = NativeShortcut();
        return true;
    }
    keyCode = key;
    modifiers = mods;
    QHotkeyPrivate* registry = QHotkeyPrivate::instance();
    nativeShortcut = registry ? registry->nativeShortcut(key, mods) : NativeShortcut();
    if (!nativeShortcut.isValid()) {
        qWarning() << "Unable to map shortcut to native keys. Key:" << key << "Modifiers:" << mods;
        return false;
    }
    return autoRegister ? setRegistered(true) : true;
}

bool QHotkey::resetShortcut()
{
    if (registered && !setRegistered(false))
        return false;
    keyCode = Qt::Key_unknown;
    modifiers = Qt::NoModifier;
    nativeShortcut = NativeShortcut();
    return true;
}

bool QHotkey::setNativeShortcut(QHotkey::NativeShortcut native, bool autoRegister)
{
    if (registered) {
        if (!autoRegister || !setRegistered(false))
            return false;
    }
    keyCode = Qt::Key_unknown;
    modifiers = Qt::NoModifier;
    if (!native.isValid()) {
        nativeShortcut = NativeShortcut();
        return true;
    }
    nativeShortcut = native;
    return autoRegister ? setRegistered(true) : true;
}
