#include "UIController.h"

#include "ApiCalls.h"
#include "AppController.h"
#include "DimensionsBase.h"
#include "Endpoints.h"
#include "KeySequence.h"
#include "KeyboardSwitcher.h"
#include "QmlEngine.h"
#include "RegionSelect.h"
#include "ScreenshotImageProvider.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"
#include "WindowMasks.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDateTime>
#include <QDebug>
#include <QGuiApplication>
#include <QProcess>
#include <QQmlContext>
#include <QScreen>
#include <QStandardPaths>
#include <QWindow>

namespace {
QString appLocalData()
{
    const QStringList locations = QStandardPaths::standardLocations(QStandardPaths::AppLocalDataLocation);
    return locations.isEmpty() ? QString() : locations.first();
}
} // namespace

UIController::UIController(AppController* appController, QObject* parent)
    : UIControllerSignals(parent)
    , m_appController(appController)
{
    m_proxysModel << QStringLiteral("Default") << QStringLiteral("Socks5") << QStringLiteral("HTTP")
                  << QStringLiteral("Cache HTTP");
    emit proxysModelChanged();
    // A screen that comes or goes moves every screen's index: open overlays close.
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this] { screensChanged(); });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, [this] { screensChanged(); });
    connect(this, &UIControllerSignals::hideScreenDialogSignal, this, &UIController::closeSelectionWithoutScene);
    qmlApplicationEngineInit();
}

UIController::~UIController()
{
    // The overlays go first: they call back into this object while they close.
    m_regionSelects.clear();
    m_engine.reset();
}

void UIController::qmlApplicationEngineInit()
{
    if (m_engine) {
        m_engine.reset();
        m_imageProvider = nullptr;
    }
    m_engine.reset(new QmlEngine());
    m_engine->addImportPath(QStringLiteral("qrc:/qml"));
    m_engine->addImportPath(QStringLiteral("qrc:/qml/Common"));
    QQmlContext* context = m_engine->rootContext();
    context->setContextProperty(QStringLiteral("uiController"), this);
    context->setContextProperty(QStringLiteral("appController"), m_appController);
    context->setContextProperty(QStringLiteral("settingsManager"), SettingsManager::instance());
    context->setContextProperty(QStringLiteral("keysequence"), new KeySequence(m_engine.data()));
    context->setContextProperty(QStringLiteral("keyboardswitcher"), new KeyboardSwitcher(m_engine.data()));
    context->setContextProperty(QStringLiteral("process"), new QProcess(m_engine.data()));
    context->setContextProperty(QStringLiteral("Dimensions"), new DimensionsBase(m_engine.data()));
    context->setContextProperty(QStringLiteral("apibridge"),
                                m_appController ? m_appController->apiCalls.data() : nullptr);
    m_imageProvider = new ScreenshotImageProvider();
    m_engine->addImageProvider(QStringLiteral("screenshot"), m_imageProvider);
    context->setContextProperty(QStringLiteral("applicationDirPath"), QCoreApplication::applicationDirPath());
}

void UIController::loadMainUI()
{
    m_engine->load(QUrl(QStringLiteral("qrc:/qml/main.qml")));
    if (m_engine->rootObjects().isEmpty())
        qWarning() << "[UIC]:"
                   << "Error load main.qml";
}

// ---- properties ------------------------------------------------------------

void UIController::setXmlMessage(QString xmlMessage)
{
    qDebug() << "[UIC]:"
             << "setXmlMessage";
    // The service writes the snippet for the names of an older interface.
    xmlMessage.replace(QStringLiteral("skinsController"), QStringLiteral("uiController"));
    xmlMessage.remove(QStringLiteral("family: interMedium.name"));
    xmlMessage.replace(QStringLiteral("import Common.Singletons 1.0"), QStringLiteral("import Singletons 1.0"));
    if (xmlMessage == m_xmlMessage)
        return;
    m_xmlMessage = xmlMessage;
    emit xmlMessageChanged();
}

void UIController::setWebcamsModel(QStringList cams)
{
    qDebug() << "[UIC]:"
             << "setWebcamsModel";
    if (cams == m_webcamsModel)
        return;
    m_webcamsModel = cams;
    emit webcamsModelChanged();
}

void UIController::setCurrentWebcam(int index)
{
    qDebug() << "[UIC]:"
             << "setCurrentWebcam";
    if (index == m_currentWebcam)
        return;
    m_currentWebcam = index;
    emit currentWebcamChanged();
}

void UIController::setLoginState(int state)
{
    if (state < LOGIN || state > OFFLINE) {
        qWarning() << "[UIC]:"
                   << "setLoginState"
                   << "unknown state" << state << "ignored";
        return;
    }
    setLoginState(LoginState(state));
}

void UIController::setLoginState(UIController::LoginState state)
{
    qDebug() << "[UIC]:"
             << "setLoginState";
    // Emitted on every call: the sign-in panel reloads on each report.
    m_loginState = state;
    emit loginStateChanged();
}

void UIController::setQuality4KVisible(bool visible)
{
    qDebug() << "[UIC]:"
             << "setQuality4KVisible";
    if (visible == m_quality4KVisible)
        return;
    m_quality4KVisible = visible;
    emit quality4KVisibleChanged();
}

void UIController::setEnableUpdateApp(bool enable)
{
    qDebug() << "[UIC]:"
             << "setEnableUpdateApp";
    if (enable == m_enableUpdateApp)
        return;
    m_enableUpdateApp = enable;
    emit enableUpdateAppChanged();
}

void UIController::setDwmIsCompositionEnabled(bool enabled)
{
    qDebug() << "[UIC]:"
             << "setDwmIsCompositionEnabled";
    if (enabled == m_dwmIsCompositionEnabled)
        return;
    m_dwmIsCompositionEnabled = enabled;
    emit dwmIsCompositionEnabledChanged();
}

void UIController::setUpdateAppStatus(InterfacePort::UpdateAppStatus status)
{
    qDebug() << "[UIC]:"
             << "setUpdateAppStatus";
    if (status == m_updateAppStatus)
        return;
    m_updateAppStatus = status;
    emit updateAppStatusChanged();
}

void UIController::setVersion(QString version)
{
    qDebug() << "[UIC]:"
             << "setVersion";
    if (version == m_version)
        return;
    m_version = version;
    emit versionChanged();
}

void UIController::setRecTime(QString time)
{
    qDebug() << "[UIC]:"
             << "setRecTime";
    if (time == m_recTime)
        return;
    m_recTime = time;
    emit recTimeChanged();
}

void UIController::setShortRecTime(QString time)
{
    qDebug() << "[UIC]:"
             << "setShortRecTime";
    if (time == m_shortRecTime)
        return;
    m_shortRecTime = time;
    emit shortRecTimeChanged();
}

void UIController::updateVolumeTiming(qlonglong t, double v)
{
    if (t == m_lastShownSecond)
        return;
    if (t < 0) {
        qWarning() << "[UIC]:"
                   << "updateVolumeTiming"
                   << "negative time" << t << "ignored";
        return;
    }
    // The day field is the calendar day, so one whole day shows as day 2.
    const QDateTime time = QDateTime::fromSecsSinceEpoch(t, Qt::UTC);
    if (t < 3600) {
        setRecTime(time.toString(QStringLiteral("mm:ss")));
        setShortRecTime(time.toString(QStringLiteral("mm:ss")));
    } else if (t < 86400) {
        setRecTime(time.toString(QStringLiteral("hh:mm:ss")));
        setShortRecTime(time.toString(QStringLiteral("hh:mm")));
    } else {
        setRecTime(time.toString(QStringLiteral("d:hh:mm:ss")));
        setShortRecTime(time.toString(QStringLiteral("d:hh")));
    }
    m_lastShownSecond = t;
}

bool UIController::showVideoRecordingDialogSignal(int x, int y, int width, int height, int screenIndex)
{
    // The encoder takes even sizes only: an odd pixel is left out here already.
    if (width % 2 != 0 || height % 2 != 0) {
        qDebug() << "[UIC]:"
                 << "odd recording size" << width << "x" << height << "made even";
        width -= width % 2;
        height -= height % 2;
    }
    emit UIControllerSignals::showVideoRecordingDialogSignal(x, y, width, height, screenIndex);
    return true;
}

// ---- helpers for QML -------------------------------------------------------

QPoint UIController::cursorPos() const
{
    return QCursor::pos();
}

QString UIController::contactUrl() const
{
    return Endpoints::contactUrl();
}

QString UIController::getImagePath() const
{
    return appLocalData() + QStringLiteral("/Records/screenshot.png");
}

QString UIController::getAppPath() const
{
    return appLocalData() + QStringLiteral("/Records/");
}

double UIController::camera_size_percentage() const
{
    const double stored = SettingsManager::instance()->readSettingDouble(SettingsKey::camera_size_percentage);
    return qBound(5.0, stored, 100.0);
}

void UIController::setOverrideCursor()
{
    QGuiApplication::setOverrideCursor(QCursor(Qt::BlankCursor));
}

void UIController::restoreOverrideCursor()
{
    QGuiApplication::restoreOverrideCursor();
}

void UIController::copyBlackHoleDriverToDisk()
{
    qDebug() << "[UIC]:"
             << "BlackHole not supported on this platform";
}

void UIController::installBlackHole2ch()
{
    qDebug() << "[UIC]:"
             << "BlackHole not supported on this platform";
}

// ---- window masks ----------------------------------------------------------

QWindow* UIController::windowOf(QObject* object, const char* caller)
{
    if (!object)
        return nullptr;
    auto* window = qobject_cast<QWindow*>(object);
    if (!window)
        qWarning() << "[UIC]:" << caller << "not a window:" << object;
    return window;
}

void UIController::setDialogMask(QObject* windowDialog, int radius)
{
    if (QWindow* window = windowOf(windowDialog, "setDialogMask"))
        window->setMask(WindowMasks::roundedRect(window->geometry().size(), radius));
}

void UIController::setImgEditorDialogMask(QObject* windowDialog, int radius, int x, int y, int w, int h)
{
    if (QWindow* window = windowOf(windowDialog, "setImgEditorDialogMask"))
        window->setMask(WindowMasks::imageEditor(window->geometry().size(), radius, QRect(x, y, w, h)));
}

void UIController::setRecordingFrameMask(QObject* window, int lineWidth)
{
    // Without a compositor an ARGB window is drawn opaque: the transparent
    // middle of the red frame would cover the recorded area in black. The
    // mask leaves only the frame's edge on screen.
    if (QWindow* frame = windowOf(window, "setRecordingFrameMask"))
        frame->setMask(WindowMasks::ring(frame->geometry().size(), lineWidth));
}

void UIController::clearMaskRecordingRectangle()
{
    const QList<QObject*> roots = m_engine ? m_engine->rootObjects() : QList<QObject*>();
    if (roots.isEmpty()) {
        qWarning() << "[UIC]: Error load main.qml";
        return;
    }
    for (QObject* root : roots) {
        if (root->objectName() != QLatin1String("rootObj"))
            continue;
        auto* dialog = root->findChild<QObject*>(QStringLiteral("videoRecordingDialog"));
        if (!dialog) // a window declared as a property value of the scene
            dialog = root->property("videoRecordingDialog").value<QObject*>();
        if (auto* window = qobject_cast<QWindow*>(dialog))
            window->setMask(QRegion());
    }
}
