#pragma once

#include "CommonTypes.h"

#include <QObject>
#include <QRect>
#include <QString>
#include <QStringList>

// Everything the capture controller asks of the interface, one typed call
// each. The interface controller implements it; the names are its own slots,
// signals and properties. Every call does nothing here, and this class as it
// stands is what the controller talks to while no interface is attached, so
// that every step involving the interface is simply skipped.
class InterfacePort
{
    Q_GADGET

public:
    // What the updater is doing, as the update button shows it.
    enum UpdateAppStatus {
        NoNewVersion = 0,
        UpdateAborted3 = 1,
        UpdateAborted2 = 2,
        UpdateFailed = 3,
        UpdateApp = 4,
        Checking = 5,
        Downloading = 6,
        Installing = 7,
        NewVersionAvaliable = 8,
    };
    Q_ENUM(UpdateAppStatus)

    virtual ~InterfacePort() = default;

    // Whether an interface is attached. Without one the controller does
    // itself what the interface would do (take the rectangle as given, close
    // the selection on Esc) and reads none of the interface's state.
    virtual bool present() const { return false; }

    // The QML engine and the main window.
    virtual void qmlApplicationEngineInit() {}
    virtual void loadMainUI() {}
    virtual bool dwmIsCompositionEnabled() const { return false; }
    virtual void setDwmIsCompositionEnabled(bool enabled) {}

    // Properties of the main window and the settings dialog.
    virtual void setVersion(QString version) {}
    virtual void setLoginState(int state) {}
    virtual void setEnableUpdateApp(bool enable) {}
    virtual void setUpdateAppStatus(UpdateAppStatus status) {}
    virtual void setQuality4KVisible(bool visible) {}
    virtual void setWebcamsModel(QStringList cams) {}
    virtual int currentWebcam() const { return 0; }
    virtual void setCurrentWebcam(int index) {}
    virtual void setXmlMessage(QString xmlMessage) {}

    // Dialogs.
    virtual void showFirstDialogSignal() {}
    virtual void hideFirstDialog() {}
    virtual void showSettingsSignal() {}
    virtual void showScreenPermissionDialog() {}
    virtual void showVideoPermissionDialog() {}
    virtual void showAudioPermissionDialog() {}
    virtual void showCredentials(QString uri, QString title, bool clear_cookies) {}
    virtual void closeCredentials() {}
    virtual void closeCredentialsDialog() {}

    // The selection overlays and the recording frame. clearScreenshots drops
    // the screen snapshots of the last selection, so the next one grabs anew.
    virtual void clearScreenshots() {}
    virtual void showScreenDialog(Common::RunState runState, int screenIndex, int x, int y, int width, int height) {}
    virtual void hideScreenDialogSignal() {}
    virtual void setSelectedRectangle(int x, int y, int width, int height, int screenIndex) {}
    virtual QRect selectedRectangle() const { return QRect(); }
    // Asks for the recording dialog on this rectangle; false when nobody
    // showed it, and the caller starts the recording itself.
    virtual bool showVideoRecordingDialogSignal(int x, int y, int width, int height, int screenIndex) { return false; }
    virtual void clearMaskRecordingRectangle() {}
    virtual void setRecTime(QString time) {}
    virtual void setShortRecTime(QString time) {}
    virtual void updateVolumeTiming(qlonglong t, double v) {}

    // The gallery and the web views.
    virtual void uploadedFileId(uint file_id) {}
    virtual void updateGallery(uint file_id) {}
    virtual void updateUserState(ulong user_state) {}
    virtual void updateGalleryGotShareURL(QString link, uint file_id) {}
};
