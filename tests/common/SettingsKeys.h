#pragma once

#include <QStringList>

// Every key that the first start leaves in the settings store, in the order
// of the settings table. blackhole_driver_type has no default and is never
// read at start, so it is not among them.
inline const QStringList& firstStartSettingsKeys()
{
    static const QStringList keys = {"login",
                                     "password",
                                     "salt",
                                     "is_authenticated_user",
                                     "settings_path",
                                     "files_path",
                                     "isVideoQualityNeverSet",
                                     "FVNewVersionPolicy",
                                     "startstop_hotkey",
                                     "startstop_nativeKey",
                                     "startstop_nativeModifier",
                                     "proxy_server",
                                     "proxy_type",
                                     "proxy_host",
                                     "proxy_port",
                                     "proxy_login",
                                     "proxy_pwd",
                                     "proxy_verification_status",
                                     "auto_upload",
                                     "instant_share_disabled_manually",
                                     "mouse_highlight_disabled_manually",
                                     "mouse_highlight",
                                     "mute_audio",
                                     "mute_camera",
                                     "audiodev",
                                     "cameradev",
                                     "disable_sys",
                                     "save_path",
                                     "audio_level",
                                     "interp_time",
                                     "system_sounds",
                                     "is_first_start",
                                     "recording_4k_fails",
                                     "bubble_pos",
                                     "bubble_horizontal",
                                     "bubble_pin",
                                     "bubble_side",
                                     "bubble_ishstuck",
                                     "bubble_isvstuck",
                                     "camera_size_percentage",
                                     "camera_fullframe",
                                     "camera_relative_pos_x",
                                     "camera_relative_pos_y",
                                     "camera_corner_x",
                                     "camera_corner_y",
                                     "recording_quality"};
    return keys;
}
