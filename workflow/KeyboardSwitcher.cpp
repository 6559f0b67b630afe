#include "KeyboardSwitcher.h"

KeyboardSwitcher::KeyboardSwitcher(QObject* parent)
    : QObject(parent)
{
}

void KeyboardSwitcher::savePreviousKeyboard() {}

void KeyboardSwitcher::switchToEnglishKeyboard() {}

void KeyboardSwitcher::restorePreviousKeyboard() {}
