#pragma once

#include <QObject>
#include <QString>

// The signals of UIController that carry the same names as calls of the
// InterfacePort. They live in this base class so that UIController can
// implement each port call as an ordinary function that emits the signal here:
// a signal can't itself override a virtual function (and the port's
// showVideoRecordingDialogSignal answers a bool, which a signal can't).
// QML sees them on uiController all the same.
class UIControllerSignals : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

signals:
    void showFirstDialogSignal();
    void hideFirstDialog();
    void showSettingsSignal();
    void showScreenPermissionDialog();
    void showVideoPermissionDialog();
    void showAudioPermissionDialog();
    void hideScreenDialogSignal();
    void showVideoRecordingDialogSignal(int x, int y, int width, int height, int screenIndex);
    void uploadedFileId(uint file_id);
    void updateGallery(uint file_id);
    void updateUserState(ulong user_state);
    void updateGalleryGotShareURL(QString link, uint file_id);
    // The sign-in web dialog of main.qml.
    void showCredentialsDialog(QString url, QString title);
    void activateCredentialsDialog();
    void closeCredentialsDialog();
};
