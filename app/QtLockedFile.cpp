#include "QtLockedFile.h"

#include <QDebug>

QtLockedFile::QtLockedFile() = default;

QtLockedFile::QtLockedFile(const QString& name)
    : QFile(name)
{
}

QtLockedFile::~QtLockedFile()
{
    if (isOpen())
        unlock();
}

bool QtLockedFile::open(OpenMode mode)
{
    if (mode & QIODevice::Truncate) {
        qWarning("QtLockedFile::open(): Truncate mode not allowed.");
        return false;
    }
    return QFile::open(mode);
}

bool QtLockedFile::isLocked() const
{
    return m_lock_mode != NoLock;
}

QtLockedFile::LockMode QtLockedFile::lockMode() const
{
    return m_lock_mode;
}
