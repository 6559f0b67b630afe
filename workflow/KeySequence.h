#pragma once

#include <QObject>
#include <QString>

// Helper of the shortcut field of the settings dialog (published to QML as
// `keysequence`): turns the key and modifiers of a key press into the text
// the field shows.
class KeySequence : public QObject
{
    Q_OBJECT

public:
    explicit KeySequence(QObject* parent = nullptr);

    // True for Qt::Key_unknown, what a press of modifiers alone reports.
    Q_INVOKABLE bool isKeyUnknown(int key) const;
    // The shortcut in the platform's words. While only modifiers are held
    // the key is shown as "...", as in "Ctrl+...".
    Q_INVOKABLE QString keyToString(int key, int modifiers) const;
};
