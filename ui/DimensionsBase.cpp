#include "DimensionsBase.h"

#include <QCoreApplication>
#include <QDebug>
#include <QGuiApplication>
#include <QScreen>

#include <cmath>

namespace {
QScreen* primary()
{
    return QGuiApplication::primaryScreen();
}

QRect screenGeometry(int index)
{
    const QList<QScreen*> screens = QGuiApplication::screens();
    return index >= 0 && index < screens.size() ? screens[index]->geometry() : QRect(0, 0, 0, 0);
}

void logScreen(const QScreen* screen)
{
    qDebug() << "[DimB] manufacturer:" << screen->manufacturer();
    qDebug() << "[DimB] model:" << screen->model();
    qDebug() << "[DimB] name:" << screen->name();
    qDebug() << "[DimB] primaryOrientation:" << screen->primaryOrientation();
    qDebug() << "[DimB] nativeOrientation:" << screen->nativeOrientation();
    qDebug() << "[DimB] orientation:" << screen->orientation();
    qDebug() << "[DimB] devicePixelRatio:" << screen->devicePixelRatio();
    qDebug() << "[DimB] size:" << screen->size();
    qDebug() << "[DimB] availableSize:" << screen->availableSize();
    qDebug() << "[DimB] virtualSize:" << screen->virtualSize();
    qDebug() << "[DimB] physicalSize:" << screen->physicalSize();
    qDebug() << "[DimB] geometry:" << screen->geometry();
    qDebug() << "[DimB] availableGeometry:" << screen->availableGeometry();
    qDebug() << "[DimB] virtualGeometry:" << screen->virtualGeometry();
    qDebug() << "[DimB] logicalDotsPerInch:" << screen->logicalDotsPerInch();
    qDebug() << "[DimB] physicalDotsPerInch:" << screen->physicalDotsPerInch();
}
} // namespace

DimensionsBase::DimensionsBase(QObject* parent)
    : QObject(parent)
{
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (const QScreen* screen : screens)
        logScreen(screen);
    if (const QScreen* screen = primary()) {
        m_availableWidth = screen->availableGeometry().width();
        m_availableHeight = screen->availableGeometry().height();
    }
}

int DimensionsBase::x(int valX) const
{
    return int(std::ceil(valX * m_scale));
}

int DimensionsBase::y(int valY) const
{
    return int(std::ceil(valY * m_scale));
}

int DimensionsBase::getVirtualX() const
{
    return primary() ? primary()->virtualGeometry().x() : 0;
}

int DimensionsBase::getVirtualY() const
{
    return primary() ? primary()->virtualGeometry().y() : 0;
}

int DimensionsBase::getVirtualWidth() const
{
    return primary() ? primary()->virtualGeometry().width() : 0;
}

int DimensionsBase::getVirtualHeight() const
{
    return primary() ? primary()->virtualGeometry().height() : 0;
}

int DimensionsBase::getAvailableX() const
{
    return primary() ? primary()->availableGeometry().x() : 0;
}

int DimensionsBase::getAvailableY() const
{
    return primary() ? primary()->availableGeometry().y() : 0;
}

int DimensionsBase::getAvailableWidth() const
{
    return primary() ? primary()->availableGeometry().width() : 0;
}

int DimensionsBase::getAvailableHeight() const
{
    return primary() ? primary()->availableGeometry().height() : 0;
}

int DimensionsBase::getCurrentScreenHeight(int x, int y) const
{
    const QScreen* screen = QGuiApplication::screenAt(QPoint(x, y));
    return screen ? screen->geometry().height() : 0;
}

int DimensionsBase::getCurrentScreenWidth(int x, int y) const
{
    const QScreen* screen = QGuiApplication::screenAt(QPoint(x, y));
    return screen ? screen->geometry().width() : 0;
}

int DimensionsBase::screensCount() const
{
    return int(QGuiApplication::screens().size());
}

int DimensionsBase::screenGeometryX(int index) const
{
    return screenGeometry(index).x();
}

int DimensionsBase::screenGeometryY(int index) const
{
    return screenGeometry(index).y();
}

int DimensionsBase::screenGeometryWidth(int index) const
{
    return screenGeometry(index).width();
}

int DimensionsBase::screenGeometryHeight(int index) const
{
    return screenGeometry(index).height();
}

QString DimensionsBase::applicationDirPath() const
{
    const QString path = QCoreApplication::applicationDirPath();
    qDebug() << "[DimB] applicationDirPath:" << path;
    return path;
}
