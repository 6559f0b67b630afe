#pragma once

#include <QObject>

// Helper of the shortcut field of the settings dialog (published to QML as
// `keyboardswitcher`). The field calls it around an edit so that a shortcut
// is typed in a Latin layout; X servers report key symbols whatever the
// layout, so on this platform there is nothing to switch.
class KeyboardSwitcher : public QObject
{
    Q_OBJECT

public:
    explicit KeyboardSwitcher(QObject* parent = nullptr);

    Q_INVOKABLE void savePreviousKeyboard();
    Q_INVOKABLE void switchToEnglishKeyboard();
    Q_INVOKABLE void restorePreviousKeyboard();
};
