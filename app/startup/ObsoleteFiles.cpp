#include "ObsoleteFiles.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>

namespace {
QString resolveBase(const QString& baseDir)
{
    return baseDir.isEmpty() ? QCoreApplication::applicationDirPath() : baseDir;
}

// Files that neither removal nor renaming could touch. On this platform no
// tool removes them with other rights; when the user agrees, the attempt is
// logged as failed and the files stay for the next start.
void offerPrivilegedRemoval(const QStringList& paths)
{
    qDebug() << "[DBC]: asking to administraction actions to additionally remove: " << paths.size() << "files";
    const auto answer = QMessageBox::question(
        nullptr, QStringLiteral("Administrator Action Required"),
        QStringLiteral("Orlune doing auto-update but some files could not be replaced or removed. "
                       "Do you want to try processing them with administrator privileges? "
                       "This will trigger a system prompt."),
        QMessageBox::Yes | QMessageBox::No);
    if (answer != QMessageBox::Yes)
        return;
    qWarning() << "[DBC]: privileged removing files error:" << -1 << "no privileged removal on this platform:" << paths;
}
} // namespace

bool removeObsoleteFiles(const QStringList& list, bool oldCopies, const QString& baseDir)
{
    const QString base = resolveBase(baseDir);
    bool ok = true;
    int removed = 0;
    QStringList stuck;

    for (const QString& entry : list) {
        const QString path = base + QLatin1Char('/') + entry;
        const QFileInfo fi(path);
        if (!fi.exists())
            continue;
        QDir dir = fi.dir();
        QString name = fi.fileName();
        if (oldCopies)
            name += QLatin1String(".oldversion");
        if (dir.remove(name)) {
            ++removed;
            continue;
        }
        qDebug() << "[DBC]: failed to remove:" << entry;
        if (oldCopies) {
            ok = false;
            continue;
        }
        if (dir.rename(name, name + QLatin1String(".oldversion"))) {
            ++removed;
            continue;
        }
        qDebug() << "[DBC]: failed to rename:" << entry;
        ok = false;
        if (fi.isFile())
            stuck << path;
    }

    qDebug() << "[DBC]: debug files removed: " << removed << "/" << list.size();
    if (!stuck.isEmpty())
        offerPrivilegedRemoval(stuck);
    return ok;
}

bool removeObsoleteDirs(const QStringList& list, const QString& baseDir)
{
    const QString base = resolveBase(baseDir);
    bool ok = true;
    int removed = 0;
    for (const QString& entry : list) {
        QDir dir(base + QLatin1Char('/') + entry);
        if (dir.removeRecursively()) {
            ++removed;
        } else {
            qDebug() << "[DBC]: failed to remove:" << entry;
            ok = false;
        }
    }
    qDebug() << "[DBC]: debug dirs removed: " << removed << "/" << list.size();
    return ok;
}

bool obsoleteListTriggered(const ObsoleteList& list, const QString& baseDir)
{
    if (list.rows.isEmpty())
        return false;
    const QString trigger = resolveBase(baseDir) + QLatin1Char('/') + list.rows.first();
    return list.trigger == ObsoleteList::DirTrigger ? QDir(trigger).exists() : QFile::exists(trigger);
}

bool sweepObsoleteInstallFiles(const QVector<ObsoleteList>& lists, const QString& baseDir)
{
    bool lastListCleared = false;
    for (int i = 0; i < lists.size(); ++i) {
        const ObsoleteList& list = lists.at(i);
        if (!obsoleteListTriggered(list, baseDir))
            continue;
        qDebug() << list.logLine;
        bool allGone;
        if (list.kind == ObsoleteList::Folders)
            allGone = removeObsoleteDirs(list.rows, baseDir);
        else
            allGone = removeObsoleteFiles(list.rows, false, baseDir);
        if (i == lists.size() - 1)
            lastListCleared = allGone;
    }
    return lastListCleared;
}
