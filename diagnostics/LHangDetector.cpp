// The run-lock file.
#include "diagnostics/LHangDetector.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr size_t kRecordSize = 16;

const char* LoginName() {
    const char* szName = getenv("LOGNAME");
    if (szName != nullptr && szName[0] != '\0') return szName;
    szName = getenv("USER");
    if (szName != nullptr && szName[0] != '\0') return szName;
    return "";
}

bool WriteAll(int nFile, const uint8_t* p, size_t n) {
    while (n > 0) {
        ssize_t nWritten = write(nFile, p, n);
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten <= 0) return false;
        p += nWritten;
        n -= static_cast<size_t>(nWritten);
    }
    return true;
}

// Makes an unnamed (or temporarily named) file in szFolder, locked
// exclusively and holding the record, and links it to szPath. Returns the
// descriptor, or -1 when the name is taken or anything failed (nothing is
// left behind then).
int CreateLocked(const char* szFolder, const char* szPath, const uint8_t* arRecord) {
    char szTemporary[kLMaxPath] = {};
    int nFile = open(szFolder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
    if (nFile < 0) {
        // A file system without unnamed files: a unique name in the same
        // folder, which never is the run-lock path itself.
        LFile::_MakeFilePath(szTemporary, szFolder, ".rl_XXXXXX", nullptr);
        nFile = mkostemp(szTemporary, O_CLOEXEC);
        if (nFile < 0) return -1;
        fchmod(nFile, 0666 & ~[] { mode_t m = umask(0); umask(m); return m; }());
    }
    bool bDone = flock(nFile, LOCK_EX | LOCK_NB) == 0 && WriteAll(nFile, arRecord, kRecordSize);
    if (bDone) {
        if (szTemporary[0] != '\0') {
            bDone = link(szTemporary, szPath) == 0;
        } else {
            char szProc[64];
            snprintf(szProc, sizeof szProc, "/proc/self/fd/%d", nFile);
            bDone = linkat(AT_FDCWD, szProc, AT_FDCWD, szPath, AT_SYMLINK_FOLLOW) == 0;
        }
    }
    if (szTemporary[0] != '\0') unlink(szTemporary);
    if (!bDone) {
        close(nFile);
        return -1;
    }
    return nFile;
}

// The file exists: if a shared lock can be had, nobody holds it, so it is
// stale and is removed (only if the path still names the file that was
// tested).
void RemoveIfStale(const char* szPath) {
    int nFile = open(szPath, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (nFile < 0) return;
    if (flock(nFile, LOCK_SH | LOCK_NB) == 0) {
        uint8_t arRecord[kRecordSize];
        (void)!read(nFile, arRecord, sizeof arRecord); // the content is not used
        struct stat stOpen, stPath;
        if (fstat(nFile, &stOpen) == 0 && stat(szPath, &stPath) == 0 && stOpen.st_ino == stPath.st_ino &&
            stOpen.st_dev == stPath.st_dev) {
            unlink(szPath);
        }
    }
    close(nFile);
}

} // namespace

void LHangDetectorMakeRecord(uint8_t* arRecord, int64_t nSeconds, int64_t nWallSeconds, int64_t nMicroseconds) {
    const uint32_t nMilliseconds =
        static_cast<uint32_t>(nWallSeconds) * 1000u + static_cast<uint32_t>(nMicroseconds / 1000);
    const uint64_t nExtended = nMilliseconds;
    memcpy(arRecord, &nSeconds, 8);
    memcpy(arRecord + 8, &nExtended, 8);
}

LHangDetector::LHangDetector() {
    char szFolder[kLMaxPath];
    if (!LFile::GetTempFolder(szFolder)) return;
    char szName[kLMaxPath];
    snprintf(szName, sizeof szName, "_HarluneVADPlugin_rl_%.259s", LoginName());
    LFile::_MakeFilePath(szPath, szFolder, szName, nullptr);
}

LHangDetector::~LHangDetector() {
    if (nFile != -1) {
        close(nFile);
        nFile = -1;
    }
    if (szPath[0] != '\0') unlink(szPath);
}

bool LDebugHangDetectorInit(void*) {
    LHangDetector& detector = gLHangDetector;
    uint8_t arRecord[kRecordSize];
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    LHangDetectorMakeRecord(arRecord, static_cast<int64_t>(time(nullptr)), tv.tv_sec, tv.tv_usec);
    if (detector.nFile != -1) {
        close(detector.nFile);
        detector.nFile = -1;
    }
    if (detector.szPath[0] == '\0') return false;
    char szFolder[kLMaxPath];
    strcpy(szFolder, detector.szPath);
    char* pSlash = strrchr(szFolder, '/');
    if (pSlash == nullptr) return false;
    *pSlash = '\0';
    if (szFolder[0] == '\0') strcpy(szFolder, "/");
    detector.nFile = CreateLocked(szFolder, detector.szPath, arRecord);
    if (detector.nFile != -1) return true;
    RemoveIfStale(detector.szPath);
    return false;
}

void LDebugHangDetectorDestroy() {
    LHangDetector& detector = gLHangDetector;
    if (detector.nFile != -1) {
        close(detector.nFile);
        detector.nFile = -1;
    }
    if (detector.szPath[0] != '\0') unlink(detector.szPath);
    char szFolder[kLMaxPath];
    if (!GetUserSpecialFolder(szFolder, kLApplicationSupportDirectory, "Library/Application Support")) return;
    for (const char* szName : {"HarluneVADPlugin_IP_Unreleased", "HarluneVADPlugin_HM_Unreleased"}) {
        char szDump[kLMaxPath];
        LFile::_MakeFilePath(szDump, szFolder, szName, ".dmp");
        unlink(szDump);
    }
}
