// Saving a copy of a library file outside the library: remuxed into a plain
// MP4 with its index at the front, or copied byte for byte.
#include "AppController.h"

#include "ISettingsReader.h"
#include "ISettingsWriter.h"
#include "SettingsKeys.h"
#include "remuxFile.h"

#include <QApplication>
#include <QDebug>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QProgressDialog>

namespace {
// The remux reports percent; a cancelled dialog stops it.
int remuxProgress(void* ctx, int percent)
{
    auto* dialog = static_cast<QProgressDialog*>(ctx);
    dialog->setValue(percent);
    QCoreApplication::processEvents();
    return dialog->wasCanceled() ? -1 : 0;
}

// A plain copy in blocks, with the dialog in mebibytes; false on any failure.
bool copyWithProgress(const QString& from, const QString& to, QProgressDialog& dialog)
{
    QFile in(from);
    if (!in.open(QIODevice::ReadOnly)) {
        qDebug() << "[AC]:"
                 << "can't open input file" << from;
        return false;
    }
    QFile out(to);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qDebug() << "[AC]:"
                 << "can't open output file" << to;
        return false;
    }
    constexpr qint64 kBlock = 1 << 20;
    dialog.setMaximum(int(in.size() / kBlock) + 1);
    while (!in.atEnd()) {
        const QByteArray block = in.read(kBlock);
        if (block.isEmpty() || out.write(block) != block.size())
            return false;
        dialog.setValue(int(in.pos() / kBlock));
        QCoreApplication::processEvents();
        if (dialog.wasCanceled())
            return false;
    }
    return true;
}
} // namespace

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

    const QString source = settings()->readSettingStr(SettingsKey::files_path) + "/" + filename;
    const QString shown = QFileInfo(target).fileName();
    QProgressDialog dialog(QStringLiteral("Saving file %1...").arg(shown), QStringLiteral("Abort"), 0, 100);
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.show();
    if (reformat) {
        const int result = remuxFile(QFile::encodeName(source).constData(), QFile::encodeName(target).constData(),
                                     &dialog, remuxProgress);
        if (result != 0)
            showPopup(Common::MsgWarning,
                      QStringLiteral("Saving %1 failed!<br/>%2").arg(shown, QString::fromUtf8(remuxMessage())));
        else
            showPopup(Common::MsgInfo, QStringLiteral("File %1 has been saved!").arg(shown));
    } else if (copyWithProgress(source, target, dialog)) {
        showPopup(Common::MsgInfo, QStringLiteral("File %1 has been saved!").arg(shown));
    } else {
        showPopup(Common::MsgWarning,
                  QStringLiteral("Saving %1 failed!<br/>%2").arg(shown, QStringLiteral("copy failed")));
    }
    return target;
}
