// UIController: the selection overlays, the rectangle they give, and the
// still image cut out of a screen's snapshot.

#include "AppController.h"
#include "RegionSelect.h"
#include "ScreenshotImageProvider.h"
#include "UIController.h"

#include <QDebug>
#include <QDir>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QScreen>

#include <algorithm>
#include <ctime>

void UIController::showScreenDialog(Common::RunState runState, int screenIndex, int x, int y, int width, int height)
{
    qDebug() << "[UIC]:"
             << "showScreenDialog" << runState;
    const QList<QScreen*> screens = QGuiApplication::screens();
    QScreen* screen = screenIndex >= 0 && screenIndex < screens.size() ? screens[screenIndex] : nullptr;
    if (m_regionSelects.contains(screenIndex)) {
        const QSharedPointer<RegionSelect>& overlay = m_regionSelects[screenIndex];
        if (overlay->isVisible()) {
            // A second request while this selection is open (a hot key pressed
            // again): the open pass goes on; a new grab would picture the overlay.
            qDebug() << "[UIC]: RegionSelect already open at index" << screenIndex;
            overlay->raise();
            return;
        }
        qDebug() << "[UIC]: Updating RegionSelect at index" << screenIndex;
        overlay->reopen(runState, x, y, width, height);
        overlay->show();
        overlay->raise();
    } else {
        QSharedPointer<RegionSelect> overlay(
            new RegionSelect(m_appController, this, runState, screenIndex, x, y, width, height));
        overlay->show();
        overlay->raise();
        m_regionSelects.insert(screenIndex, overlay);
        qDebug() << "[UIC]: Added new RegionSelect at index" << screenIndex;
    }
    m_overlayScreens.insert(screenIndex, screen);
}

void UIController::hideScreenDialogs()
{
    qDebug() << "[UIC]:"
             << "Starting to hide dialogs";
    for (const QSharedPointer<RegionSelect>& overlay : std::as_const(m_regionSelects))
        overlay->hideDialog();
    qDebug() << "[UIC]: All dialogs hidden but retained in memory";
}

void UIController::setCurrentScreenIndex(int screenIndex)
{
    qDebug() << "[UIC]:"
             << "setCurrentScreenIndex" << screenIndex;
    emit currentScreenIndexChangedSignal(screenIndex);
}

void UIController::clearScreenshots()
{
    for (const QSharedPointer<RegionSelect>& overlay : std::as_const(m_regionSelects)) {
        if (overlay->isVisible()) {
            qDebug() << "[UIC]: selection open, its screenshots are kept";
            return;
        }
    }
    if (m_imageProvider)
        m_imageProvider->clear();
}

void UIController::screensChanged()
{
    bool anyShown = false;
    for (const QSharedPointer<RegionSelect>& overlay : std::as_const(m_regionSelects)) {
        anyShown = anyShown || overlay->isVisible();
        overlay->hideDialog();
    }
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (auto it = m_regionSelects.begin(); it != m_regionSelects.end();) {
        const int index = it.key();
        const QScreen* madeFor = m_overlayScreens.value(index);
        if (index < screens.size() && madeFor && screens[index] == madeFor) {
            ++it;
            continue;
        }
        qDebug() << "[UIC]: Screens changed, RegionSelect dropped at index" << index;
        m_overlayScreens.remove(index);
        it = m_regionSelects.erase(it);
    }
    clearScreenshots(); // pictures of the old arrangement
    if (anyShown) {
        qDebug() << "[UIC]: Screens changed while selecting, selection closed";
        hideScreenDialogSignal();
    }
}

void UIController::closeSelectionWithoutScene()
{
    if (m_engine && !m_engine->rootObjects().isEmpty())
        return; // main.qml answers the signal
    qDebug() << "[UIC]:"
             << "no scene, selection closed natively";
    if (m_appController) {
        m_appController->setEnabledEscShortKey(false);
        m_appController->setEnabledAltSShortKey(true);
    }
    hideScreenDialogs();
}

bool UIController::checkSelectedVideoRectangle(int width, int height) const
{
    qDebug() << "[UIC]:"
             << "checkSelectedVideoRectangle";
    if (width % 2 != 0) {
        qDebug() << "[UIC]:"
                 << "ERROR!!! width not divisible by 2";
        return false;
    }
    if (height % 2 != 0) {
        qDebug() << "[UIC]:"
                 << "ERROR!!! height not divisible by 2";
        return false;
    }
    return true;
}

void UIController::setSelectedRectangle(int x, int y, int width, int height, int screenIndex)
{
    qDebug() << "[UIC]:"
             << "setSelectedRectangle";
    // The same checks as checkSelectedVideoRectangle, for the log only.
    if (width % 2 != 0)
        qDebug() << "[UIC]:"
                 << "ERROR!!! width not divisible by 2";
    if (height % 2 != 0)
        qDebug() << "[UIC]:"
                 << "ERROR!!! height not divisible by 2";

    m_currentScreenIndex = screenIndex;
    const QImage image = m_imageProvider ? m_imageProvider->snapshot(screenIndex).toImage() : QImage();
    const QList<QScreen*> screens = QGuiApplication::screens();
    const QScreen* screen = screenIndex >= 0 && screenIndex < screens.size() ? screens[screenIndex] : nullptr;
    if (!screen)
        qWarning() << "[UIC]:"
                   << "setSelectedRectangle"
                   << "no screen at index" << screenIndex;
    // Without a snapshot the screen's own ratio stands in for the picture's.
    const double d = !image.isNull() ? image.devicePixelRatio() : screen ? screen->devicePixelRatio() : 1.0;
    const QRect geometry = screen ? screen->geometry() : QRect();
    const double gx = geometry.x();
    const double gy = geometry.y();

    // Only the offset from the screen's origin is scaled; the origin stays logical.
    const double xP = gx + d * (x - gx);
    const double xN = gx - d * (gx - x);
    const double yP = gy + d * (y - gy);
    const double yN = gy - d * (gy - y);
    const int physicalX = int(float(x < 0 ? xN : xP));
    const int physicalY = int(float(y < 0 ? yN : yP));
    m_selectedRectangle = QRect(physicalX, physicalY, int(d * width), int(d * height));

    const QRect virtualGeometry = screen ? screen->virtualGeometry() : QRect();
    qDebug() << "[SC_SR] image.devicePixelRatio:" << image.devicePixelRatio();
    qDebug() << "[SC_SR] image.width:" << image.width();
    qDebug() << "[SC_SR] image.height:" << image.height();
    qDebug() << "[SC_SR] Size Width:" << (screen ? screen->size().width() : 0);
    qDebug() << "[SC_SR] Size Height:" << (screen ? screen->size().height() : 0);
    qDebug() << "[SC_SR] Geometry X:" << geometry.x();
    qDebug() << "[SC_SR] Geometry Y:" << geometry.y();
    qDebug() << "[SC_SR] Geometry Width:" << geometry.width();
    qDebug() << "[SC_SR] Geometry Height:" << geometry.height();
    qDebug() << "[SC_SR] Virtual Size Width:" << (screen ? screen->virtualSize().width() : 0);
    qDebug() << "[SC_SR] Virtual Size Height:" << (screen ? screen->virtualSize().height() : 0);
    qDebug() << "[SC_SR] Virtual Geometry X:" << virtualGeometry.x();
    qDebug() << "[SC_SR] Virtual Geometry Y:" << virtualGeometry.y();
    qDebug() << "[SC_SR] Virtual Geometry Width:" << virtualGeometry.width();
    qDebug() << "[SC_SR] Virtual Geometry Height:" << virtualGeometry.height();
    qDebug() << "[SC_SR] X:" << x;
    qDebug() << "[SC_SR] Y:" << y;
    qDebug() << "[SC_SR] xP:" << xP;
    qDebug() << "[SC_SR] xN:" << xN;
    qDebug() << "[SC_SR] yP:" << yP;
    qDebug() << "[SC_SR] yN:" << yN;
}

void UIController::captureImage(int x, int y, int width, int height, int index)
{
    // The snapshot taken when the selection opened: the picture is what the
    // user saw frozen, not the screen as it is now.
    const QImage snapshot = m_imageProvider ? m_imageProvider->snapshot(index).toImage() : QImage();
    if (snapshot.isNull()) {
        qWarning() << "[UIC]:"
                   << "captureImage"
                   << "no snapshot of screen" << index;
        return;
    }
    const double d = snapshot.devicePixelRatio();
    QImage image = snapshot.copy(int(d * x), int(d * y), int(d * width), int(d * height));

    const QByteArray pattern = m_outputTemplate.toLocal8Bit();
    qDebug() << "[UIC]: out_fname1=" << pattern;
    const QByteArray expanded = AppController::expandTemplate(pattern, time(nullptr));
    qDebug() << "[UIC]: out_fname2=" << expanded;
    QString name = QString::fromLocal8Bit(expanded);
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    name = (dot >= 0 ? name.left(dot) : name) + QStringLiteral(".png");

    image.setText(QStringLiteral("devicePixelRatio"), QString::number(d, 'g', 6));
    showImageEditorDialog(&image, &name, 0);
}

void UIController::showImageEditorDialog(QImage* ImgData, QString* ImgName, uint file_id)
{
    if (!ImgData || !ImgName) {
        qWarning() << "[UIC]:"
                   << "showImageEditorDialog"
                   << "no image";
        return;
    }
    const QString ratioText = ImgData->text(QStringLiteral("devicePixelRatio"));
    const float ratio = ratioText.isEmpty() ? 1.0f : ratioText.toFloat();
    // Every editor reads its picture from this one file when it opens.
    QDir().mkpath(getAppPath());
    if (!ImgData->save(getImagePath()))
        return;
    const int dot = ImgName->lastIndexOf(QLatin1Char('.'));
    const QString baseName = dot >= 0 ? ImgName->left(dot) : *ImgName;
    emit showImageEditorDialogSignal(baseName, std::max(ImgData->width(), 350), std::max(ImgData->height(), 200),
                                     file_id, ratio);
}
