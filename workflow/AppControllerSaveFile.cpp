// Saving a copy of a library file outside the library: remuxed into a plain
// MP4 with its index at the front, or copied byte for byte.
#include "AppController.h"

#include "ISettingsReader.h"
#include "ISettingsWriter.h"
#include "SavedCopy.h"
#include "SettingsKeys.h"

#include <QApplication>
#include <QDebug>
#include <QFileDialog>
#include <QFileInfo>
#include <QProgressDialog>

QString AppController::saveFileWithReformatting(QString filename, QString file_pseudoname, bool reformat)
{
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return {};
    const QString proposal = settings()->readSettingStr(SettingsKey::save_path) + "/" + file_pseudoname + ".mp4";
    const QString target =
        QFileDialog::getSaveFileName(nullptr, QStringLiteral("Save file"), proposal, QStringLiteral("*.mp4"));
    if (target.isEmpty())
        return {};
    qDebug() << "[AC]:"
             << " filename_out=" << target << ", reformat=" << reformat;
    settingsWriter()->writeSetting(SettingsKey::save_path, QFileInfo(target).absolutePath());
    saveFileCopy(settings()->readSettingStr(SettingsKey::files_path) + "/" + filename, target, reformat);
    return target;
}

void AppController::saveFileCopy(const QString& source, const QString& target, bool reformat)
{
    const QString shown = QFileInfo(target).fileName();
    QProgressDialog dialog(QStringLiteral("Saving file %1...").arg(shown), QStringLiteral("Abort"), 0, 100);
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.show();
    SavedCopy copy(source, target, dialog);
    if ((reformat ? copy.remux() : copy.copy()) == SavedCopy::Saved)
        showPopup(Common::MsgInfo, QStringLiteral("File %1 has been saved!").arg(shown));
    else
        showPopup(Common::MsgWarning, QStringLiteral("Saving %1 failed!<br/>%2").arg(shown, copy.reason()));
}
