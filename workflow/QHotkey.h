#pragma once

#include <QHashFunctions>
#include <QKeySequence>
#include <QMetaType>
#include <QObject>

// A system-wide key combination: activated() fires while any program has the
// focus. Hot keys are registered with the system through the process-wide
// registry (QHotkeyPrivate), which grabs a native shortcut once however many
// QHotkey objects share it.
class QHotkey : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool registered READ isRegistered WRITE setRegistered NOTIFY registeredChanged)
    Q_PROPERTY(QKeySequence shortcut READ shortcut WRITE setShortcut RESET resetShortcut)

public:
    // A shortcut in the platform's terms: on X11 the key code and the
    // modifier mask of the core protocol.
    struct NativeShortcut
    {
        quint32 key = 0;
        quint32 modifier = 0;
        bool valid = false;

        NativeShortcut() = default;
        NativeShortcut(quint32 nativeKey, quint32 nativeModifier = 0)
            : key(nativeKey)
            , modifier(nativeModifier)
            , valid(true)
        {
        }
        bool isValid() const { return valid; }
        bool operator==(const NativeShortcut& other) const
        {
            return key == other.key && modifier == other.modifier && valid == other.valid;
        }
        bool operator!=(const NativeShortcut& other) const { return !(*this == other); }
    };

    explicit QHotkey(QObject* parent = nullptr);
    explicit QHotkey(const QKeySequence& sequence, bool autoRegister = false, QObject* parent = nullptr);
    // Unregisters: a hot key never outlives its grab.
    ~QHotkey() override;

    bool isRegistered() const { return registered; }
    // The Qt form of the shortcut; empty for an unset hot key or one set natively.
    QKeySequence shortcut() const;
    Qt::Key currentKeyCode() const { return keyCode; }
    Qt::KeyboardModifiers currentModifiers() const { return modifiers; }
    NativeShortcut currentNativeShortcut() const { return nativeShortcut; }
    // Text for log lines: the key sequence, else the native pair.
    QString describe() const;

public slots:
    bool setRegistered(bool registered);
    bool setShortcut(const QKeySequence& shortcut, bool autoRegister = false);
    bool setShortcut(Qt::Key keyCode, Qt::KeyboardModifiers modifiers, bool autoRegister = false);
    bool resetShortcut();
    bool setNativeShortcut(QHotkey::NativeShortcut nativeShortcut, bool autoRegister = false);

signals:
    void activated();
    void released();
    void registeredChanged(bool registered);

private:
    friend class QHotkeyPrivate;
    void markRegistered(bool value);

    Qt::Key keyCode = Qt::Key_unknown;
    Qt::KeyboardModifiers modifiers;
    NativeShortcut nativeShortcut;
    bool registered = false;
};

inline size_t qHash(const QHotkey::NativeShortcut& shortcut, size_t seed = 0)
{
    return qHashMulti(seed, shortcut.key, shortcut.modifier);
}

Q_DECLARE_METATYPE(QHotkey::NativeShortcut)
