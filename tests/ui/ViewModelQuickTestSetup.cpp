#include "ViewModelQuickTestSetup.h"

#include "SettingsManager.h"
#include "ViewModelRegistration.h"

#include <QFile>
#include <QQmlContext>
#include <QQmlEngine>

ViewModelQuickTestSetup::ViewModelQuickTestSetup()
{
    // Runs before the application object exists, so the platform is still open.
    const QString config = m_dir.filePath("screens.json");
    QFile file(config);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(R"({"screens": [
            {"name": "left", "x": 0, "y": 0, "width": 1280, "height": 720, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1},
            {"name": "right", "x": 1280, "y": 0, "width": 1024, "height": 768, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}
        ]})");
        file.close();
    }
    qputenv("QT_QPA_PLATFORM", ("offscreen:configfile=" + config).toUtf8());
}

void ViewModelQuickTestSetup::applicationAvailable()
{
    registerViewModelTypes();
}

void ViewModelQuickTestSetup::qmlEngineAvailable(QQmlEngine* engine)
{
    engine->rootContext()->setContextProperty("settingsManager", SettingsManager::instance());
}
