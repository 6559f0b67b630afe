#pragma once

#include <QString>
#include <QStringList>

// The devices the controller offers: microphones and playback devices of
// the sound server, and cameras. Audio devices come as two parallel lists,
// the names the user sees and their device addresses, the text the
// recording session opens after "audio=" (the sound server's name of the
// source or sink). Every call asks afresh, so that a device plugged or
// unplugged since is seen.
namespace DeviceLists {

// Microphones: the sound server's sources that are not the monitor of a
// sink. The count, or -1 when the sound server could not be asked.
int listInAudioDevices(QStringList& names, QStringList& addrs);
// Playback devices: the sound server's sinks. The count, or -1 as above.
int listOutAudioDevices(QStringList& names, QStringList& addrs);
// Camera descriptions; the count.
int listInCameraDevices(QStringList& names);

// Whether a microphone or playback device by this name belongs in the list:
// unnamed devices and those of other programs' virtual drivers are left out.
bool usableInName(const QString& name);
bool usableOutName(const QString& name);

} // namespace DeviceLists
