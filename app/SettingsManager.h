#pragma once

#include "CommonTypes.h"
#include "ISettingsReader.h"
#include "ISettingsWriter.h"

#include <QObject>
#include <QPoint>
#include <QRecursiveMutex>
#include <QSettings>
#include <QString>
#include <QVariant>

// The one home of the program's configuration. Every known key has a typed
// member; each change is mirrored to the settings store at once. Native code
// reaches it through ISettingsReader/ISettingsWriter, QML through the
// properties and the invokable read/write calls. Process-wide, thread-safe.
class SettingsManager : public QObject, public ISettingsReader, public ISettingsWriter
{
    Q_OBJECT
    Q_PROPERTY(QString login READ login WRITE setLogin NOTIFY loginChanged)
    Q_PROPERTY(bool is_authenticated_user READ isAuthenticatedUser NOTIFY isAuthenticatedUserChanged)
    Q_PROPERTY(bool enableProxy READ enableProxy WRITE setEnableProxy NOTIFY enableProxyChanged)
    Q_PROPERTY(int currentProxy READ currentProxy WRITE setCurrentProxy NOTIFY currentProxyChanged)
    Q_PROPERTY(QString server READ server WRITE setServer NOTIFY serverChanged)
    Q_PROPERTY(QString port READ port WRITE setPort NOTIFY portChanged)
    Q_PROPERTY(QString name READ name WRITE setName NOTIFY nameChanged)
    Q_PROPERTY(QString pas READ pas WRITE setPas NOTIFY pasChanged)
    Q_PROPERTY(Common::ProxyVerificationStatus proxyVerificationStatus READ proxyVerificationStatus WRITE
                   setProxyVerificationStatus NOTIFY proxyVerificationStatusChanged)
    Q_PROPERTY(bool auto_upload READ autoUpload WRITE setAutoUpload NOTIFY autoUploadChanged)
    Q_PROPERTY(bool mouse_highlight READ mouseHighlight WRITE setMouseHighlight NOTIFY mouseHighlightChanged)
    Q_PROPERTY(bool muteAudio READ muteAudio WRITE setMuteAudio NOTIFY muteAudioChanged)
    Q_PROPERTY(bool muteCamera READ muteCamera WRITE setMuteCamera NOTIFY muteCameraChanged)
    Q_PROPERTY(bool systemSounds READ systemSounds WRITE setSystemSounds NOTIFY systemSoundsChanged)
    Q_PROPERTY(Common::RecordingQuality quality READ quality WRITE setQuality NOTIFY qualityChanged)
    Q_PROPERTY(QString blackHoleDriverType READ blackHoleDriverType WRITE setBlackHoleDriverType NOTIFY
                   blackHoleDriverTypeChanged)

public:
    static SettingsManager* instance();

    Q_INVOKABLE bool readSettingBool(QString setting) override;
    Q_INVOKABLE QString readSettingStr(QString setting) override;
    Q_INVOKABLE int readSettingInt(QString setting) override;
    Q_INVOKABLE double readSettingDouble(QString setting) override;
    Q_INVOKABLE QVariant readSetting(QString setting) override;
    Q_INVOKABLE QPoint readSettingPoint(QString setting) override;
    Q_INVOKABLE void writeSetting(QString setting, QVariant value) override;

    QString login();
    bool isAuthenticatedUser();
    bool enableProxy();
    int currentProxy();
    QString server();
    QString port();
    QString name();
    QString pas();
    Common::ProxyVerificationStatus proxyVerificationStatus();
    bool autoUpload();
    bool mouseHighlight();
    bool muteAudio();
    bool muteCamera();
    bool systemSounds();
    Common::RecordingQuality quality();
    QString blackHoleDriverType();

public slots:
    void setLogin(const QString& login);
    void setEnableProxy(bool enable);
    void setCurrentProxy(int index);
    void setServer(const QString& server);
    void setPort(const QString& port);
    void setName(const QString& name);
    void setPas(const QString& pas);
    void setProxyVerificationStatus(Common::ProxyVerificationStatus status);
    void setAutoUpload(bool enable);
    void setMuteAudio(bool enable);
    void setMuteCamera(bool enable);
    void setSystemSounds(bool enable);
    void setQuality(Common::RecordingQuality quality);
    void setMouseHighlight(bool enable);
    void setBlackHoleDriverType(const QString& driverType);

signals:
    void loginChanged(QString login);
    void isAuthenticatedUserChanged(bool isAuthenticated);
    void enableProxyChanged(bool enable);
    void currentProxyChanged(int index);
    void serverChanged(QString server);
    void portChanged(QString port);
    void nameChanged(QString name);
    void pasChanged(QString pas);
    void proxyVerificationStatusChanged(Common::ProxyVerificationStatus status);
    void autoUploadChanged(bool enable);
    void mouseHighlightChanged(bool enable);
    void muteAudioChanged(bool enable);
    void muteCameraChanged(bool enable);
    void systemSoundsChanged(bool enable);
    void qualityChanged(Common::RecordingQuality quality);
    void blackHoleDriverTypeChanged(QString driverType);
    void settingChanged(QString setting, QVariant value);

private:
    SettingsManager();
    void initialize();
    void createDirsIfNeeded();
    // Returns true when the key is one of the table; stores the value in its member.
    bool storeMember(const QString& setting, const QVariant& value);
    bool loadMember(const QString& setting, QVariant& value);

    QRecursiveMutex m_mutex;
    QSettings m_settings;

    QString m_login;
    QString m_password;
    QString m_salt;
    bool m_isAuthenticatedUser = false;
    QString m_settingsPath;
    QString m_filesPath;
    bool m_isVideoQualityNeverSet = true;
    QString m_fvNewVersionPolicy;
    QString m_startstopHotkey;
    uint m_startstopNativeKey = 0;
    uint m_startstopNativeModifier = 0;
    bool m_proxyServer = false;
    int m_proxyType = 0;
    QString m_proxyHost;
    QString m_proxyPort;
    QString m_proxyLogin;
    QString m_proxyPwd;
    int m_proxyVerificationStatus = Common::Untested;
    bool m_autoUpload = false;
    bool m_instantShareDisabledManually = false;
    bool m_mouseHighlightDisabledManually = false;
    bool m_mouseHighlight = false;
    bool m_muteAudio = false;
    bool m_muteCamera = false;
    QString m_audiodev;
    QString m_cameradev;
    bool m_disableSys = false;
    QString m_savePath;
    int m_audioLevel = 239;
    bool m_interpTime = true;
    bool m_systemSounds = false;
    bool m_isFirstStart = true;
    bool m_recording4kFails = false;
    QPoint m_bubblePos;
    bool m_bubbleHorizontal = false;
    bool m_bubblePin = true;
    int m_bubbleSide = 0;
    bool m_bubbleIshstuck = false;
    bool m_bubbleIsvstuck = false;
    double m_cameraSizePercentage = 20;
    int m_cameraFullframe = 0;
    double m_cameraRelativePosX = 0;
    double m_cameraRelativePosY = 0;
    int m_cameraCornerX = 0;
    int m_cameraCornerY = 0;
    int m_recordingQuality = Common::RECORDING_QUALITY_SD;
    QString m_blackholeDriverType;
};
