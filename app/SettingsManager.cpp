#include "SettingsManager.h"

#include "SettingsKeys.h"

#include <QApplication>
#include <QDebug>
#include <QDir>
#include <QGuiApplication>
#include <QList>
#include <QMessageBox>
#include <QMutexLocker>
#include <QPair>
#include <QScreen>
#include <QStandardPaths>

namespace {

template <typename T>
bool assignIfChanged(T& member, const T& value)
{
    if (member == value)
        return false;
    member = value;
    return true;
}

QString firstLocation(QStandardPaths::StandardLocation location)
{
    return QStandardPaths::standardLocations(location).value(0);
}

// The floating menu starts at the right edge, half-way down the desktop.
QPoint defaultBubblePos()
{
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return QPoint();
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return QPoint();
    const QRect desktop = screen->virtualGeometry();
    return QPoint(desktop.right() - 99, (desktop.bottom() - 99) / 2);
}

// Keys in the order the first start reads them, with their defaults.
QList<QPair<QString, QVariant>> keysWithDefaults()
{
    const QString dataFolder = firstLocation(QStandardPaths::AppLocalDataLocation);
    return {
        {SettingsKey::login, QString()},
        {SettingsKey::password, QString()},
        {SettingsKey::salt, QString()},
        {SettingsKey::is_authenticated_user, false},
        {SettingsKey::settings_path, dataFolder},
        {SettingsKey::files_path, dataFolder + "/" + "Records"},
        {SettingsKey::isVideoQualityNeverSet, true},
        {SettingsKey::FVNewVersionPolicy, QString("install")},
        {SettingsKey::startstop_hotkey, QString("Alt+S")},
        {SettingsKey::startstop_nativeKey, 0u},
        {SettingsKey::startstop_nativeModifier, 0u},
        {SettingsKey::proxy_server, false},
        {SettingsKey::proxy_type, 0},
        {SettingsKey::proxy_host, QString()},
        {SettingsKey::proxy_port, QString()},
        {SettingsKey::proxy_login, QString()},
        {SettingsKey::proxy_pwd, QString()},
        {SettingsKey::proxy_verification_status, int(Common::Untested)},
        {SettingsKey::auto_upload, false},
        {SettingsKey::instant_share_disabled_manually, false},
        {SettingsKey::mouse_highlight_disabled_manually, false},
        {SettingsKey::mouse_highlight, false},
        {SettingsKey::mute_audio, false},
        {SettingsKey::mute_camera, false},
        {SettingsKey::audiodev, QString()},
        {SettingsKey::cameradev, QString()},
        {SettingsKey::disable_sys, false},
        {SettingsKey::save_path, firstLocation(QStandardPaths::PicturesLocation)},
        {SettingsKey::audio_level, 239},
        {SettingsKey::interp_time, true},
        {SettingsKey::system_sounds, false},
        {SettingsKey::is_first_start, true},
        {SettingsKey::recording_4k_fails, false},
        {SettingsKey::bubble_pos, defaultBubblePos()},
        {SettingsKey::bubble_horizontal, false},
        {SettingsKey::bubble_pin, true},
        {SettingsKey::bubble_side, 0},
        {SettingsKey::bubble_ishstuck, false},
        {SettingsKey::bubble_isvstuck, false},
        {SettingsKey::camera_size_percentage, 20.0},
        {SettingsKey::camera_fullframe, 0},
        {SettingsKey::camera_relative_pos_x, 0.0},
        {SettingsKey::camera_relative_pos_y, 0.0},
        {SettingsKey::camera_corner_x, 0},
        {SettingsKey::camera_corner_y, 0},
        {SettingsKey::recording_quality, int(Common::RECORDING_QUALITY_SD)},
        // blackhole_driver_type has no default and is never read at start.
    };
}

// Keys whose values have a fixed range. A value outside, from a hand-edited
// store say, is logged as it arrives and never shown or used as it stands.
// Magnitudes are held clamped. Enumerations are held as given, because their
// readers have a rule of their own for an unknown value (the proxy's
// "unknown proxy type", standard quality for any other number); the
// properties of the settings window show them clamped.
struct ValueRange
{
    const char* key;
    double low, high;
    bool heldClamped;
};
constexpr ValueRange kValueRanges[] = {
    {SettingsKey::proxy_type, 0, 3, false},                // the proxy kinds of the proxy box
    {SettingsKey::proxy_verification_status, 0, 2, false}, // Common::ProxyVerificationStatus
    {SettingsKey::recording_quality, 0, 2, false},         // Common::RecordingQuality
    {SettingsKey::audio_level, 0, 299, true},              // the recording panel's volume slider
    {SettingsKey::camera_size_percentage, 5, 100, true},
    {SettingsKey::camera_relative_pos_x, 0, 100, true},
    {SettingsKey::camera_relative_pos_y, 0, 100, true},
};

const ValueRange* rangeOf(const QString& key)
{
    for (const ValueRange& range : kValueRanges)
        if (key == QLatin1String(range.key))
            return &range;
    return nullptr;
}

// The value to hold for <key>: as given, or clamped for a magnitude outside its range.
QVariant checkedValue(const QString& key, const QVariant& value)
{
    const ValueRange* range = rangeOf(key);
    if (!range)
        return value;
    const double number = value.toDouble();
    if (number >= range->low && number <= range->high)
        return value;
    const double clamped = qBound(range->low, number, range->high);
    qWarning().noquote() << QStringLiteral("[SettingsManager]: %1 out of range: %2, clamped to %3")
                                .arg(key, value.toString(), QString::number(clamped));
    if (!range->heldClamped)
        return value;
    return value.typeId() == QMetaType::Double ? QVariant(clamped) : QVariant(int(clamped));
}

// An enumeration's member as the settings window shows it.
int shownClamped(const char* key, int member)
{
    const ValueRange* range = rangeOf(QLatin1String(key));
    return int(qBound(range->low, double(member), range->high));
}

void makeDirOrComplain(const QString& path, const QString& failureText)
{
    if (QDir(path).exists() || (!path.isEmpty() && QDir().mkpath(path)))
        return;
    qWarning() << "[SettingsManager]:" << failureText << path;
    // A box needs a widget application; without one the log line is all there is.
    if (qobject_cast<QApplication*>(QCoreApplication::instance()))
        QMessageBox::critical(nullptr, "orlune", failureText + path);
}

} // namespace

SettingsManager* SettingsManager::instance()
{
    static QRecursiveMutex creationMutex;
    static SettingsManager* singleton = nullptr;
    QMutexLocker lock(&creationMutex);
    if (!singleton) {
        singleton = new SettingsManager;
        singleton->initialize();
    }
    return singleton;
}

SettingsManager::SettingsManager()
    : m_settings(QSettings::NativeFormat, QSettings::UserScope, "Halvenmoor", "orlune")
{
    qDebug() << "[SettingsManager]: Settings location: " << m_settings.fileName();
}

void SettingsManager::initialize()
{
    QMutexLocker lock(&m_mutex);
    qDebug() << "[SettingsManager]:"
             << "initialize";
    // Reading every key and writing it back leaves a complete store after the first start.
    for (const auto& [key, defaultValue] : keysWithDefaults())
        writeSetting(key, m_settings.value(key, defaultValue));
    createDirsIfNeeded();
}

void SettingsManager::createDirsIfNeeded()
{
    qDebug() << "[SettingsManager]:"
             << "filesPath: " << m_filesPath;
    makeDirOrComplain(m_filesPath, "video dir creation failed: ");
    makeDirOrComplain(m_settingsPath, "settings dir creation failed: ");
}

void SettingsManager::writeSetting(QString setting, QVariant value)
{
    qDebug() << "[SettingsManager]:"
             << "writeSetting" << setting << "set to" << value;
    QMutexLocker lock(&m_mutex);
    // The store keeps the value as given.
    if (!storeMember(setting, checkedValue(setting, value)))
        qWarning() << "[SettingsManager]:"
                   << "writeSetting"
                   << "Unknown parameter:" << setting;
    m_settings.setValue(setting, value);
    emit settingChanged(setting, value);
    m_settings.sync();
}

bool SettingsManager::storeMember(const QString& s, const QVariant& v)
{
    if (s == SettingsKey::login) {
        if (assignIfChanged(m_login, v.toString()))
            emit loginChanged(m_login);
    } else if (s == SettingsKey::password)
        m_password = v.toString();
    else if (s == SettingsKey::salt)
        m_salt = v.toString();
    else if (s == SettingsKey::is_authenticated_user) {
        if (assignIfChanged(m_isAuthenticatedUser, v.toBool()))
            emit isAuthenticatedUserChanged(m_isAuthenticatedUser);
    } else if (s == SettingsKey::settings_path)
        m_settingsPath = v.toString();
    else if (s == SettingsKey::files_path)
        m_filesPath = v.toString();
    else if (s == SettingsKey::isVideoQualityNeverSet)
        m_isVideoQualityNeverSet = v.toBool();
    else if (s == SettingsKey::FVNewVersionPolicy)
        m_fvNewVersionPolicy = v.toString();
    else if (s == SettingsKey::startstop_hotkey)
        m_startstopHotkey = v.toString();
    else if (s == SettingsKey::startstop_nativeKey)
        m_startstopNativeKey = v.toUInt();
    else if (s == SettingsKey::startstop_nativeModifier)
        m_startstopNativeModifier = v.toUInt();
    else if (s == SettingsKey::proxy_server) {
        if (assignIfChanged(m_proxyServer, v.toBool()))
            emit enableProxyChanged(m_proxyServer);
    } else if (s == SettingsKey::proxy_type) {
        if (assignIfChanged(m_proxyType, v.toInt()))
            emit currentProxyChanged(currentProxy());
    } else if (s == SettingsKey::proxy_host) {
        if (assignIfChanged(m_proxyHost, v.toString()))
            emit serverChanged(m_proxyHost);
    } else if (s == SettingsKey::proxy_port) {
        if (assignIfChanged(m_proxyPort, v.toString()))
            emit portChanged(m_proxyPort);
    } else if (s == SettingsKey::proxy_login) {
        if (assignIfChanged(m_proxyLogin, v.toString()))
            emit nameChanged(m_proxyLogin);
    } else if (s == SettingsKey::proxy_pwd) {
        if (assignIfChanged(m_proxyPwd, v.toString()))
            emit pasChanged(m_proxyPwd);
    } else if (s == SettingsKey::proxy_verification_status) {
        if (assignIfChanged(m_proxyVerificationStatus, v.toInt()))
            emit proxyVerificationStatusChanged(proxyVerificationStatus());
    } else if (s == SettingsKey::auto_upload) {
        if (assignIfChanged(m_autoUpload, v.toBool()))
            emit autoUploadChanged(m_autoUpload);
    } else if (s == SettingsKey::instant_share_disabled_manually)
        m_instantShareDisabledManually = v.toBool();
    else if (s == SettingsKey::mouse_highlight_disabled_manually)
        m_mouseHighlightDisabledManually = v.toBool();
    else if (s == SettingsKey::mouse_highlight) {
        if (assignIfChanged(m_mouseHighlight, v.toBool()))
            emit mouseHighlightChanged(m_mouseHighlight);
    } else if (s == SettingsKey::mute_audio) {
        if (assignIfChanged(m_muteAudio, v.toBool()))
            emit muteAudioChanged(m_muteAudio);
    } else if (s == SettingsKey::mute_camera) {
        if (assignIfChanged(m_muteCamera, v.toBool()))
            emit muteCameraChanged(m_muteCamera);
    } else if (s == SettingsKey::audiodev)
        m_audiodev = v.toString();
    else if (s == SettingsKey::cameradev)
        m_cameradev = v.toString();
    else if (s == SettingsKey::disable_sys)
        m_disableSys = v.toBool();
    else if (s == SettingsKey::save_path)
        m_savePath = v.toString();
    else if (s == SettingsKey::audio_level)
        m_audioLevel = v.toInt();
    // The store keeps booleans as "true"/"false" text, which toInt() would read as 0;
    // toBool() gives (value != 0) for numbers and keeps the text form working.
    else if (s == SettingsKey::interp_time)
        m_interpTime = v.toBool();
    else if (s == SettingsKey::system_sounds) {
        if (assignIfChanged(m_systemSounds, v.toBool()))
            emit systemSoundsChanged(m_systemSounds);
    } else if (s == SettingsKey::is_first_start)
        m_isFirstStart = v.toBool();
    else if (s == SettingsKey::recording_4k_fails)
        m_recording4kFails = v.toBool();
    else if (s == SettingsKey::bubble_pos)
        m_bubblePos = v.toPoint();
    else if (s == SettingsKey::bubble_horizontal)
        m_bubbleHorizontal = v.toBool();
    else if (s == SettingsKey::bubble_pin)
        m_bubblePin = v.toBool();
    else if (s == SettingsKey::bubble_side)
        m_bubbleSide = v.toInt();
    else if (s == SettingsKey::bubble_ishstuck)
        m_bubbleIshstuck = v.toBool();
    else if (s == SettingsKey::bubble_isvstuck)
        m_bubbleIsvstuck = v.toBool();
    else if (s == SettingsKey::camera_size_percentage)
        m_cameraSizePercentage = v.toDouble();
    else if (s == SettingsKey::camera_fullframe)
        m_cameraFullframe = v.toInt();
    else if (s == SettingsKey::camera_relative_pos_x)
        m_cameraRelativePosX = v.toDouble();
    else if (s == SettingsKey::camera_relative_pos_y)
        m_cameraRelativePosY = v.toDouble();
    else if (s == SettingsKey::camera_corner_x)
        m_cameraCornerX = v.toInt();
    else if (s == SettingsKey::camera_corner_y)
        m_cameraCornerY = v.toInt();
    else if (s == SettingsKey::recording_quality) {
        if (assignIfChanged(m_recordingQuality, v.toInt()))
            emit qualityChanged(quality());
    }
    // The driver type lives in the store only; its member is deliberately left alone.
    else if (s == SettingsKey::blackhole_driver_type) {
    } else
        return false;
    return true;
}

bool SettingsManager::loadMember(const QString& s, QVariant& v)
{
    if (s == SettingsKey::login)
        v = m_login;
    else if (s == SettingsKey::password)
        v = m_password;
    else if (s == SettingsKey::salt)
        v = m_salt;
    else if (s == SettingsKey::is_authenticated_user)
        v = m_isAuthenticatedUser;
    else if (s == SettingsKey::settings_path)
        v = m_settingsPath;
    else if (s == SettingsKey::files_path)
        v = m_filesPath;
    else if (s == SettingsKey::isVideoQualityNeverSet)
        v = m_isVideoQualityNeverSet;
    else if (s == SettingsKey::FVNewVersionPolicy)
        v = m_fvNewVersionPolicy;
    else if (s == SettingsKey::startstop_hotkey)
        v = m_startstopHotkey;
    else if (s == SettingsKey::startstop_nativeKey)
        v = m_startstopNativeKey;
    else if (s == SettingsKey::startstop_nativeModifier)
        v = m_startstopNativeModifier;
    else if (s == SettingsKey::proxy_server)
        v = m_proxyServer;
    else if (s == SettingsKey::proxy_type)
        v = m_proxyType;
    else if (s == SettingsKey::proxy_host)
        v = m_proxyHost;
    else if (s == SettingsKey::proxy_port)
        v = m_proxyPort;
    else if (s == SettingsKey::proxy_login)
        v = m_proxyLogin;
    else if (s == SettingsKey::proxy_pwd)
        v = m_proxyPwd;
    else if (s == SettingsKey::proxy_verification_status)
        v = m_proxyVerificationStatus;
    else if (s == SettingsKey::auto_upload)
        v = m_autoUpload;
    else if (s == SettingsKey::instant_share_disabled_manually)
        v = m_instantShareDisabledManually;
    else if (s == SettingsKey::mouse_highlight_disabled_manually)
        v = m_mouseHighlightDisabledManually;
    else if (s == SettingsKey::mouse_highlight)
        v = m_mouseHighlight;
    else if (s == SettingsKey::mute_audio)
        v = m_muteAudio;
    else if (s == SettingsKey::mute_camera)
        v = m_muteCamera;
    else if (s == SettingsKey::audiodev)
        v = m_audiodev;
    else if (s == SettingsKey::cameradev)
        v = m_cameradev;
    else if (s == SettingsKey::disable_sys)
        v = m_disableSys;
    else if (s == SettingsKey::save_path)
        v = m_savePath;
    else if (s == SettingsKey::audio_level)
        v = m_audioLevel;
    else if (s == SettingsKey::interp_time)
        v = m_interpTime;
    else if (s == SettingsKey::system_sounds)
        v = m_systemSounds;
    else if (s == SettingsKey::is_first_start)
        v = m_isFirstStart;
    else if (s == SettingsKey::recording_4k_fails)
        v = m_recording4kFails;
    else if (s == SettingsKey::bubble_pos)
        v = m_bubblePos;
    else if (s == SettingsKey::bubble_horizontal)
        v = m_bubbleHorizontal;
    else if (s == SettingsKey::bubble_pin)
        v = m_bubblePin;
    else if (s == SettingsKey::bubble_side)
        v = m_bubbleSide;
    else if (s == SettingsKey::bubble_ishstuck)
        v = m_bubbleIshstuck;
    else if (s == SettingsKey::bubble_isvstuck)
        v = m_bubbleIsvstuck;
    else if (s == SettingsKey::camera_size_percentage)
        v = m_cameraSizePercentage;
    else if (s == SettingsKey::camera_fullframe)
        v = m_cameraFullframe;
    else if (s == SettingsKey::camera_relative_pos_x)
        v = m_cameraRelativePosX;
    else if (s == SettingsKey::camera_relative_pos_y)
        v = m_cameraRelativePosY;
    else if (s == SettingsKey::camera_corner_x)
        v = m_cameraCornerX;
    else if (s == SettingsKey::camera_corner_y)
        v = m_cameraCornerY;
    else if (s == SettingsKey::recording_quality)
        v = m_recordingQuality;
    else if (s == SettingsKey::blackhole_driver_type)
        v = m_blackholeDriverType;
    else
        return false;
    return true;
}

QVariant SettingsManager::readSetting(QString setting)
{
    QMutexLocker lock(&m_mutex);
    QVariant value;
    // Anything once written under an unknown key stays readable from the store.
    if (!loadMember(setting, value))
        value = m_settings.value(setting);
    return value;
}

bool SettingsManager::readSettingBool(QString setting)
{
    return readSetting(setting).toBool();
}
QString SettingsManager::readSettingStr(QString setting)
{
    return readSetting(setting).toString();
}
int SettingsManager::readSettingInt(QString setting)
{
    return readSetting(setting).toInt();
}
double SettingsManager::readSettingDouble(QString setting)
{
    return readSetting(setting).toDouble();
}
QPoint SettingsManager::readSettingPoint(QString setting)
{
    return readSetting(setting).toPoint();
}

QString SettingsManager::login()
{
    QMutexLocker lock(&m_mutex);
    return m_login;
}
bool SettingsManager::isAuthenticatedUser()
{
    QMutexLocker lock(&m_mutex);
    return m_isAuthenticatedUser;
}
bool SettingsManager::enableProxy()
{
    QMutexLocker lock(&m_mutex);
    return m_proxyServer;
}
int SettingsManager::currentProxy()
{
    QMutexLocker lock(&m_mutex);
    return shownClamped(SettingsKey::proxy_type, m_proxyType);
}
QString SettingsManager::server()
{
    QMutexLocker lock(&m_mutex);
    return m_proxyHost;
}
QString SettingsManager::port()
{
    QMutexLocker lock(&m_mutex);
    return m_proxyPort;
}
QString SettingsManager::name()
{
    QMutexLocker lock(&m_mutex);
    return m_proxyLogin;
}
QString SettingsManager::pas()
{
    QMutexLocker lock(&m_mutex);
    return m_proxyPwd;
}
bool SettingsManager::autoUpload()
{
    QMutexLocker lock(&m_mutex);
    return m_autoUpload;
}
bool SettingsManager::mouseHighlight()
{
    QMutexLocker lock(&m_mutex);
    return m_mouseHighlight;
}
bool SettingsManager::muteAudio()
{
    QMutexLocker lock(&m_mutex);
    return m_muteAudio;
}
bool SettingsManager::muteCamera()
{
    QMutexLocker lock(&m_mutex);
    return m_muteCamera;
}
bool SettingsManager::systemSounds()
{
    QMutexLocker lock(&m_mutex);
    return m_systemSounds;
}
QString SettingsManager::blackHoleDriverType()
{
    QMutexLocker lock(&m_mutex);
    return m_blackholeDriverType;
}

Common::ProxyVerificationStatus SettingsManager::proxyVerificationStatus()
{
    QMutexLocker lock(&m_mutex);
    return Common::ProxyVerificationStatus(
        shownClamped(SettingsKey::proxy_verification_status, m_proxyVerificationStatus));
}

Common::RecordingQuality SettingsManager::quality()
{
    QMutexLocker lock(&m_mutex);
    return Common::RecordingQuality(shownClamped(SettingsKey::recording_quality, m_recordingQuality));
}

void SettingsManager::setLogin(const QString& login)
{
    writeSetting(SettingsKey::login, login);
}
void SettingsManager::setEnableProxy(bool enable)
{
    writeSetting(SettingsKey::proxy_server, enable);
}
void SettingsManager::setCurrentProxy(int index)
{
    writeSetting(SettingsKey::proxy_type, index);
}
void SettingsManager::setServer(const QString& server)
{
    writeSetting(SettingsKey::proxy_host, server);
}
void SettingsManager::setPort(const QString& port)
{
    writeSetting(SettingsKey::proxy_port, port);
}
void SettingsManager::setName(const QString& name)
{
    writeSetting(SettingsKey::proxy_login, name);
}
void SettingsManager::setPas(const QString& pas)
{
    writeSetting(SettingsKey::proxy_pwd, pas);
}
void SettingsManager::setAutoUpload(bool enable)
{
    writeSetting(SettingsKey::auto_upload, enable);
}
void SettingsManager::setMuteAudio(bool enable)
{
    writeSetting(SettingsKey::mute_audio, enable);
}
void SettingsManager::setMuteCamera(bool enable)
{
    writeSetting(SettingsKey::mute_camera, enable);
}
void SettingsManager::setSystemSounds(bool enable)
{
    writeSetting(SettingsKey::system_sounds, enable);
}
void SettingsManager::setMouseHighlight(bool enable)
{
    writeSetting(SettingsKey::mouse_highlight, enable);
}
void SettingsManager::setBlackHoleDriverType(const QString& driverType)
{
    writeSetting(SettingsKey::blackhole_driver_type, driverType);
}

// Enumerations go to the store as plain numbers so that the file stays readable.
void SettingsManager::setProxyVerificationStatus(Common::ProxyVerificationStatus status)
{
    writeSetting(SettingsKey::proxy_verification_status, int(status));
}

void SettingsManager::setQuality(Common::RecordingQuality quality)
{
    QMutexLocker lock(&m_mutex);
    writeSetting(SettingsKey::recording_quality, int(quality));
    // The first explicit choice ends the "never set" state.
    if (m_isVideoQualityNeverSet)
        writeSetting(SettingsKey::isVideoQualityNeverSet, false);
}
