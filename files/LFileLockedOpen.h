// LFileLockedOpen.h: opening a file under an advisory lock with a bounded
// wait, the one way the library's text files and documents are opened.
//
// Linux has no atomic open-and-lock (O_SHLOCK, O_EXLOCK), and opening with
// O_TRUNC before the lock is held would let a writer that then fails to get
// the lock empty a file another process is in the middle of using. So the
// file is opened without truncating, the flock is taken (bounded through
// flocktimed), and only a writer that holds the lock truncates or moves to
// the end.
//
// Thread safety: none needed; the calls keep no state. They block the
// calling thread for up to the allowance.
#ifndef HARLUNE_FILES_LFILELOCKEDOPEN_H
#define HARLUNE_FILES_LFILELOCKEDOPEN_H

enum class LFileLockedMode {
    read,    // read-only, shared lock
    replace, // read and write, created with mode 0666, exclusive lock, then truncated to 0
    append,  // read and write, created with mode 0666, exclusive lock, then positioned at the end
};

// Opens `szPath` close-on-exec in the given mode and takes its lock,
// waiting at most `nMilliseconds`. Returns the descriptor, which the caller
// closes (closing releases the lock), or -1 with errno set when the open, the
// lock or the positioning failed; nothing of the file is changed then
// (except that a file opened for writing may have been created empty).
int LFileOpenLocked(const char* szPath, LFileLockedMode eMode, int nMilliseconds);

namespace harlune::files {

// Reads exactly nSize bytes, or up to the end of the file; calls read()
// again after short reads and interruptions. Returns the number read, or -1
// when read() failed (a folder, an I/O error).
long long ReadFully(int nFile, void* pData, unsigned long long nSize);
// Writes all nSize bytes, calling write() again after short writes and
// interruptions. Returns 0, or -1 with errno set.
int WriteFully(int nFile, const void* pData, unsigned long long nSize);

} // namespace harlune::files

#endif
