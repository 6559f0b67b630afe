#pragma once

#include <QExplicitlySharedDataPointer>
#include <QObject>
#include <QSharedData>

// The platform's answer to whether the program may capture the screen, the
// camera and the microphone, and the ways to ask for or open each permission.
// The controller asks for a fresh instance each time it needs one.
class Permission : public QObject, public QSharedData
{
    Q_OBJECT

public:
    using Pointer = QExplicitlySharedDataPointer<Permission>;

    // The instance for this platform.
    static Pointer create();

    virtual bool checkScreenPermission() = 0;
    virtual bool checkVideoPermission() = 0;
    virtual bool checkAudioPermission() = 0;
    virtual void requestScreenPermission() = 0;
    virtual void requestVideoPermission() = 0;
    virtual void requestAudioPermission() = 0;
    virtual void openScreenPermission() = 0;
    virtual void openVideoPermission() = 0;
    virtual void openAudioPermission() = 0;
};
