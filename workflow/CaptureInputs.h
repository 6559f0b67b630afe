#pragma once

#include <QByteArray>

// Input names that the recording session is given for the screen and the
// microphone on this platform.
//
// Environment overrides, for tests and demonstrations without a screen grab
// or a sound device:
//   ORLUNE_VIDEO_INPUT  replaces the screen input, e.g. "lavfi:testsrc2=size=640x360:rate=25"
//   ORLUNE_AUDIO_INPUT  replaces the microphone input, e.g. "lavfi:sine=frequency=440:sample_rate=44100"
namespace CaptureInputs {

// ORLUNE_VIDEO_INPUT when set, else the X display for x11grab (":0.0" style,
// from DISPLAY); the capture rectangle is passed to the session separately.
QByteArray videoInput();
// The X display name of DISPLAY, with the screen number made explicit.
QByteArray x11Display(const QByteArray& display);
// ORLUNE_AUDIO_INPUT, or empty.
QByteArray audioOverride();
// The silent substitute the session records when there is no microphone.
QByteArray silentAudioInput();

} // namespace CaptureInputs
