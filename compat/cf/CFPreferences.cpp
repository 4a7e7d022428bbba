/*
 * Preferences: one XML property list per domain, this process's unwritten
 * changes kept in memory until a synchronize merges them into the file
 * under a lock.
 */
#include <CoreFoundation/CFPreferences.h>

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>

#include "cf/CFRuntime.h"
#include "cf/CFStringInternal.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

const CFStringRef kCFPreferencesAnyApplication = CFSTR("kCFPreferencesAnyApplication");
const CFStringRef kCFPreferencesCurrentApplication = CFSTR("kCFPreferencesCurrentApplication");
const CFStringRef kCFPreferencesAnyHost = CFSTR("kCFPreferencesAnyHost");
const CFStringRef kCFPreferencesCurrentHost = CFSTR("kCFPreferencesCurrentHost");
const CFStringRef kCFPreferencesAnyUser = CFSTR("kCFPreferencesAnyUser");
const CFStringRef kCFPreferencesCurrentUser = CFSTR("kCFPreferencesCurrentUser");

namespace {

bool IsString(CFTypeRef value) { return value != nullptr && CFGetTypeID(value) == CFStringGetTypeID(); }

std::string Text(CFStringRef string) { return std::string(harlune::cf::stringText(string)); }

std::string FirstLineOf(const char *szPath) {
    std::string szLine;
    if (FILE *file = fopen(szPath, "re")) {
        char sz[256];
        if (fgets(sz, sizeof sz, file) != nullptr) szLine = sz;
        fclose(file);
    }
    while (!szLine.empty() && (szLine.back() == '\n' || szLine.back() == '\r')) szLine.pop_back();
    return szLine;
}

std::string MachineId() {
    std::string szId = FirstLineOf("/etc/machine-id");
    if (szId.empty()) {
        char sz[256] = {};
        if (gethostname(sz, sizeof sz - 1) == 0) szId = sz;
    }
    return szId.empty() ? "localhost" : szId;
}

std::string ProgramName() {
    char sz[4096];
    ssize_t n = readlink("/proc/self/exe", sz, sizeof sz - 1);
    if (n <= 0) return "unknown";
    std::string szPath(sz, static_cast<size_t>(n));
    return szPath.substr(szPath.rfind('/') + 1);
}

std::string PreferencesFolder() {
    const char *szConfig = getenv("XDG_CONFIG_HOME");
    if (szConfig != nullptr && szConfig[0] == '/') return std::string(szConfig) + "/harlune/Preferences";
    const char *szHome = getenv("HOME");
    std::string szBase;
    if (szHome != nullptr && szHome[0] == '/') {
        szBase = szHome;
    } else if (struct passwd *pw = getpwuid(getuid()); pw != nullptr && pw->pw_dir != nullptr) {
        szBase = pw->pw_dir;
    }
    if (szBase.empty()) return {};
    return szBase + "/.config/harlune/Preferences";
}

// The file of a domain, or empty when the arguments name none.
std::string DomainFile(CFStringRef applicationID, CFStringRef userName, CFStringRef hostName) {
    if (!IsString(applicationID) || !IsString(userName) || !IsString(hostName)) return {};
    if (CFEqual(userName, kCFPreferencesAnyUser)) return {};
    std::string szApp = CFEqual(applicationID, kCFPreferencesCurrentApplication) ? ProgramName() : Text(applicationID);
    if (szApp.empty() || szApp[0] == '.' || szApp.find('/') != std::string::npos) return {};
    const std::string szFolder = PreferencesFolder();
    if (szFolder.empty()) return {};
    if (CFEqual(hostName, kCFPreferencesCurrentHost)) return szFolder + "/ByHost/" + szApp + "." + MachineId() + ".plist";
    if (CFEqual(hostName, kCFPreferencesAnyHost)) return szFolder + "/" + szApp + ".plist";
    return {}; // a named other host
}

void MakeFolders(const std::string &szFile) {
    for (size_t i = 1; i < szFile.size(); ++i) {
        if (szFile[i] == '/') mkdir(szFile.substr(0, i).c_str(), 0700);
    }
}

// The file's dictionary (mutable, owned by the caller); empty when the file
// is missing, unreadable or not a dictionary.
CFMutableDictionaryRef ReadDomain(const std::string &szFile) {
    std::vector<UInt8> arBytes;
    if (FILE *file = fopen(szFile.c_str(), "rbe")) {
        UInt8 buf[65536];
        size_t n;
        while ((n = fread(buf, 1, sizeof buf, file)) > 0) arBytes.insert(arBytes.end(), buf, buf + n);
        fclose(file);
    }
    CFMutableDictionaryRef dict = nullptr;
    if (!arBytes.empty()) {
        CFDataRef data = CFDataCreate(nullptr, arBytes.data(), static_cast<CFIndex>(arBytes.size()));
        CFPropertyListRef plist =
            data ? CFPropertyListCreateWithData(nullptr, data, kCFPropertyListMutableContainers, nullptr, nullptr)
                 : nullptr;
        if (data) CFRelease(data);
        if (plist != nullptr && CFGetTypeID(plist) == CFDictionaryGetTypeID()) {
            dict = (CFMutableDictionaryRef)plist;
        } else if (plist != nullptr) {
            CFRelease(plist);
        }
    }
    if (dict == nullptr) {
        dict = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    }
    return dict;
}

// This process's unwritten changes: per file, per key, the new value
// (retained) or null for a removal.
struct Pending {
    std::map<std::string, std::map<std::string, CFTypeRef>> lByFile;
};
std::mutex gmtxPending;
Pending &gPending = *new Pending; // never destroyed: used until the process ends

CFStringRef KeyString(const std::string &szKey) { return harlune::cf::makeString(szKey); }

void ApplyPending(CFMutableDictionaryRef dict, const std::map<std::string, CFTypeRef> &lChanges) {
    for (const auto &[szKey, value] : lChanges) {
        CFStringRef key = KeyString(szKey);
        if (value != nullptr) CFDictionarySetValue(dict, key, value);
        else CFDictionaryRemoveValue(dict, key);
        CFRelease(key);
    }
}

bool WriteAtomically(const std::string &szFile, CFDictionaryRef dict) {
    CFDataRef data = CFPropertyListCreateData(nullptr, dict, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
    if (data == nullptr) return false;
    const std::string szTemporary = szFile + ".tmp." + std::to_string(getpid());
    bool bDone = false;
    int nFile = open(szTemporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (nFile >= 0) {
        const UInt8 *p = CFDataGetBytePtr(data);
        size_t nLeft = static_cast<size_t>(CFDataGetLength(data));
        bDone = true;
        while (nLeft > 0) {
            ssize_t n = write(nFile, p, nLeft);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                bDone = false;
                break;
            }
            p += n;
            nLeft -= static_cast<size_t>(n);
        }
        bDone = fsync(nFile) == 0 && bDone;
        bDone = close(nFile) == 0 && bDone;
        bDone = bDone && rename(szTemporary.c_str(), szFile.c_str()) == 0;
        if (!bDone) unlink(szTemporary.c_str());
    }
    CFRelease(data);
    return bDone;
}

} // namespace

CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef applicationID, CFStringRef userName,
                                         CFStringRef hostName) {
    if (!IsString(key)) return nullptr;
    const std::string szFile = DomainFile(applicationID, userName, hostName);
    if (szFile.empty()) return nullptr;
    const std::string szKey = Text(key);
    {
        std::lock_guard<std::mutex> lock(gmtxPending);
        auto itFile = gPending.lByFile.find(szFile);
        if (itFile != gPending.lByFile.end()) {
            auto it = itFile->second.find(szKey);
            if (it != itFile->second.end()) return it->second ? CFRetain(it->second) : nullptr;
        }
    }
    CFMutableDictionaryRef dict = ReadDomain(szFile);
    CFTypeRef value = CFDictionaryGetValue(dict, key);
    if (value != nullptr) CFRetain(value);
    CFRelease(dict);
    return value;
}

void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID, CFStringRef userName,
                           CFStringRef hostName) {
    if (!IsString(key)) return;
    if (value != nullptr && !CFPropertyListIsValid(value, kCFPropertyListXMLFormat_v1_0)) return;
    const std::string szFile = DomainFile(applicationID, userName, hostName);
    if (szFile.empty()) return;
    CFPropertyListRef copy = value ? CFPropertyListCreateDeepCopy(nullptr, value, kCFPropertyListImmutable) : nullptr;
    if (value != nullptr && copy == nullptr) return;
    std::lock_guard<std::mutex> lock(gmtxPending);
    CFTypeRef &slot = gPending.lByFile[szFile][Text(key)];
    if (slot != nullptr) CFRelease(slot);
    slot = copy;
}

Boolean CFPreferencesSynchronize(CFStringRef applicationID, CFStringRef userName, CFStringRef hostName) {
    const std::string szFile = DomainFile(applicationID, userName, hostName);
    if (szFile.empty()) return false;
    std::lock_guard<std::mutex> lock(gmtxPending);
    auto itFile = gPending.lByFile.find(szFile);
    if (itFile == gPending.lByFile.end() || itFile->second.empty()) return true;
    MakeFolders(szFile);
    const size_t nSlash = szFile.rfind('/');
    const std::string szLock = szFile.substr(0, nSlash + 1) + "." + szFile.substr(nSlash + 1) + ".lock";
    const int nLock = open(szLock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (nLock < 0) return false;
    while (flock(nLock, LOCK_EX) != 0 && errno == EINTR) {
    }
    CFMutableDictionaryRef dict = ReadDomain(szFile);
    ApplyPending(dict, itFile->second);
    const bool bWritten = WriteAtomically(szFile, dict);
    CFRelease(dict);
    close(nLock); // releases the lock
    if (!bWritten) return false;
    for (auto &[szKey, value] : itFile->second) {
        if (value != nullptr) CFRelease(value);
    }
    gPending.lByFile.erase(itFile);
    return true;
}

CFArrayRef CFPreferencesCopyKeyList(CFStringRef applicationID, CFStringRef userName, CFStringRef hostName) {
    const std::string szFile = DomainFile(applicationID, userName, hostName);
    if (szFile.empty()) return nullptr;
    CFMutableDictionaryRef dict = ReadDomain(szFile);
    {
        std::lock_guard<std::mutex> lock(gmtxPending);
        auto itFile = gPending.lByFile.find(szFile);
        if (itFile != gPending.lByFile.end()) ApplyPending(dict, itFile->second);
    }
    const CFIndex nCount = CFDictionaryGetCount(dict);
    CFArrayRef keys = nullptr;
    if (nCount > 0) {
        std::vector<const void *> arKeys(static_cast<size_t>(nCount));
        CFDictionaryGetKeysAndValues(dict, arKeys.data(), nullptr);
        keys = CFArrayCreate(nullptr, arKeys.data(), nCount, &kCFTypeArrayCallBacks);
    }
    CFRelease(dict);
    return keys;
}

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID) {
    return CFPreferencesCopyValue(key, applicationID, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationID) {
    CFPreferencesSetValue(key, value, applicationID, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
}

Boolean CFPreferencesAppSynchronize(CFStringRef applicationID) {
    return CFPreferencesSynchronize(applicationID, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
}
