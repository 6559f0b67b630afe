#include "QmlTypes.h"

#include "AppController.h"
#include "CommonRegistration.h"
#include "InterfaceRegistration.h"
#include "SettingsManager.h"
#include "ViewModelRegistration.h"

#include <QDebug>
#include <QQmlEngine>

void registerQmlTypes()
{
    int id = qmlRegisterSingletonInstance<SettingsManager>("SettingsManager", 1, 0, "SettingsManager",
                                                           SettingsManager::instance());
    qDebug() << "qmlRegisterSingletonInstance<SettingsManager>: " << id;

    id = qmlRegisterType<AppController>("AppController", 1, 0, "AppController");
    qDebug() << "qmlRegisterType<AppController>:" << id;

    // QML reads the shared enumerations as Common.Idle, Common.MsgInfo, ...
    registerCommonType();

    registerInterfaceTypes();
    registerViewModelTypes();
}
