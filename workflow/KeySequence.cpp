#include "KeySequence.h"

#include <QKeySequence>

KeySequence::KeySequence(QObject* parent)
    : QObject(parent)
{
}

bool KeySequence::isKeyUnknown(int key) const
{
    return key == Qt::Key_unknown;
}

QString KeySequence::keyToString(int key, int modifiers) const
{
    const bool bareModifier = key >= Qt::Key_Shift && key <= Qt::Key_Alt;
    if (bareModifier || isKeyUnknown(key)) {
        // A placeholder key, so that the modifiers are spelled as in a whole shortcut.
        const QString text = QKeySequence(modifiers | Qt::Key_Underscore).toString(QKeySequence::NativeText);
        return QString(text).replace(QLatin1Char('_'), QStringLiteral("..."));
    }
    return QKeySequence(key | modifiers).toString(QKeySequence::NativeText);
}
