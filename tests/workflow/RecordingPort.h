#pragma once

// Writes down each call as "name(arg, arg)"; until `attached` it answers as if
// no interface were there.

#include "InterfacePort.h"

#include <QStringList>
#include <QVariant>

class RecordingPort : public InterfacePort
{
public:
    QStringList calls;
    bool attached = false;
    QRect chosen; // what selectedRectangle() answers

    int count(const QString& call) const { return int(calls.count(call)); }

    bool present() const override { return attached; }
    void qmlApplicationEngineInit() override { add("qmlApplicationEngineInit"); }
    void loadMainUI() override { add("loadMainUI"); }
    void setDwmIsCompositionEnabled(bool on) override { add("setDwmIsCompositionEnabled", on); }
    void setLoginState(int state) override { add("setLoginState", state); }
    void setEnableUpdateApp(bool enable) override { add("setEnableUpdateApp", enable); }
    void setUpdateAppStatus(UpdateAppStatus status) override { add("setUpdateAppStatus", int(status)); }
    void setQuality4KVisible(bool visible) override { add("setQuality4KVisible", visible); }
    void setWebcamsModel(QStringList cams) override { add("setWebcamsModel", cams.join('|')); }
    void setCurrentWebcam(int index) override { add("setCurrentWebcam", index); }
    void setXmlMessage(QString message) override { add("setXmlMessage", message); }
    void showFirstDialogSignal() override { add("showFirstDialogSignal"); }
    void hideFirstDialog() override { add("hideFirstDialog"); }
    void showSettingsSignal() override { add("showSettingsSignal"); }
    void showScreenPermissionDialog() override { add("showScreenPermissionDialog"); }
    void showVideoPermissionDialog() override { add("showVideoPermissionDialog"); }
    void showAudioPermissionDialog() override { add("showAudioPermissionDialog"); }
    void closeCredentials() override { add("closeCredentials"); }
    void closeCredentialsDialog() override { add("closeCredentialsDialog"); }
    void showCredentials(QString uri, QString title, bool clear) override { add("showCredentials", uri, title, clear); }
    void showScreenDialog(Common::RunState s, int i, int x, int y, int w, int h) override
    {
        add("showScreenDialog", int(s), i, x, y, w, h);
    }
    void hideScreenDialogSignal() override { add("hideScreenDialogSignal"); }
    void setSelectedRectangle(int x, int y, int w, int h, int i) override
    {
        add("setSelectedRectangle", x, y, w, h, i);
    }
    QRect selectedRectangle() const override { return chosen; }
    bool showVideoRecordingDialogSignal(int x, int y, int w, int h, int i) override
    {
        return add("showVideoRecordingDialogSignal", x, y, w, h, i), attached;
    }
    void clearMaskRecordingRectangle() override { add("clearMaskRecordingRectangle"); }
    void setRecTime(QString time) override { add("setRecTime", time); }
    void setShortRecTime(QString time) override { add("setShortRecTime", time); }
    void uploadedFileId(uint id) override { add("uploadedFileId", id); }
    void updateGallery(uint id) override { add("updateGallery", id); }
    void updateVolumeTiming(qlonglong t, double v) override { add("updateVolumeTiming", t, v); }
    void updateUserState(ulong state) override { add("updateUserState", quint64(state)); }
    void updateGalleryGotShareURL(QString link, uint id) override { add("updateGalleryGotShareURL", link, id); }

private:
    template <typename... Args>
    void add(const char* name, const Args&... args)
    {
        calls << QString("%1(%2)").arg(name, QStringList{QVariant::fromValue(args).toString()...}.join(", "));
    }
};
