// AppController's recording quality, as the settings window's SD, HD and 4K
// buttons choose it. 4K is checked against the machine once more at the
// click, since an earlier 4K recording may have failed since the start.
#include "AppController.h"

#include "MachineProfile.h"
#include "SettingsManager.h"

#include <QDebug>
#include <QMessageBox>

void AppController::buttonClickedSD()
{
    qDebug() << "[AC]:"
             << "buttonClickedSD";
    SettingsManager::instance()->setQuality(Common::RECORDING_QUALITY_SD);
}

void AppController::buttonClickedHD()
{
    qDebug() << "[AC]:"
             << "buttonClickedHD";
    SettingsManager::instance()->setQuality(Common::RECORDING_QUALITY_HD);
}

void AppController::buttonClicked4K()
{
    qDebug() << "[AC]:"
             << "buttonClicked4K";
    QString reason;
    if (is4KSuitable(reason)) {
        SettingsManager::instance()->setQuality(Common::RECORDING_QUALITY_4K);
        return;
    }
    qDebug() << "[AC]: Display/CPU/RAM is not good for 4K, reason:" << reason;
    SettingsManager::instance()->setQuality(Common::RECORDING_QUALITY_HD);
    port->setQuality4KVisible(false);
    if (!port->present())
        return;
    // Not modal: the settings window stays usable behind the warning.
    auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Can't enable 4K recording"),
                                reason + QStringLiteral("\nUsing HD instead."), QMessageBox::Ok);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->show();
}
