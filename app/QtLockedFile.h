#pragma once

#include <QFile>

// A file that can carry an advisory lock held by this process. The lock is
// tied to the open file and to the process: when the process ends, however it
// ends, the lock goes with it, so a crashed copy never blocks the next start.
class QtLockedFile : public QFile
{
public:
    enum LockMode { NoLock = 0, ReadLock, WriteLock };

    QtLockedFile();
    explicit QtLockedFile(const QString& name);
    ~QtLockedFile() override;

    // Truncate is refused: a second process must not wipe the file that
    // another one has locked.
    bool open(OpenMode mode) override;

    // Takes the lock. With block false it returns false at once when another
    // holder has it. A held lock of another mode is released first.
    bool lock(LockMode mode, bool block = true);
    bool unlock();
    bool isLocked() const;
    LockMode lockMode() const;

private:
    LockMode m_lock_mode = NoLock;
};
