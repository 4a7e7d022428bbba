// The operating system's version from os-release.
#include "diagnostics/LOSVersion.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

std::atomic<uint8_t> gnMajor{0}, gnMinor{0}, gnPatch{0};

// The number at p, stopping at the first non-digit; 0 when there is none.
unsigned long NumberAt(const char* p) { return (*p >= '0' && *p <= '9') ? strtoul(p, nullptr, 10) : 0; }

} // namespace

bool LParseOSVersion(const char* szOsRelease, uint8_t& nMajor, uint8_t& nMinor, uint8_t& nPatch) {
    nMajor = nMinor = nPatch = 0;
    if (szOsRelease == nullptr) return false;
    const char* p = szOsRelease;
    for (; p != nullptr && *p != '\0'; p = strchr(p, '\n') ? strchr(p, '\n') + 1 : nullptr) {
        if (strncmp(p, "VERSION_ID=", 11) == 0) break;
    }
    if (p == nullptr || *p == '\0') return false;
    p += 11;
    if (*p == '"' || *p == '\'') ++p;
    if (*p < '0' || *p > '9') return false;
    nMajor = static_cast<uint8_t>(NumberAt(p));
    const char* pDot = p + strspn(p, "0123456789");
    if (*pDot == '.') {
        nMinor = static_cast<uint8_t>(NumberAt(pDot + 1));
        pDot = pDot + 1 + strspn(pDot + 1, "0123456789");
        if (*pDot == '.') nPatch = static_cast<uint8_t>(NumberAt(pDot + 1));
    }
    return true;
}

void LGetOSVersion(uint8_t& nMajor, uint8_t& nMinor, uint8_t& nPatch) {
    if (gnMajor.load(std::memory_order_acquire) > 0) {
        nMajor = gnMajor.load(std::memory_order_acquire);
        nMinor = gnMinor.load(std::memory_order_relaxed);
        nPatch = gnPatch.load(std::memory_order_relaxed);
        return;
    }
    char szText[4096] = {};
    if (FILE* file = fopen("/etc/os-release", "re")) {
        size_t n = fread(szText, 1, sizeof szText - 1, file);
        szText[n] = '\0';
        fclose(file);
    }
    LParseOSVersion(szText, nMajor, nMinor, nPatch);
    gnMinor.store(nMinor, std::memory_order_relaxed);
    gnPatch.store(nPatch, std::memory_order_relaxed);
    gnMajor.store(nMajor, std::memory_order_release);
}

void LGetOSVersion(uint8_t& nMajor, uint8_t& nMinor) {
    uint8_t nPatch = 0;
    LGetOSVersion(nMajor, nMinor, nPatch);
}
