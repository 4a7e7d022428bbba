#include "platform/LApplicationBundle.h"

#include "diagnostics/LFilePath.h"
#include "files/LPathOperations.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <pwd.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// An Info.plist larger than this is not a bundle description but a mistake
// or an attack; it is not read.
constexpr long kMaxInfoPlistBytes = 1 << 20;

const char* const karExecutableFolders[] = {"Contents/MacOS", "Contents/Linux"};

bool IsPlainName(const char* szName) {
    return szName != nullptr && szName[0] != '\0' && strcmp(szName, ".") != 0 && strcmp(szName, "..") != 0 &&
           strpbrk(szName, "/\\") == nullptr;
}

void CopyCut(char* szOut, const std::string& szText) { snprintf(szOut, kLMaxPath, "%s", szText.c_str()); }

std::string HomeFolder() {
    if (const char* szHome = getenv("HOME"); szHome != nullptr && szHome[0] != '\0') {
        return szHome;
    }
    if (const passwd* pUser = getpwuid(getuid()); pUser != nullptr && pUser->pw_dir != nullptr) {
        return pUser->pw_dir;
    }
    return {};
}

// The "CFBundleExecutable" of the bundle's Info.plist, or empty.
std::string DeclaredExecutable(const std::string& szBundle) {
    FILE* pFile = fopen((szBundle + "/Contents/Info.plist").c_str(), "rbe");
    if (pFile == nullptr) {
        return {};
    }
    std::vector<UInt8> arBytes;
    UInt8 arChunk[4096];
    size_t n;
    while ((n = fread(arChunk, 1, sizeof(arChunk), pFile)) > 0 && static_cast<long>(arBytes.size()) <= kMaxInfoPlistBytes) {
        arBytes.insert(arBytes.end(), arChunk, arChunk + n);
    }
    fclose(pFile);
    if (static_cast<long>(arBytes.size()) > kMaxInfoPlistBytes) {
        return {};
    }
    std::string szName;
    CFDataRef data = CFDataCreate(nullptr, arBytes.data(), static_cast<CFIndex>(arBytes.size()));
    CFPropertyListRef plist =
        data == nullptr ? nullptr : CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, nullptr);
    if (plist != nullptr && CFGetTypeID(plist) == CFDictionaryGetTypeID()) {
        const void* value = CFDictionaryGetValue(static_cast<CFDictionaryRef>(plist), CFSTR("CFBundleExecutable"));
        char szValue[kLMaxPath];
        if (value != nullptr && CFGetTypeID(value) == CFStringGetTypeID() &&
            CFStringGetCString(static_cast<CFStringRef>(value), szValue, sizeof(szValue), kCFStringEncodingUTF8)) {
            szName = szValue;
        }
    }
    if (plist != nullptr) {
        CFRelease(plist);
    }
    if (data != nullptr) {
        CFRelease(data);
    }
    return IsPlainName(szName.c_str()) ? szName : std::string();
}

// The first entry of the folder in byte order, or empty when the folder
// cannot be listed or is empty.
std::string FirstEntry(const std::string& szFolder) {
    DIR* pDir = opendir(szFolder.c_str());
    if (pDir == nullptr) {
        return {};
    }
    std::string szFirst;
    while (const dirent* pEntry = readdir(pDir)) {
        const char* szName = pEntry->d_name;
        if (strcmp(szName, ".") == 0 || strcmp(szName, "..") == 0) {
            continue;
        }
        if (szFirst.empty() || strcmp(szName, szFirst.c_str()) < 0) {
            szFirst = szName;
        }
    }
    closedir(pDir);
    return szFirst;
}

} // namespace

bool LFile::GetInstalledApplicationExePath(char* szPath, const char* szName) {
    if (szPath == nullptr) {
        return false;
    }
    szPath[0] = '\0';
    if (!IsPlainName(szName)) {
        return false;
    }
    std::vector<std::string> arFolders;
    if (const std::string szHome = HomeFolder(); !szHome.empty()) {
        arFolders.push_back(szHome + "/Applications");
    }
    arFolders.push_back("/Applications");
    for (const std::string& szFolder : arFolders) {
        for (const std::string& szCandidate : {szFolder + "/" + szName, szFolder + "/" + szName + ".app"}) {
            if (LFile::Exists(szCandidate.c_str()) && szCandidate.size() < kLMaxPath) {
                CopyCut(szPath, szCandidate);
                return true;
            }
        }
    }
    return false;
}

bool LIsDotAppFile(const char* szPath) {
    char szExtension[kLMaxPath];
    LFile::_GetFileExtensionFromPath(szExtension, szPath);
    return strcmp(szExtension, ".app") == 0;
}

void LExpandDotAppToPointToExecutable(char* szExecutable, const char* szBundle) {
    if (szExecutable == nullptr) {
        return;
    }
    szExecutable[0] = '\0';
    if (szBundle == nullptr || szBundle[0] == '\0') {
        return;
    }
    const std::string szBundlePath = szBundle;
    const std::string szDeclared = DeclaredExecutable(szBundlePath);
    if (!szDeclared.empty()) {
        for (const char* szSub : karExecutableFolders) {
            const std::string szFolder = szBundlePath + "/" + szSub;
            if (LFile::Exists((szFolder + "/" + szDeclared).c_str())) {
                LFile::_MakeFilePath(szExecutable, szFolder.c_str(), szDeclared.c_str(), "");
                return;
            }
        }
    }
    for (const char* szSub : karExecutableFolders) {
        const std::string szFolder = szBundlePath + "/" + szSub;
        const std::string szFirst = FirstEntry(szFolder);
        if (!szFirst.empty()) {
            LFile::_MakeFilePath(szExecutable, szFolder.c_str(), szFirst.c_str(), "");
            return;
        }
    }
}

void LGetApplicationPath(const char* szName, char* szExecutable) {
    if (szExecutable == nullptr) {
        return;
    }
    char szPath[kLMaxPath];
    LFile::GetInstalledApplicationExePath(szPath, szName);
    szExecutable[0] = '\0';
    if (LIsDotAppFile(szPath)) {
        LExpandDotAppToPointToExecutable(szExecutable, szPath);
    }
}

bool LIsApplicationInstalled(const char* szName) {
    char szPath[kLMaxPath];
    return LFile::GetInstalledApplicationExePath(szPath, szName);
}
