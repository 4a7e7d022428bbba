// LLockFile.h: marking that this process works on a file by holding an
// exclusive lock on a lock file beside it (the path with its extension
// replaced by ".lck"), and testing whether another process holds a lock on
// a file.
//
// Locks are flock locks: they belong to the open file, so two LLockFile
// objects in one process exclude each other just as two processes do, and
// the lock ends when the descriptor is closed or the process ends.
//
// Thread safety: an LLockFile is used by one thread at a time; the test
// functions keep no state.
#ifndef HARLUNE_FILES_LLOCKFILE_H
#define HARLUNE_FILES_LLOCKFILE_H

#include "diagnostics/LFilePath.h"

class LLockFile {
public:
    LLockFile() { szLockPath[0] = '\0'; }
    ~LLockFile() { Unlock(); }
    LLockFile(const LLockFile&) = delete;
    LLockFile& operator=(const LLockFile&) = delete;

    // Releases a lock file held before, then creates (mode 0777 before the
    // process's mask) and locks the lock file of szPath without waiting.
    // False only when another holder has the lock. Any other failure (a
    // read-only folder, for example) gives true without a lock: the lock
    // marks work in progress, and a place where no mark can be left must
    // not stop that work.
    bool Lock(const char* szPath);
    // Closes and deletes the held lock file, if any.
    void Unlock();
    bool IsLocked() const { return nFile >= 0; }
    const char* GetLockPath() const { return szLockPath; }

private:
    int nFile = -1;              // the open, locked lock file; -1 when none
    char szLockPath[kLMaxPath];  // its path; empty when none
};

namespace LFile {

// True only when another holder has a lock on szPath that keeps an
// exclusive lock from being taken at once. Both forms ask the same
// question; a file that cannot be opened is not blocked.
bool TestFileShareReadBlocked(const char* szPath);
bool TestFileShareWriteBlocked(const char* szPath);

// Classes of the last system error (errno).
bool IsErrorSharingViolation(); // EACCES or EWOULDBLOCK
bool IsErrorAlreadyExists();    // EEXIST
bool IsErrorPermissionDenied(); // EACCES
bool IsErrorFileNotFound();     // ENOENT

} // namespace LFile

#endif
