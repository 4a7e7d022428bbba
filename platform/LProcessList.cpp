#include "platform/LProcessList.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace {

int garAllProcesses[] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL};
constexpr unsigned int kNoProcess = 0xFFFFFFFF;

// A table that keeps growing faster than it can be read is not worth
// waiting for; this bounds the retries instead of spinning for ever.
constexpr int kMaxAttempts = 64;

// The command name of a record as a terminated text; the kernel terminates
// it within its field, but a record is read as untrusted bytes.
struct CommandName {
    explicit CommandName(const kinfo_proc& record) {
        const size_t nLength = strnlen(record.kp_proc.p_comm, sizeof(record.kp_proc.p_comm));
        memcpy(sz, record.kp_proc.p_comm, nLength);
        sz[nLength] = '\0';
    }
    char sz[MAXCOMLEN + 2];
};

} // namespace

int LGetBSDProcessList(kinfo_proc** pList) {
    if (pList == nullptr) {
        return 0;
    }
    *pList = nullptr;
    for (int nAttempt = 0; nAttempt < kMaxAttempts; ++nAttempt) {
        size_t nBytes = 0;
        if (sysctl(garAllProcesses, 3, nullptr, &nBytes, nullptr, 0) != 0) {
            return 0;
        }
        // One byte at least, so that an empty table still has a buffer the
        // caller can free like any other.
        auto* pBuffer = static_cast<kinfo_proc*>(malloc(nBytes > 0 ? nBytes : 1));
        if (pBuffer == nullptr) {
            return 0;
        }
        if (sysctl(garAllProcesses, 3, pBuffer, &nBytes, nullptr, 0) == 0) {
            *pList = pBuffer;
            return static_cast<int>(nBytes / sizeof(kinfo_proc));
        }
        const int nError = errno;
        free(pBuffer);
        if (nError != ENOMEM) {
            return 0;
        }
    }
    return 0;
}

unsigned int LGetBSDProcessUid(const char* szName) {
    if (szName == nullptr) {
        return kNoProcess;
    }
    kinfo_proc* pList = nullptr;
    const int nCount = LGetBSDProcessList(&pList);
    unsigned int nPid = kNoProcess;
    for (int i = 0; i < nCount; ++i) {
        if (strcasecmp(CommandName(pList[i]).sz, szName) == 0) {
            nPid = static_cast<unsigned int>(pList[i].kp_proc.p_pid);
            break;
        }
    }
    free(pList);
    return nPid;
}

bool LIsApplicationRunning(const char* szName) {
    if (szName == nullptr) {
        return false;
    }
    size_t nCapacity = 0;
    if (sysctl(garAllProcesses, 3, nullptr, &nCapacity, nullptr, 0) != 0) {
        return false;
    }
    for (int nAttempt = 0; nAttempt < kMaxAttempts; ++nAttempt) {
        auto* pBuffer = static_cast<kinfo_proc*>(malloc(nCapacity > 0 ? nCapacity : 1));
        if (pBuffer == nullptr) {
            return false;
        }
        size_t nBytes = nCapacity;
        if (sysctl(garAllProcesses, 3, pBuffer, &nBytes, nullptr, 0) != 0) {
            const int nError = errno;
            free(pBuffer);
            if (nError != ENOMEM) {
                return false;
            }
            // Grow by a tenth, and by one record at least.
            nCapacity += nCapacity / 10 > sizeof(kinfo_proc) ? nCapacity / 10 : sizeof(kinfo_proc);
            continue;
        }
        bool bRunning = false;
        const size_t nCount = nBytes / sizeof(kinfo_proc);
        for (size_t i = 0; i < nCount && !bRunning; ++i) {
            bRunning = strcmp(CommandName(pBuffer[i]).sz, szName) == 0;
        }
        free(pBuffer);
        return bRunning;
    }
    return false;
}
