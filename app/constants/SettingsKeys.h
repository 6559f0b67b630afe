#pragma once

#include <QStringList>

// Every key of the settings store, as code and tests spell it. The first start
// writes the keys of firstStartKeys() with their defaults, in that order.
namespace SettingsKey {

inline constexpr char login[] = "login";
inline constexpr char password[] = "password";
inline constexpr char salt[] = "salt";
inline constexpr char is_authenticated_user[] = "is_authenticated_user";
inline constexpr char settings_path[] = "settings_path";
inline constexpr char files_path[] = "files_path";
inline constexpr char isVideoQualityNeverSet[] = "isVideoQualityNeverSet";
inline constexpr char FVNewVersionPolicy[] = "FVNewVersionPolicy";
inline constexpr char startstop_hotkey[] = "startstop_hotkey";
inline constexpr char startstop_nativeKey[] = "startstop_nativeKey";
inline constexpr char startstop_nativeModifier[] = "startstop_nativeModifier";
inline constexpr char proxy_server[] = "proxy_server";
inline constexpr char proxy_type[] = "proxy_type";
inline constexpr char proxy_host[] = "proxy_host";
inline constexpr char proxy_port[] = "proxy_port";
inline constexpr char proxy_login[] = "proxy_login";
inline constexpr char proxy_pwd[] = "proxy_pwd";
inline constexpr char proxy_verification_status[] = "proxy_verification_status";
inline constexpr char auto_upload[] = "auto_upload";
inline constexpr char instant_share_disabled_manually[] = "instant_share_disabled_manually";
inline constexpr char mouse_highlight_disabled_manually[] = "mouse_highlight_disabled_manually";
inline constexpr char mouse_highlight[] = "mouse_highlight";
inline constexpr char mute_audio[] = "mute_audio";
inline constexpr char mute_camera[] = "mute_camera";
inline constexpr char audiodev[] = "audiodev";
inline constexpr char cameradev[] = "cameradev";
inline constexpr char disable_sys[] = "disable_sys";
inline constexpr char save_path[] = "save_path";
inline constexpr char audio_level[] = "audio_level";
inline constexpr char interp_time[] = "interp_time";
inline constexpr char system_sounds[] = "system_sounds";
inline constexpr char is_first_start[] = "is_first_start";
inline constexpr char recording_4k_fails[] = "recording_4k_fails";
inline constexpr char bubble_pos[] = "bubble_pos";
inline constexpr char bubble_horizontal[] = "bubble_horizontal";
inline constexpr char bubble_pin[] = "bubble_pin";
inline constexpr char bubble_side[] = "bubble_side";
inline constexpr char bubble_ishstuck[] = "bubble_ishstuck";
inline constexpr char bubble_isvstuck[] = "bubble_isvstuck";
inline constexpr char camera_size_percentage[] = "camera_size_percentage";
inline constexpr char camera_fullframe[] = "camera_fullframe";
inline constexpr char camera_relative_pos_x[] = "camera_relative_pos_x";
inline constexpr char camera_relative_pos_y[] = "camera_relative_pos_y";
inline constexpr char camera_corner_x[] = "camera_corner_x";
inline constexpr char camera_corner_y[] = "camera_corner_y";
inline constexpr char recording_quality[] = "recording_quality";
inline constexpr char blackhole_driver_type[] = "blackhole_driver_type";
inline constexpr char use_vcodec[] = "use_vcodec";

// The keys the first start writes, in the order it reads them.
// blackhole_driver_type has no default and is never read at start; use_vcodec is
// written only once a codec has been chosen.
inline const QStringList& firstStartKeys()
{
    static const QStringList keys = {
        login,
        password,
        salt,
        is_authenticated_user,
        settings_path,
        files_path,
        isVideoQualityNeverSet,
        FVNewVersionPolicy,
        startstop_hotkey,
        startstop_nativeKey,
        startstop_nativeModifier,
        proxy_server,
        proxy_type,
        proxy_host,
        proxy_port,
        proxy_login,
        proxy_pwd,
        proxy_verification_status,
        auto_upload,
        instant_share_disabled_manually,
        mouse_highlight_disabled_manually,
        mouse_highlight,
        mute_audio,
        mute_camera,
        audiodev,
        cameradev,
        disable_sys,
        save_path,
        audio_level,
        interp_time,
        system_sounds,
        is_first_start,
        recording_4k_fails,
        bubble_pos,
        bubble_horizontal,
        bubble_pin,
        bubble_side,
        bubble_ishstuck,
        bubble_isvstuck,
        camera_size_percentage,
        camera_fullframe,
        camera_relative_pos_x,
        camera_relative_pos_y,
        camera_corner_x,
        camera_corner_y,
        recording_quality,
    };
    return keys;
}

} // namespace SettingsKey
