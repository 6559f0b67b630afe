#include "InterfaceRegistration.h"

#include "DimensionsBase.h"
#include "UIController.h"

#include <QDebug>
#include <QtQml>

void registerInterfaceTypes()
{
    int id = qmlRegisterType<DimensionsBase>("DimensionsBase.Internals", 1, 0, "DimensionsBase");
    qDebug() << "qmlRegisterType<DimensionsBase>: " << id;

    // UIController.LOGIN ...; the object itself is the context property uiController.
    id = qmlRegisterUncreatableType<UIController>("UIController", 1, 0, "UIController", "Error: Only enums");
    qDebug() << "qmlRegisterUncreatableType<UIController>: " << id;
    // UpdateAppStatus.NewVersionAvaliable ...: the values of uiController.updateAppStatus.
    id = qmlRegisterUncreatableMetaObject(InterfacePort::staticMetaObject, "UIController", 1, 0, "UpdateAppStatus",
                                          "Error: Only enums");
    qDebug() << "qmlRegisterUncreatableMetaObject<UpdateAppStatus>: " << id;
}
