// Copying a file with its attributes, atomically over an existing one, and
// the stoppable copy.
#include "files/LFileCopy.h"

#include "files/LFileLockedOpen.h"
#include "files/LFileNames.h"
#include "files/LPathOperations.h"
#include "threads/LProcessInterface.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace {

// Copies every extended attribute the source has and the destination
// accepts; attributes the process may not set are skipped.
void CopyAttributes(int nFrom, int nTo) {
    ssize_t nList = flistxattr(nFrom, nullptr, 0);
    if (nList <= 0) return;
    std::vector<char> arNames(static_cast<size_t>(nList));
    nList = flistxattr(nFrom, arNames.data(), arNames.size());
    if (nList <= 0) return;
    std::vector<char> arValue;
    for (ssize_t i = 0; i < nList; i += static_cast<ssize_t>(strlen(arNames.data() + i)) + 1) {
        const char* szName = arNames.data() + i;
        const ssize_t nValue = fgetxattr(nFrom, szName, nullptr, 0);
        if (nValue < 0) continue;
        arValue.resize(static_cast<size_t>(nValue) + 1);
        const ssize_t nGot = fgetxattr(nFrom, szName, arValue.data(), arValue.size());
        if (nGot >= 0) fsetxattr(nTo, szName, arValue.data(), static_cast<size_t>(nGot), 0);
    }
}

// Data, attributes, owner, mode and times from nFrom to nTo.
bool CopyOpenFile(int nFrom, const struct stat& st, int nTo) {
    std::vector<unsigned char> arChunk(1 << 16);
    for (;;) {
        const long long nRead = harlune::files::ReadFully(nFrom, arChunk.data(), arChunk.size());
        if (nRead < 0) return false;
        if (nRead == 0) break;
        if (harlune::files::WriteFully(nTo, arChunk.data(), static_cast<unsigned long long>(nRead)) != 0) return false;
        if (static_cast<size_t>(nRead) < arChunk.size()) break;
    }
    CopyAttributes(nFrom, nTo);
    // The owner first: changing it clears set-user-id bits the mode then restores.
    if (fchown(nTo, st.st_uid, st.st_gid) != 0) {
        // Only a privileged process may give a file away; the copy stays the caller's.
    }
    if (fchmod(nTo, st.st_mode & 07777) != 0) return false;
    const timespec arTimes[2] = {st.st_atim, st.st_mtim};
    return futimens(nTo, arTimes) == 0;
}

// Creates szTo, which must not exist, as a copy of szFrom.
bool CopyToNewPath(const char* szFrom, const char* szTo) {
    struct stat st;
    if (lstat(szFrom, &st) != 0) return false;
    if (S_ISLNK(st.st_mode)) {
        std::vector<char> arTarget(static_cast<size_t>(st.st_size > 0 ? st.st_size : PATH_MAX) + 1);
        const ssize_t n = readlink(szFrom, arTarget.data(), arTarget.size() - 1);
        if (n < 0) return false;
        arTarget[static_cast<size_t>(n)] = '\0';
        return symlink(arTarget.data(), szTo) == 0;
    }
    if (!S_ISREG(st.st_mode)) return false;
    const int nFrom = open(szFrom, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (nFrom < 0) return false;
    const int nTo = open(szTo, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (nTo < 0) {
        close(nFrom);
        return false;
    }
    struct stat stOpen;
    bool bOk = fstat(nFrom, &stOpen) == 0 && CopyOpenFile(nFrom, stOpen, nTo);
    close(nFrom);
    if (close(nTo) != 0) bOk = false;
    if (!bOk) unlink(szTo);
    return bOk;
}

std::string FolderOf(const std::string& szPath) {
    const size_t n = szPath.find_last_of('/');
    if (n == std::string::npos) return ".";
    return n == 0 ? "/" : szPath.substr(0, n);
}

} // namespace

bool LFile::CopyFile(const char* szSource, const char* szDestination) {
    if (szSource == nullptr || szSource[0] == '\0' || szDestination == nullptr || szDestination[0] == '\0') {
        return false;
    }
    struct stat st;
    if (lstat(szDestination, &st) != 0) return errno == ENOENT && CopyToNewPath(szSource, szDestination);
    // Replace: a fresh name in the destination's folder, then one rename.
    const std::string szFolder = FolderOf(szDestination);
    for (int nTry = 0; nTry < 100; ++nTry) {
        unsigned nRandom = 0;
        if (getrandom(&nRandom, sizeof nRandom, 0) != sizeof nRandom) nRandom = static_cast<unsigned>(getpid()) + nTry;
        char szSuffix[32];
        snprintf(szSuffix, sizeof szSuffix, "/.harlune-copy-%08x", nRandom);
        const std::string szTemporary = szFolder + szSuffix;
        if (!CopyToNewPath(szSource, szTemporary.c_str())) {
            if (errno == EEXIST) continue;
            return false;
        }
        if (rename(szTemporary.c_str(), szDestination) == 0) return true;
        unlink(szTemporary.c_str());
        return false;
    }
    return false;
}

LProcessCopyFile::LProcessCopyFile(const char* szSourcePath, const char* szDestinationPath) {
    snprintf(szSource, sizeof szSource, "%s", szSourcePath != nullptr ? szSourcePath : "");
    snprintf(szDestination, sizeof szDestination, "%s", szDestinationPath != nullptr ? szDestinationPath : "");
}

int Process(LProcessInterface& pi, const LProcessCopyFile& copy) {
    char szName[kLMaxPath];
    char szShort[kLMaxPath];
    LFile::_GetFileFromPath(szName, copy.GetDestination());
    LFile::CompactFilePath(szShort, szName, 50);
    pi.SetStatus("Copy File", 0);
    pi.SetStatus(szShort, 1);
    pi.SetProgress(0.0);

    char szFolder[kLMaxPath];
    LFile::_GetFolderFromPath(szFolder, copy.GetDestination());
    struct stat stFolder;
    if (copy.GetSource()[0] == '\0' || copy.GetDestination()[0] == '\0' ||
        stat(szFolder[0] != '\0' ? szFolder : ".", &stFolder) != 0 || !S_ISDIR(stFolder.st_mode)) {
        return kLProcessCopyFailed;
    }
    const int nFrom = LFileOpenLocked(copy.GetSource(), LFileLockedMode::read, 1000);
    if (nFrom < 0) return kLProcessCopyFailed;
    const int nTo = LFileOpenLocked(copy.GetDestination(), LFileLockedMode::replace, 1000);
    if (nTo < 0) {
        close(nFrom);
        return kLProcessCopyFailed;
    }
    struct stat st;
    int nResult = fstat(nFrom, &st) == 0 ? kLProcessCopyDone : kLProcessCopyFailed;
    const unsigned long long nSize = nResult == kLProcessCopyDone ? static_cast<unsigned long long>(st.st_size) : 0;
    std::vector<unsigned char> arChunk(kLProcessCopyChunkBytes);
    unsigned long long nDone = 0;
    double fReported = 0.0;
    while (nResult == kLProcessCopyDone && nDone < nSize) {
        if (pi.IsToStop()) {
            nResult = kLProcessCopyStopped;
            break;
        }
        const unsigned long long nChunk = nSize - nDone < kLProcessCopyChunkBytes ? nSize - nDone : kLProcessCopyChunkBytes;
        if (harlune::files::ReadFully(nFrom, arChunk.data(), nChunk) != static_cast<long long>(nChunk) ||
            harlune::files::WriteFully(nTo, arChunk.data(), nChunk) != 0) {
            nResult = kLProcessCopyFailed;
            break;
        }
        nDone += nChunk;
        const double fProgress = static_cast<double>(nDone) / static_cast<double>(nSize);
        if (nDone < nSize && fProgress - fReported >= 0.01) {
            pi.SetProgress(fProgress);
            fReported = fProgress;
        }
    }
    if (nResult != kLProcessCopyDone) {
        // Unlinked while the exclusive lock is still held, so no reader that
        // waits for the lock ever sees the partial copy.
        unlink(copy.GetDestination());
        close(nTo);
        close(nFrom);
        return nResult;
    }
    const timespec arTimes[2] = {st.st_atim, st.st_mtim};
    futimens(nTo, arTimes);
    pi.SetProgress(1.0);
    close(nTo);
    close(nFrom);
    return kLProcessCopyDone;
}
