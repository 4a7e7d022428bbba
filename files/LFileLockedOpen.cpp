// LFileLockedOpen.cpp: open, then lock, then truncate.
#include "files/LFileLockedOpen.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "diagnostics/LFlockTimed.h"

namespace {

// One read() or write() moves at most this much, below Linux's own limit of
// about 2 GiB per call.
constexpr unsigned long long kChunkBytes = 1ull << 30;

} // namespace

int LFileOpenLocked(const char* szPath, LFileLockedMode eMode, int nMilliseconds) {
    if (szPath == nullptr || szPath[0] == '\0') {
        errno = EINVAL;
        return -1;
    }
    const bool bRead = eMode == LFileLockedMode::read;
    const int nFile = bRead ? open(szPath, O_RDONLY | O_CLOEXEC) : open(szPath, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (nFile < 0) {
        return -1;
    }
    int nResult = flocktimed(nFile, bRead ? LOCK_SH : LOCK_EX, nMilliseconds);
    if (nResult == 0) {
        if (eMode == LFileLockedMode::replace) {
            nResult = ftruncate(nFile, 0);
        } else if (eMode == LFileLockedMode::append) {
            nResult = lseek(nFile, 0, SEEK_END) < 0 ? -1 : 0;
        }
    }
    if (nResult != 0) {
        const int nError = errno;
        close(nFile);
        errno = nError;
        return -1;
    }
    return nFile;
}

namespace harlune::files {

long long ReadFully(int nFile, void* pData, unsigned long long nSize) {
    unsigned long long nDone = 0;
    while (nDone < nSize) {
        const unsigned long long nWant = nSize - nDone < kChunkBytes ? nSize - nDone : kChunkBytes;
        const ssize_t nRead = read(nFile, static_cast<char*>(pData) + nDone, nWant);
        if (nRead < 0 && errno == EINTR) {
            continue;
        }
        if (nRead < 0) {
            return -1;
        }
        if (nRead == 0) {
            break;
        }
        nDone += static_cast<unsigned long long>(nRead);
    }
    return static_cast<long long>(nDone);
}

int WriteFully(int nFile, const void* pData, unsigned long long nSize) {
    unsigned long long nDone = 0;
    while (nDone < nSize) {
        const unsigned long long nWant = nSize - nDone < kChunkBytes ? nSize - nDone : kChunkBytes;
        const ssize_t nWritten = write(nFile, static_cast<const char*>(pData) + nDone, nWant);
        if (nWritten < 0 && errno == EINTR) {
            continue;
        }
        if (nWritten <= 0) {
            return -1;
        }
        nDone += static_cast<unsigned long long>(nWritten);
    }
    return 0;
}

} // namespace harlune::files
