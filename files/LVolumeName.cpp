#include "files/LVolumeName.h"

#include "files/LPathOperations.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#if defined(__APPLE__)
#include <sys/mount.h>
#include <sys/param.h>
#endif

namespace {

constexpr size_t kPathBytes = 260;

void CopyCut(char* szOut, const char* szSource) { snprintf(szOut, kPathBytes, "%s", szSource); }

#if !defined(__APPLE__)
// Mount points in mountinfo escape blank, tab, newline and backslash as
// three octal digits.
std::string UnescapeMountPoint(const char* szField, size_t nLength) {
    std::string szOut;
    for (size_t i = 0; i < nLength; ++i) {
        if (szField[i] == '\\' && i + 3 < nLength) {
            const char* p = szField + i + 1;
            if (p[0] >= '0' && p[0] <= '3' && p[1] >= '0' && p[1] <= '7' && p[2] >= '0' && p[2] <= '7') {
                szOut += static_cast<char>((p[0] - '0') * 64 + (p[1] - '0') * 8 + (p[2] - '0'));
                i += 3;
                continue;
            }
        }
        szOut += szField[i];
    }
    return szOut;
}

// True when szMount is szPath itself or a folder above it.
bool Contains(const std::string& szMount, const std::string& szPath) {
    if (szMount == "/") {
        return true;
    }
    return szPath.compare(0, szMount.size(), szMount) == 0 &&
           (szPath.size() == szMount.size() || szPath[szMount.size()] == '/');
}

// The longest mount point of the table that contains szRealPath; empty when
// the table cannot be read.
std::string MountPointFromTable(const std::string& szRealPath) {
    FILE* pFile = fopen("/proc/self/mountinfo", "re");
    if (pFile == nullptr) {
        return {};
    }
    std::string szBest;
    char* szLine = nullptr;
    size_t nCapacity = 0;
    while (getline(&szLine, &nCapacity, pFile) > 0) {
        // Fields: id, parent id, major:minor, root, mount point, ...
        const char* p = szLine;
        for (int nField = 0; nField < 4 && p != nullptr; ++nField) {
            p = strchr(p, ' ');
            if (p != nullptr) {
                ++p;
            }
        }
        if (p == nullptr) {
            continue;
        }
        const size_t nLength = strcspn(p, " \n");
        const std::string szMount = UnescapeMountPoint(p, nLength);
        // A later line with the same mount point is a mount on top of the
        // earlier one, so ">=" keeps the one in force.
        if (!szMount.empty() && Contains(szMount, szRealPath) && szMount.size() >= szBest.size()) {
            szBest = szMount;
        }
    }
    free(szLine);
    fclose(pFile);
    return szBest;
}

// The outermost folder above szRealPath that is still on its device.
std::string MountPointByDevice(const std::string& szRealPath, dev_t device) {
    std::string szMount = szRealPath;
    while (szMount != "/") {
        const size_t nSlash = szMount.find_last_of('/');
        const std::string szParent = nSlash == 0 ? "/" : szMount.substr(0, nSlash);
        struct stat parent {};
        if (stat(szParent.c_str(), &parent) != 0 || parent.st_dev != device) {
            break;
        }
        szMount = szParent;
    }
    return szMount;
}
#endif

// The mount folder of an existing path, or false.
bool AskFileSystem(char* szDrive, const char* szPath) {
#if defined(__APPLE__)
    struct statfs info {};
    if (statfs(szPath, &info) != 0) {
        return false;
    }
    CopyCut(szDrive, info.f_mntonname);
    return true;
#else
    struct stat info {};
    if (szPath[0] == '\0' || stat(szPath, &info) != 0) {
        return false;
    }
    char* szReal = realpath(szPath, nullptr);
    if (szReal == nullptr) {
        return false;
    }
    const std::string szRealPath = szReal;
    free(szReal);
    std::string szMount = MountPointFromTable(szRealPath);
    if (szMount.empty()) {
        szMount = MountPointByDevice(szRealPath, info.st_dev);
    }
    CopyCut(szDrive, szMount.c_str());
    return true;
#endif
}

} // namespace

void LFile::GetHumanReadableDriveFromPath(char* szDrive, const char* szPath) {
    if (szDrive == nullptr) {
        return;
    }
    szDrive[0] = '\0';
    if (szPath == nullptr) {
        return;
    }
    if (AskFileSystem(szDrive, szPath)) {
        return;
    }
    size_t nRun = 0;
    while (nRun < kPathBytes - 3 && LFileIsLetterOrNumber(szPath[nRun])) {
        ++nRun;
    }
    if (nRun > 0) {
        memcpy(szDrive, szPath, nRun);
        memcpy(szDrive + nRun, ":\\", 3);
    } else if (szPath[0] == '/') {
        CopyCut(szDrive, "/");
    }
}
