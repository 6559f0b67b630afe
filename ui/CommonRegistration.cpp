#include "CommonRegistration.h"

#include "Common.h"

#include <QDebug>
#include <QtQml>

void registerCommonType()
{
    const int id =
        qmlRegisterUncreatableMetaObject(Common::staticMetaObject, "Common", 1, 0, "Common", "Error: Only enums");
    qDebug() << "qmlRegisterUncreatableMetaObject<Common>:" << id;
}
