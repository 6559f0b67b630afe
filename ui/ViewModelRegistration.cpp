#include "ViewModelRegistration.h"

#include "FlyingViewModel.h"
#include "HelpToolTipViewModel.h"
#include "VideoViewModel.h"
#include "WebCamViewModel.h"

#include <QDebug>
#include <QtQml>

void registerViewModelTypes()
{
    int id = qmlRegisterType<ViewModel::Video>("ViewModel", 1, 0, "VideoViewModel");
    qDebug() << "qmlRegisterType<ViewModel::Video>:" << id;
    id = qmlRegisterType<ViewModel::Flying>("ViewModel", 1, 0, "FlyingViewModel");
    qDebug() << "qmlRegisterType<ViewModel::Flying>:" << id;
    id = qmlRegisterType<ViewModel::HelpToolTip>("ViewModel", 1, 0, "HelpToolTipViewModel");
    qDebug() << "qmlRegisterType<ViewModel::HelpToolTip>:" << id;
    id = qmlRegisterType<ViewModel::WebCam>("ViewModel", 1, 0, "WebCamViewModel");
    qDebug() << "qmlRegisterType<ViewModel::WebCam>:" << id;
}
