#include "SavedCopy.h"

#include "remuxFile.h"

#include <QCoreApplication>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QProgressDialog>

namespace {
constexpr qint64 kMebibyte = 0x100000;
} // namespace

SavedCopy::SavedCopy(const QString& source, const QString& target, QProgressDialog& dialog)
    : source(source)
    , target(target)
    , dialog(dialog)
    , sourceSize(QFileInfo(source).size())
{
    dialog.setRange(0, 100);
}

bool SavedCopy::showProgress(qint64 done)
{
    const int percent = sourceSize > 0 ? int(qMin<qint64>(100, done * 100 / sourceSize)) : 100;
    // Reaching the end is shown by finish(): a dialog at its maximum resets itself.
    dialog.setValue(qMin(percent, 99));
    QCoreApplication::processEvents();
    return !dialog.wasCanceled();
}

int SavedCopy::remuxProgress(void* self, int mebibytes)
{
    // The remux counts the mebibytes it has read.
    return static_cast<SavedCopy*>(self)->showProgress(mebibytes * kMebibyte) ? 0 : -1;
}

SavedCopy::Result SavedCopy::finish(Result result)
{
    if (result == Cancelled && QFile::remove(target))
        qDebug() << "[AC]:"
                 << "cancelled save, removed" << target;
    if (result == Saved) {
        why.clear();
        dialog.setValue(100);
    }
    return result;
}

SavedCopy::Result SavedCopy::remux()
{
    const int result =
        remuxFile(QFile::encodeName(source).constData(), QFile::encodeName(target).constData(), this, remuxProgress);
    why = QString::fromUtf8(remuxMessage());
    return finish(result == 0 ? Saved : result == 2 ? Cancelled : Failed);
}

SavedCopy::Result SavedCopy::copy()
{
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly)) {
        qDebug() << "[AC]:"
                 << "can't open input file" << source;
        why = QStringLiteral("can't open input file");
        return finish(Failed);
    }
    QFile out(target);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qDebug() << "[AC]:"
                 << "can't open output file" << target;
        why = QStringLiteral("can't open output file");
        return finish(Failed);
    }
    while (!in.atEnd()) {
        const QByteArray block = in.read(kMebibyte);
        if (block.isEmpty() || out.write(block) != block.size()) {
            why = QStringLiteral("copy failed: ") + out.errorString();
            return finish(Failed);
        }
        if (!showProgress(in.pos())) {
            why = QStringLiteral("Interrupted by user");
            out.close();
            return finish(Cancelled);
        }
    }
    if (!out.flush()) {
        why = QStringLiteral("copy failed: ") + out.errorString();
        return finish(Failed);
    }
    return finish(Saved);
}
