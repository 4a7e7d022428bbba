// Memory figures from sysconf, /proc/meminfo and /proc/self/statm.
#include "diagnostics/LMemory.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// Reads a small /proc file whole into szOut (nSize bytes, terminated).
// False when it cannot be read.
bool ReadSmallFile(const char* szPath, char* szOut, size_t nSize) {
    int nFile = open(szPath, O_RDONLY | O_CLOEXEC);
    if (nFile < 0) return false;
    size_t nLen = 0;
    while (nLen < nSize - 1) {
        ssize_t n = read(nFile, szOut + nLen, nSize - 1 - nLen);
        if (n <= 0) break;
        nLen += static_cast<size_t>(n);
    }
    close(nFile);
    szOut[nLen] = '\0';
    return nLen > 0;
}

bool ReadMeminfo(const char* szKey, uint64_t* pnBytes) {
    char szText[8192];
    return ReadSmallFile("/proc/meminfo", szText, sizeof szText) && LMemoryReadMeminfoBytes(szText, szKey, pnBytes);
}

uint64_t GetTaskVirtualSize() {
    char szText[256];
    unsigned long long nPages = 0;
    if (!ReadSmallFile("/proc/self/statm", szText, sizeof szText) || sscanf(szText, "%llu", &nPages) != 1) return 0;
    long nPageSize = sysconf(_SC_PAGESIZE);
    return nPageSize > 0 ? nPages * static_cast<uint64_t>(nPageSize) : 0;
}

} // namespace

bool LMemoryReadMeminfoBytes(const char* szText, const char* szKey, uint64_t* pnBytes) {
    if (szText == nullptr || szKey == nullptr || pnBytes == nullptr || szKey[0] == '\0') return false;
    const size_t nKeyLen = strlen(szKey);
    for (const char* p = szText; *p != '\0';) {
        if (strncmp(p, szKey, nKeyLen) == 0 && p[nKeyLen] == ':') {
            char* pEnd = nullptr;
            const char* pValue = p + nKeyLen + 1;
            while (*pValue == ' ' || *pValue == '\t') ++pValue;
            if (*pValue < '0' || *pValue > '9') return false;
            unsigned long long nKB = strtoull(pValue, &pEnd, 10);
            *pnBytes = static_cast<uint64_t>(nKB) * 1024u;
            return true;
        }
        const char* pNext = strchr(p, '\n');
        if (pNext == nullptr) break;
        p = pNext + 1;
    }
    return false;
}

uint64_t LMemoryGetFreeHeapSize() {
    struct rlimit rl;
    if (getrlimit(RLIMIT_DATA, &rl) != 0) return UINT64_MAX;
    const int64_t nHeap = static_cast<int64_t>(static_cast<uint64_t>(rl.rlim_cur) - GetTaskVirtualSize());
    const int64_t nAvailable = static_cast<int64_t>(LMemoryGetAvailableVirtualMemorySize());
    return static_cast<uint64_t>(nHeap < nAvailable ? nHeap : nAvailable);
}

uint64_t LMemoryGetAvailableVirtualMemorySize() {
    uint64_t nFree = 0;
    uint64_t nInactive = 0;
    if (!ReadMeminfo("MemFree", &nFree) || !ReadMeminfo("Inactive", &nInactive)) return 0;
    return nFree + nInactive;
}

uint64_t LMemoryGetLargestFreeRegionSize() {
    uint64_t nFree = 0;
    return ReadMeminfo("MemFree", &nFree) ? nFree : 0;
}

uint64_t LMemoryGetPhysicalMemorySize() {
    long nPages = sysconf(_SC_PHYS_PAGES);
    long nPageSize = sysconf(_SC_PAGESIZE);
    if (nPages <= 0 || nPageSize <= 0) return 0;
    return static_cast<uint64_t>(nPages) * static_cast<uint64_t>(nPageSize);
}
