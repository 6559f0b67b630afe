#include "QmlEngine.h"

#include <QDebug>

QmlEngine::~QmlEngine()
{
    qDebug() << "[UIC]:"
             << "QML engine released";
}
