#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

// Files and folders that older versions left in the installation folder.
// Each list is swept only while its first row (the trigger) still exists, so
// a finished sweep costs one existence test per list on later starts.
struct ObsoleteList
{
    enum Kind { Files, Folders };
    enum Trigger { FileTrigger, DirTrigger };

    Kind kind;
    Trigger trigger;
    const char* logLine; // logged before the sweep
    QStringList rows;    // relative to the installation folder
};

// The lists in the order they are swept.
const QVector<ObsoleteList>& obsoleteInstallLists();

// Removes each listed file that exists; a file that can't be removed is
// renamed to <name>.oldversion instead (a library in use can be renamed).
// With oldCopies the <name>.oldversion copies are removed instead. baseDir
// empty means the application folder. Returns true when nothing failed.
bool removeObsoleteFiles(const QStringList& list, bool oldCopies, const QString& baseDir = QString());
// Removes each listed folder with its contents. True when all went.
bool removeObsoleteDirs(const QStringList& list, const QString& baseDir = QString());

// Whether the list's trigger row exists below baseDir.
bool obsoleteListTriggered(const ObsoleteList& list, const QString& baseDir);
// Sweeps every triggered list in order. Returns true when the last list was
// triggered and all its folders were removed: the caller restarts then.
bool sweepObsoleteInstallFiles(const QVector<ObsoleteList>& lists, const QString& baseDir);
