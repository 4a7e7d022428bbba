// Processor brand and display controllers from /proc and /sys.
#include "diagnostics/LMachineInfo.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <dirent.h>

namespace {

std::string ReadFirstLine(const std::string& szPath) {
    std::string szLine;
    if (FILE* file = fopen(szPath.c_str(), "re")) {
        char sz[512];
        if (fgets(sz, sizeof sz, file) != nullptr) szLine = sz;
        fclose(file);
    }
    while (!szLine.empty() && (szLine.back() == '\n' || szLine.back() == '\r')) szLine.pop_back();
    return szLine;
}

unsigned long HexValue(const std::string& szText) { return strtoul(szText.c_str(), nullptr, 16); }

// The device's name from pci.ids: vendor lines start in column 0 with four
// hex digits, their devices follow on lines starting with one tab.
std::string NameFromPciIds(const char* szPciIds, unsigned long nVendor, unsigned long nDevice) {
    if (szPciIds == nullptr) return {};
    FILE* file = fopen(szPciIds, "re");
    if (file == nullptr) return {};
    char szLine[512];
    bool bInVendor = false;
    std::string szName;
    while (fgets(szLine, sizeof szLine, file) != nullptr) {
        if (szLine[0] == '#' || szLine[0] == '\n') continue;
        if (szLine[0] != '\t') {
            if (bInVendor) break;
            bInVendor = strtoul(szLine, nullptr, 16) == nVendor && strlen(szLine) > 6 && szLine[4] == ' ';
            continue;
        }
        if (bInVendor && szLine[1] != '\t' && strtoul(szLine + 1, nullptr, 16) == nDevice) {
            szName = szLine + 1 + 4;
            size_t nStart = szName.find_first_not_of(' ');
            szName = nStart == std::string::npos ? std::string() : szName.substr(nStart);
            while (!szName.empty() && (szName.back() == '\n' || szName.back() == '\r')) szName.pop_back();
            break;
        }
    }
    fclose(file);
    return szName;
}

const char* InstalledPciIds() {
    for (const char* sz : {"/usr/share/misc/pci.ids", "/usr/share/hwdata/pci.ids", "/usr/share/pci.ids"}) {
        if (FILE* file = fopen(sz, "re")) {
            fclose(file);
            return sz;
        }
    }
    return nullptr;
}

} // namespace

void LMachineReadCPUDescription(const char* szCpuinfo, char* szOut) {
    if (szOut == nullptr) return;
    szOut[0] = '\0';
    for (const char* p = szCpuinfo; p != nullptr && *p != '\0';) {
        if (strncmp(p, "model name", 10) == 0) {
            const char* pColon = strchr(p, ':');
            const char* pEnd = strchr(p, '\n');
            if (pColon != nullptr && (pEnd == nullptr || pColon < pEnd)) {
                const char* pValue = pColon + 1;
                while (*pValue == ' ' || *pValue == '\t') ++pValue;
                size_t n = pEnd ? static_cast<size_t>(pEnd - pValue) : strlen(pValue);
                n = std::min<size_t>(n, 259);
                memcpy(szOut, pValue, n);
                szOut[n] = '\0';
                return;
            }
        }
        const char* pNext = strchr(p, '\n');
        p = pNext ? pNext + 1 : nullptr;
    }
}

void LMachineGetCPUDescription(char* szOut) {
    if (szOut == nullptr) return;
    szOut[0] = '\0';
    FILE* file = fopen("/proc/cpuinfo", "re");
    if (file == nullptr) return;
    // The first processor's block is enough.
    std::string szText;
    char szLine[1024];
    while (fgets(szLine, sizeof szLine, file) != nullptr && szText.size() < 65536) {
        szText += szLine;
        if (strncmp(szLine, "model name", 10) == 0) break;
    }
    fclose(file);
    LMachineReadCPUDescription(szText.c_str(), szOut);
}

void LMachineReadGPUDescriptions(const char* szPciFolder, const char* szPciIds, LStringList& lNames) {
    lNames.Clear();
    if (szPciFolder == nullptr) return;
    std::vector<std::string> arDevices;
    if (DIR* dir = opendir(szPciFolder)) {
        while (dirent* e = readdir(dir)) {
            if (e->d_name[0] != '.') arDevices.emplace_back(e->d_name);
        }
        closedir(dir);
    }
    std::sort(arDevices.begin(), arDevices.end()); // address order: domain:bus:device.function
    for (const std::string& szDevice : arDevices) {
        const std::string szBase = std::string(szPciFolder) + "/" + szDevice + "/";
        const unsigned long nClass = HexValue(ReadFirstLine(szBase + "class"));
        if ((nClass >> 16) != 0x03) continue;
        const unsigned long nVendor = HexValue(ReadFirstLine(szBase + "vendor"));
        const unsigned long nDeviceId = HexValue(ReadFirstLine(szBase + "device"));
        std::string szName = NameFromPciIds(szPciIds, nVendor, nDeviceId);
        if (szName.empty()) {
            char sz[32];
            snprintf(sz, sizeof sz, "%04lx:%04lx", nVendor, nDeviceId);
            szName = sz;
        }
        if (szName.size() > 259) szName.resize(259);
        lNames.Add(szName.c_str());
    }
}

void LMachineGetGPUDescriptions(LStringList& lNames) {
    LMachineReadGPUDescriptions("/sys/bus/pci/devices", InstalledPciIds(), lNames);
}
