// AppController's global hot keys: the start/stop shortcut, how it is
// changed in the settings dialog and kept in the store, and Esc, which is a
// global key only while a selection is on screen.
#include "AppController.h"

#include "QHotkey.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"

#include <QDebug>

namespace {
const char* const kDefaultShortcut = "Alt+S";
} // namespace

void AppController::createHotkeys()
{
    // No shortcut is ever set on the secondary hot key; it keeps its place
    // beside the start/stop key for the "start/pause" role.
    startStopHotkey = new QHotkey();
    secondaryHotkey = new QHotkey();
    connect(startStopHotkey, &QHotkey::activated, this, &AppController::captureScreenSkins);
    connect(secondaryHotkey, &QHotkey::activated, this, &AppController::captureScreenSkins);
}

void AppController::readFromConfig()
{
    const uint modifier = uint(settings()->readSettingInt(SettingsKey::startstop_nativeModifier));
    const uint key = uint(settings()->readSettingInt(SettingsKey::startstop_nativeKey));
    const QString text = settings()->readSettingStr(SettingsKey::startstop_hotkey);
    qDebug() << "[AC]:"
             << "readFromConfig";
    setNativeShortcut(text, key, modifier);
    createTray();
}

void AppController::setKeySequence(QString text)
{
    qDebug() << "[AC]:"
             << "setKeySequence" << text;
    if (text == keySequence)
        return;
    const QKeySequence seq(text);
    if (seq == QKeySequence())
        qDebug() << "[AC]:"
                 << "new sequence: is unknown!";
    const Qt::Key oldKey = startStopHotkey->currentKeyCode();
    const Qt::KeyboardModifiers oldModifiers = startStopHotkey->currentModifiers();
    const QHotkey::NativeShortcut oldNative = startStopHotkey->currentNativeShortcut();
    const bool wasRegistered = startStopHotkey->isRegistered();
    // The old shortcut is let go even when the new one can't be mapped.
    if (!startStopHotkey->setShortcut(seq, true) && startStopHotkey->currentNativeShortcut().isValid()) {
        // Sanctioned change: a combination that another program holds is
        // refused with a message, and the previous shortcut stays registered
        // and stored, so that the user is never left without a working one.
        if (oldKey != Qt::Key_unknown)
            startStopHotkey->setShortcut(oldKey, oldModifiers, wasRegistered);
        else
            startStopHotkey->setNativeShortcut(oldNative, wasRegistered);
        refuseTakenShortcut(text);
        return;
    }
    keySequence = text;
    const QHotkey::NativeShortcut native = startStopHotkey->currentNativeShortcut();
    settingsWriter()->writeSetting(SettingsKey::startstop_hotkey, text);
    settingsWriter()->writeSetting(SettingsKey::startstop_nativeKey, native.key);
    settingsWriter()->writeSetting(SettingsKey::startstop_nativeModifier, native.modifier);
    emit keySequenceChanged(text);
}

void AppController::refuseTakenShortcut(const QString& text)
{
    qWarning() << "[AC]:"
               << "setKeySequence" << text << "is held by another program, keeping" << keySequence
               << "registered:" << startStopHotkey->isRegistered();
    const QString kept = keySequence.isEmpty() ? QStringLiteral("Please choose another one.")
                                               : QStringLiteral("%1 stays your shortcut.").arg(keySequence);
    showPopup(Common::MsgWarning,
              QStringLiteral("The shortcut %1 is already in use by another program. %2").arg(text, kept));
    // The settings field shows the shortcut that is still in force.
    emit keySequenceChanged(keySequence);
}

void AppController::setNativeShortcut(QString text, uint key, uint modifier)
{
    qDebug() << "[AC]:"
             << "setNativeShortcut"
             << "keySequence:" << text << "nativeKey:" << key << "nativeModifier:" << modifier;
    if (key == 0 && modifier == 0) {
        // First start, or a store without the native form.
        setKeySequence(text);
        return;
    }
    if (!startStopHotkey->setNativeShortcut(QHotkey::NativeShortcut(key, modifier), true)) {
        qDebug() << "[AC]:"
                 << "Failed to register hotkey.";
        return;
    }
    keySequence = text;
    settingsWriter()->writeSetting(SettingsKey::startstop_nativeKey, key);
    settingsWriter()->writeSetting(SettingsKey::startstop_nativeModifier, modifier);
    qDebug() << "[AC]:"
             << "Hotkey successfully restored:" << text;
    emit keySequenceChanged(text);
}

void AppController::resetShortcutToDefault()
{
    setKeySequence(kDefaultShortcut);
}

void AppController::setEnabledEscShortKey(bool enabled)
{
    qDebug() << "[AC]:"
             << "setEnabledEscShortKey" << enabled;
    if (!enabled) {
        if (escHotkey) {
            escHotkey->setRegistered(false);
            // Later: this is usually reached from the key's own activated().
            escHotkey->deleteLater();
            escHotkey = nullptr;
        }
        return;
    }
    if (escHotkey)
        return;
    escHotkey = new QHotkey(QKeySequence(QKeySequence::Cancel), true);
    if (port->present()) {
        connect(escHotkey, &QHotkey::activated, this, [this] { port->hideScreenDialogSignal(); });
    } else {
        // Without the interface nobody else closes the selection: Esc undoes
        // what opening it did, so Alt+S works again.
        connect(escHotkey, &QHotkey::activated, this, [this] {
            setEnabledEscShortKey(false);
            setEnabledAltSShortKey(true);
        });
    }
}

void AppController::setEnabledAltSShortKey(bool enabled)
{
    // Works on the current start/stop shortcut, whatever it is.
    qDebug() << "[AC]:"
             << "setEnabledAltSShortKey" << enabled;
    startStopHotkey->setRegistered(enabled);
}

void AppController::keySequenceEditingStarted()
{
    qDebug() << "[AC]:"
             << "keySequenceEditingStarted";
    editingActive = true;
}

void AppController::keySequenceEditingFinished()
{
    qDebug() << "[AC]:"
             << "keySequenceEditingFinished";
    editingActive = false;
}
