#include "WebAssets.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace WebAssets {

QString pagesFolder()
{
    const QString installed = QCoreApplication::applicationDirPath() + "/assets";
    if (QFileInfo(installed).isDir())
        return installed;
    // Developer build: the executable sits in build/..., the pages in the source tree.
    return QDir::cleanPath(QStringLiteral(ORLUNE_SOURCE_ASSETS));
}

} // namespace WebAssets
