#include "host/LHostStorage.h"

#include "host/LCFHelpers.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

namespace harlune::host {
namespace {

// Makes szFolder and its parents (mode 0700 for the ones it creates).
bool MakeFolders(const std::string& szFolder) {
    std::string szPartial;
    std::size_t nPos = 0;
    while (nPos != std::string::npos) {
        nPos = szFolder.find('/', nPos + 1);
        szPartial = szFolder.substr(0, nPos);
        if (!szPartial.empty() && mkdir(szPartial.c_str(), 0700) != 0 && errno != EEXIST) {
            return false;
        }
    }
    return true;
}

bool ReadFile(const std::string& szPath, std::vector<UInt8>* pBytes) {
    std::FILE* pFile = std::fopen(szPath.c_str(), "rb");
    if (pFile == nullptr) {
        return false;
    }
    UInt8 buffer[8192];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pFile)) > 0) {
        pBytes->insert(pBytes->end(), buffer, buffer + n);
    }
    const bool bOk = !std::ferror(pFile);
    std::fclose(pFile);
    return bOk;
}

} // namespace

std::string LHostStorage::DefaultFolder() {
    const char* szState = std::getenv("XDG_STATE_HOME");
    if (szState != nullptr && szState[0] == '/') {
        return std::string(szState) + "/harlune/plugins";
    }
    const char* szHome = std::getenv("HOME");
    return std::string(szHome != nullptr ? szHome : "/tmp") + "/.local/state/harlune/plugins";
}

LHostStorage::LHostStorage(const std::string& szFolder, const std::string& szPlugInID)
    : m_values(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                         &kCFTypeDictionaryValueCallBacks)) {
    const std::string szDir = szFolder.empty() ? DefaultFolder() : szFolder;
    m_szPath = szDir + "/" + (szPlugInID.empty() ? std::string("unnamed-plugin") : szPlugInID) + ".plist";

    std::vector<UInt8> bytes;
    if (!ReadFile(m_szPath, &bytes)) {
        return; // no file yet: empty storage
    }
    LCFOwned<CFDataRef> data(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
    LCFOwned<CFPropertyListRef> plist(
        data ? CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListMutableContainers, nullptr, nullptr)
             : nullptr);
    if (!plist || CFGetTypeID(plist.get()) != CFDictionaryGetTypeID()) {
        m_szWarning = "storage file '" + m_szPath + "' is not a property-list dictionary; starting empty";
        return;
    }
    CFRelease(m_values);
    m_values = CFDictionaryCreateMutableCopy(nullptr, 0, static_cast<CFDictionaryRef>(plist.get()));
}

LHostStorage::~LHostStorage() {
    if (m_values != nullptr) {
        CFRelease(m_values);
    }
}

CFPropertyListRef LHostStorage::Copy(CFStringRef key) {
    std::lock_guard<std::mutex> lock(m_mtx);
    if (key == nullptr || m_values == nullptr) {
        return nullptr;
    }
    CFTypeRef value = CFDictionaryGetValue(m_values, key);
    return value != nullptr ? CFRetain(value) : nullptr;
}

bool LHostStorage::Write(CFStringRef key, CFPropertyListRef value) {
    std::lock_guard<std::mutex> lock(m_mtx);
    if (key == nullptr || value == nullptr || m_values == nullptr ||
        !CFPropertyListIsValid(value, kCFPropertyListXMLFormat_v1_0)) {
        return false;
    }
    CFDictionarySetValue(m_values, key, value);
    return Save();
}

bool LHostStorage::Delete(CFStringRef key) {
    std::lock_guard<std::mutex> lock(m_mtx);
    if (key == nullptr || m_values == nullptr) {
        return false;
    }
    CFDictionaryRemoveValue(m_values, key);
    return Save();
}

std::string LHostStorage::LastWarning() {
    std::lock_guard<std::mutex> lock(m_mtx);
    return m_szWarning;
}

bool LHostStorage::Save() {
    LCFOwned<CFDataRef> data(CFPropertyListCreateData(nullptr, m_values, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    if (!data) {
        m_szWarning = "storage for '" + m_szPath + "' cannot be encoded";
        return false;
    }
    const std::size_t nSlash = m_szPath.rfind('/');
    if (nSlash != std::string::npos && !MakeFolders(m_szPath.substr(0, nSlash))) {
        m_szWarning = "cannot create the folder of '" + m_szPath + "': " + std::strerror(errno);
        return false;
    }
    const std::string szTemp = m_szPath + ".tmp";
    const int fd = open(szTemp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        m_szWarning = "cannot write '" + szTemp + "': " + std::strerror(errno);
        return false;
    }
    const UInt8* pBytes = CFDataGetBytePtr(data.get());
    std::size_t nLeft = static_cast<std::size_t>(CFDataGetLength(data.get()));
    bool bOk = true;
    while (nLeft > 0) {
        const ssize_t n = write(fd, pBytes, nLeft);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            bOk = false;
            break;
        }
        pBytes += n;
        nLeft -= static_cast<std::size_t>(n);
    }
    bOk = fsync(fd) == 0 && bOk;
    bOk = close(fd) == 0 && bOk;
    if (!bOk || rename(szTemp.c_str(), m_szPath.c_str()) != 0) {
        m_szWarning = "cannot write '" + m_szPath + "': " + std::strerror(errno);
        unlink(szTemp.c_str());
        return false;
    }
    return true;
}

} // namespace harlune::host
