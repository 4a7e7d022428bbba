// Path joining, special folders and the existence test.
#include "diagnostics/LFilePath.h"
#include "text/LPlatformString.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Copies at most nMax bytes of szText to the end of szOut (of length nLen),
// stopping at the path capacity; returns the new length. The buffers may
// overlap only when szText already is szOut's prefix, which the caller
// handles by not copying.
size_t AppendText(char* szOut, size_t nLen, const char* szText, size_t nMax) {
    if (szText == nullptr) return nLen;
    for (size_t i = 0; szText[i] != '\0' && i < nMax && nLen < kLMaxPath - 1; ++i) szOut[nLen++] = szText[i];
    return nLen;
}

bool IsAbsolute(const char* szPath) { return szPath != nullptr && szPath[0] == '/'; }

// Copies a folder path, cut to 259 characters, without trailing slashes
// (the root stays "/"), so that folders read from the environment compare
// and join the same however they were written.
void CopyFolder(char* szOut, const char* szFolder) {
    size_t nLen = AppendText(szOut, 0, szFolder, kLMaxPath - 1);
    while (nLen > 1 && szOut[nLen - 1] == '/') --nLen;
    szOut[nLen] = '\0';
}

// The home folder: $HOME when it is set and absolute, else the user database
// entry of the real user. Empty when neither is known.
void GetHomeFolder(char* szHome) {
    szHome[0] = '\0';
    const char* szEnv = getenv("HOME");
    if (IsAbsolute(szEnv)) {
        CopyFolder(szHome, szEnv);
        return;
    }
    struct passwd pw;
    struct passwd* pResult = nullptr;
    char arBuffer[4096];
    if (getpwuid_r(getuid(), &pw, arBuffer, sizeof arBuffer, &pResult) == 0 && pResult != nullptr &&
        IsAbsolute(pw.pw_dir)) {
        CopyFolder(szHome, pw.pw_dir);
    }
}

// Creates szPath and every missing parent with mode 0777 (before the umask).
// Failures are left for the caller's later use of the folder to notice.
void CreateFolderWithParents(const char* szPath) {
    char szPartial[kLMaxPath];
    strncpy(szPartial, szPath, sizeof szPartial - 1);
    szPartial[sizeof szPartial - 1] = '\0';
    for (char* p = szPartial + 1; *p != '\0'; ++p) {
        if (*p != '/') continue;
        *p = '\0';
        mkdir(szPartial, 0777);
        *p = '/';
    }
    mkdir(szPartial, 0777);
}

// The platform's folder of this kind for the user, or empty when there is
// none (an unknown kind, or no home).
void GetPlatformFolder(char* szOut, LSearchPathDirectory eDirectory) {
    szOut[0] = '\0';
    const char* szXdgVariable = nullptr;
    const char* szUnderHome = nullptr;
    switch (eDirectory) {
    case kLCachesDirectory: szXdgVariable = "XDG_CACHE_HOME"; szUnderHome = ".cache"; break;
    case kLApplicationSupportDirectory: szXdgVariable = "XDG_DATA_HOME"; szUnderHome = ".local/share"; break;
    case kLDocumentDirectory: szUnderHome = "Documents"; break;
    case kLDesktopDirectory: szUnderHome = "Desktop"; break;
    case kLDownloadsDirectory: szUnderHome = "Downloads"; break;
    case kLLibraryDirectory: break; // no such folder on Linux
    }
    if (szUnderHome == nullptr) return;
    if (szXdgVariable != nullptr) {
        const char* szEnv = getenv(szXdgVariable);
        if (IsAbsolute(szEnv)) {
            CopyFolder(szOut, szEnv);
            return;
        }
    }
    char szHome[kLMaxPath];
    GetHomeFolder(szHome);
    if (szHome[0] != '\0') LFile::_MakeFilePath(szOut, szHome, szUnderHome, nullptr);
}

} // namespace

char* LFile::_MakeFilePath(char* szDestination, const char* szFolder, const char* szName, const char* szExtension) {
    if (szDestination == nullptr) return nullptr;
    size_t nLen = 0;
    if (szFolder == szDestination) {
        // Same buffer: the folder text is already in place; only cut it.
        nLen = strnlen(szDestination, kLMaxPath - 2);
    } else {
        nLen = AppendText(szDestination, 0, szFolder, kLMaxPath - 2);
    }
    if (nLen > 0 && szDestination[nLen - 1] != '/' && szDestination[nLen - 1] != '\\') {
        szDestination[nLen++] = '/';
    }
    nLen = AppendText(szDestination, nLen, szName, kLMaxPath);
    nLen = AppendText(szDestination, nLen, szExtension, kLMaxPath);
    szDestination[nLen] = '\0';
    return szDestination;
}

bool GetUserSpecialFolder(char* szDestination, LSearchPathDirectory eDirectory, const char* szFallback) {
    if (szDestination == nullptr) return false;
    GetPlatformFolder(szDestination, eDirectory);
    if (szDestination[0] != '\0') return true;
    char szHome[kLMaxPath];
    GetHomeFolder(szHome);
    if (szHome[0] == '\0') return false;
    LFile::_MakeFilePath(szDestination, szHome, szFallback, nullptr);
    if (!LFile::Exists(szDestination)) CreateFolderWithParents(szDestination);
    return true;
}

bool LFile::GetTempFolder(char* szDestination) {
    if (!GetUserSpecialFolder(szDestination, kLCachesDirectory, "Library/Caches")) return false;
    if (!Exists(szDestination)) CreateFolderWithParents(szDestination);
    return true;
}

bool LFile::Exists(const char* szPath) {
    if (szPath == nullptr) return false;
    if (access(szPath, F_OK) == 0) return true;
    if (szPath[0] == '\0') return false;
    CFStringRef sPath = LMacNSStringFromString(szPath);
    if (sPath == nullptr) return false;
    bool bReachable = false;
    CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, sPath, kCFURLPOSIXPathStyle, false);
    if (url != nullptr) {
        bReachable = CFURLResourceIsReachable(url, nullptr);
        CFRelease(url);
    }
    CFRelease(sPath);
    return bReachable;
}
