// flock(2) locks belong to the open file description: they vanish when the
// descriptor closes, including when the kernel closes it for a killed process.
#include "QtLockedFile.h"

#include <QDebug>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>

bool QtLockedFile::lock(LockMode mode, bool block)
{
    if (!isOpen()) {
        qWarning("QtLockedFile::lock(): file is not opened");
        return false;
    }
    if (mode == NoLock)
        return unlock();
    if (mode == m_lock_mode)
        return true;
    if (m_lock_mode != NoLock)
        unlock();

    const int fd = handle();
    // A detached child (the restart after an update) must not inherit the lock.
    ::fcntl(fd, F_SETFD, ::fcntl(fd, F_GETFD) | FD_CLOEXEC);

    int op = (mode == ReadLock) ? LOCK_SH : LOCK_EX;
    if (!block)
        op |= LOCK_NB;
    int ret;
    do {
        ret = ::flock(fd, op);
    } while (ret == -1 && errno == EINTR);
    if (ret == -1) {
        if (errno != EWOULDBLOCK)
            qWarning() << "QtLockedFile::lock(): flock:" << strerror(errno);
        return false;
    }
    m_lock_mode = mode;
    return true;
}

bool QtLockedFile::unlock()
{
    if (!isOpen()) {
        qWarning("QtLockedFile::unlock(): file is not opened");
        return false;
    }
    if (!isLocked())
        return true;
    if (::flock(handle(), LOCK_UN) == -1) {
        qWarning() << "QtLockedFile::unlock(): flock:" << strerror(errno);
        return false;
    }
    m_lock_mode = NoLock;
    return true;
}
