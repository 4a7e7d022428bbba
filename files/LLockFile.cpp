// Lock files beside the files a process works on; lock tests; error classes.
#include "files/LLockFile.h"

#include "files/LPathOperations.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

bool LLockFile::Lock(const char* szPath) {
    Unlock();
    if (szPath == nullptr || szPath[0] == '\0') return true;
    LFile::_ApplyNewFileExtension(szLockPath, szPath, ".lck");
    // A holder that unlocks deletes the file; a descriptor opened just
    // before that deletion locks a file no longer in the folder, while a
    // third process could create and lock a new one. So the lock counts only
    // when the locked file is still the one at the path; otherwise try again.
    for (int nTry = 0; nTry < 10; ++nTry) {
        const int n = open(szLockPath, O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0777);
        if (n < 0) {
            szLockPath[0] = '\0';
            return true;
        }
        if (flock(n, LOCK_EX | LOCK_NB) != 0) {
            const bool bHeld = errno == EWOULDBLOCK;
            close(n);
            szLockPath[0] = '\0';
            return !bHeld;
        }
        struct stat stOpen, stPath;
        if (fstat(n, &stOpen) == 0 && stat(szLockPath, &stPath) == 0 && stOpen.st_ino == stPath.st_ino &&
            stOpen.st_dev == stPath.st_dev) {
            // Emptied only now that the lock is ours.
            if (ftruncate(n, 0) != 0) {
                // The content of a lock file means nothing; an old one may stay.
            }
            nFile = n;
            return true;
        }
        close(n);
    }
    szLockPath[0] = '\0';
    return true;
}

void LLockFile::Unlock() {
    if (nFile >= 0) {
        // Deleted while still locked, so no one locks the old file after us.
        unlink(szLockPath);
        close(nFile);
        nFile = -1;
    }
    szLockPath[0] = '\0';
}

namespace {

bool IsLockedElsewhere(const char* szPath) {
    if (szPath == nullptr || szPath[0] == '\0') return false;
    const int n = open(szPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (n < 0) return false;
    const bool bBlocked = flock(n, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(n);
    return bBlocked;
}

} // namespace

bool LFile::TestFileShareReadBlocked(const char* szPath) { return IsLockedElsewhere(szPath); }
bool LFile::TestFileShareWriteBlocked(const char* szPath) { return IsLockedElsewhere(szPath); }

bool LFile::IsErrorSharingViolation() { return errno == EACCES || errno == EWOULDBLOCK; }
bool LFile::IsErrorAlreadyExists() { return errno == EEXIST; }
bool LFile::IsErrorPermissionDenied() { return errno == EACCES; }
bool LFile::IsErrorFileNotFound() { return errno == ENOENT; }
