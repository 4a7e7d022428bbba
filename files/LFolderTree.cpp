// Creating, deleting, pruning and measuring folder trees.
#include "files/LFolderTree.h"

#include "diagnostics/LCrashReports.h"
#include "diagnostics/LFilePath.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool IsDotOrDotDot(const char* sz) { return sz[0] == '.' && (sz[1] == '\0' || (sz[1] == '.' && sz[2] == '\0')); }

// Opens a folder without following a link at its last component.
int OpenFolderAt(int nParent, const char* szName) {
    return openat(nParent, szName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

// Calls fn(nFolder, szName) for every entry of the open folder nFolder other
// than "." and "..". Takes ownership of nFolder. False when it cannot be
// listed.
template <typename F>
bool ForEachEntry(int nFolder, F fn) {
    DIR* pDir = fdopendir(nFolder);
    if (pDir == nullptr) {
        close(nFolder);
        return false;
    }
    while (dirent* pEntry = readdir(pDir)) {
        if (!IsDotOrDotDot(pEntry->d_name)) fn(dirfd(pDir), pEntry->d_name);
    }
    closedir(pDir);
    return true;
}

void SleepMilliseconds(unsigned nMilliseconds) {
    timespec ts{static_cast<time_t>(nMilliseconds / 1000), static_cast<long>(nMilliseconds % 1000) * 1000000L};
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

// Removes the empty folder szName of nParent, retrying while it is busy.
bool RemoveFolderAt(int nParent, const char* szName, bool bWait, unsigned nMilliseconds) {
    if (unlinkat(nParent, szName, AT_REMOVEDIR) == 0) return true;
    if (!bWait) return false;
    // The waits double, so a 32-bit allowance never needs more than 32 of them.
    unsigned arWaits[40];
    const unsigned nWaits = LFile::_GetBusyFolderWaits(nMilliseconds, arWaits, 40);
    for (unsigned i = 0; i < nWaits && errno == EBUSY; ++i) {
        SleepMilliseconds(arWaits[i]);
        if (unlinkat(nParent, szName, AT_REMOVEDIR) == 0) return true;
    }
    return false;
}

// Deletes the contents of folder szName of nParent, then the folder.
bool DeleteTreeAt(int nParent, const char* szName, bool bWait, unsigned nMilliseconds) {
    const int nFolder = OpenFolderAt(nParent, szName);
    if (nFolder >= 0) {
        ForEachEntry(nFolder, [&](int nDir, const char* szEntry) {
            struct stat st;
            if (fstatat(nDir, szEntry, &st, AT_SYMLINK_NOFOLLOW) != 0) return;
            if (S_ISDIR(st.st_mode)) DeleteTreeAt(nDir, szEntry, bWait, nMilliseconds);
            else unlinkat(nDir, szEntry, 0);
        });
    }
    return RemoveFolderAt(nParent, szName, bWait, nMilliseconds);
}

bool DeleteTree(const char* szPath, bool bWait, unsigned nMilliseconds) {
    if (szPath == nullptr || szPath[0] == '\0') return false;
    return DeleteTreeAt(AT_FDCWD, szPath, bWait, nMilliseconds);
}

uint64_t FolderSizeAt(int nParent, const char* szName, bool bIncludeSubFolders) {
    const int nFolder = OpenFolderAt(nParent, szName);
    if (nFolder < 0) return 0;
    uint64_t nTotal = 0;
    ForEachEntry(nFolder, [&](int nDir, const char* szEntry) {
        struct stat st;
        if (fstatat(nDir, szEntry, &st, AT_SYMLINK_NOFOLLOW) != 0) return;
        if (S_ISDIR(st.st_mode)) {
            if (bIncludeSubFolders) nTotal += FolderSizeAt(nDir, szEntry, true);
        } else {
            nTotal += static_cast<uint64_t>(st.st_size);
        }
    });
    return nTotal;
}

// Birth time of an entry, or its modification time where the file system
// keeps no birth time; 0 when neither can be read.
int64_t CreationTimeAt(int nFolder, const char* szName) {
    struct statx stx;
    if (statx(nFolder, szName, AT_SYMLINK_NOFOLLOW, STATX_BTIME | STATX_MTIME, &stx) != 0) return 0;
    if ((stx.stx_mask & STATX_BTIME) != 0) return stx.stx_btime.tv_sec;
    if ((stx.stx_mask & STATX_MTIME) != 0) return stx.stx_mtime.tv_sec;
    return 0;
}

} // namespace

bool LFile::CreateFolderTree(const char* szPath) {
    if (szPath == nullptr || szPath[0] == '\0') return false;
    char szParent[kLMaxPath];
    const size_t nLength = strnlen(szPath, kLMaxPath - 1);
    size_t nSeparator = nLength;
    for (size_t i = 0; i < nLength; ++i) {
        if (szPath[i] == '/' || szPath[i] == '\\') nSeparator = i;
    }
    if (nSeparator < nLength) {
        const size_t nParent = nSeparator == 0 ? 1 : nSeparator;
        memcpy(szParent, szPath, nParent);
        szParent[nParent] = '\0';
        if (!Exists(szParent) && !CreateFolderTree(szParent)) return false;
    }
    return mkdir(szPath, 0777) == 0;
}

bool LFile::DeleteFolderTree(const char* szPath) { return DeleteTree(szPath, false, 0); }

bool LFile::DeleteFolderTree(const char* szPath, unsigned int nMilliseconds) {
    return DeleteTree(szPath, true, nMilliseconds);
}

unsigned LFile::_GetBusyFolderWaits(unsigned int nMilliseconds, unsigned* arWaits, unsigned nCapacity) {
    unsigned nCount = 0;
    uint64_t nLeft = nMilliseconds;
    uint64_t nWait = nMilliseconds / 128 + (nMilliseconds % 128 != 0 ? 1 : 0);
    while (nWait < nLeft) {
        if (arWaits != nullptr && nCount < nCapacity) arWaits[nCount] = static_cast<unsigned>(nWait);
        ++nCount;
        nLeft -= nWait;
        nWait *= 2;
    }
    return nCount;
}

void LFile::DeleteOldFiles(const char* szFolder, const char* szPattern, int nDays) {
    _DeleteOldFilesAt(szFolder, szPattern, nDays, static_cast<int64_t>(time(nullptr)));
}

void LFile::_DeleteOldFilesAt(const char* szFolder, const char* szPattern, int nDays, int64_t nNow) {
    if (nDays < 1 || szFolder == nullptr || szFolder[0] == '\0') return;
    const int64_t nOldest = nNow - static_cast<int64_t>(nDays) * 86400;
    const int nFolder = OpenFolderAt(AT_FDCWD, szFolder);
    if (nFolder < 0) return;
    ForEachEntry(nFolder, [&](int nDir, const char* szName) {
        if (strncmp(szName, "__MACOSX", 8) == 0) return;
        if (szPattern != nullptr && !LFileNameMatchesPattern(szName, szPattern)) return;
        // unlinkat without AT_REMOVEDIR refuses folders, which are kept.
        if (CreationTimeAt(nDir, szName) < nOldest) unlinkat(nDir, szName, 0);
    });
}

uint64_t LFile::GetFolderSizeBytes(const char* szPath, bool bIncludeSubFolders) {
    if (szPath == nullptr || szPath[0] == '\0') return 0;
    return FolderSizeAt(AT_FDCWD, szPath, bIncludeSubFolders);
}
