// The debug thread registry.
#include "diagnostics/LDebugThreadRegistry.h"
#include "diagnostics/LDebugThreadId.h"

#include <cstdio>
#include <cstring>

LDebugThreadData gDebugThreadData[kMaxDebugThreads];
std::atomic<uint64_t> gnDebugThreads{0};
pthread_mutex_t loDebugThreads = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

namespace {

void CopyName(char* szDestination, const char* szName) {
    size_t i = 0;
    for (; szName != nullptr && i < 4 && szName[i] != '\0'; ++i) szDestination[i] = szName[i];
    szDestination[i] = '\0';
}

// The calling thread's entry index, or -1. Lock-free.
int FindIndex(uint32_t dwId) {
    const uint64_t nCount = gnDebugThreads.load(std::memory_order_acquire);
    for (uint64_t i = 0; i < nCount && i < kMaxDebugThreads; ++i) {
        if (gDebugThreadData[i].dwThreadId.load(std::memory_order_acquire) == dwId) return static_cast<int>(i);
    }
    return -1;
}

} // namespace

void LDebugThreadsLockCreate() {
    // The mutex is constant-initialised as recursive, so it works even for
    // threads that register before this runs; nothing to make here.
}

void LDebugThreadsLockDestroy() { pthread_mutex_destroy(&loDebugThreads); }

void LDebugThreadDataStartThread(const char* szName) {
    const uint32_t dwId = LDebugGetCurrentThreadId();
    if (pthread_mutex_lock(&loDebugThreads) != 0) return;
    LDebugThreadData* pEntry = nullptr;
    const uint64_t nCount = gnDebugThreads.load(std::memory_order_relaxed);
    for (uint64_t i = 0; i < nCount; ++i) {
        if (gDebugThreadData[i].dwThreadId.load(std::memory_order_relaxed) == kDebugThreadFree) {
            pEntry = &gDebugThreadData[i];
            break;
        }
    }
    if (pEntry == nullptr && nCount < kMaxDebugThreads) {
        pEntry = &gDebugThreadData[nCount];
        gnDebugThreads.store(nCount + 1, std::memory_order_release);
    }
    if (pEntry != nullptr) pEntry->dwThreadId.store(kDebugThreadStarting, std::memory_order_release);
    pthread_mutex_unlock(&loDebugThreads);
    if (pEntry == nullptr) return;

    if (szName != nullptr) {
        CopyName(pEntry->szName, szName);
    } else {
        snprintf(pEntry->szName, sizeof pEntry->szName, "%.4u", dwId % 10000u);
    }
    pEntry->szLastDialog[0] = '\0';
    pEntry->dwThreadId.store(dwId, std::memory_order_release);
}

void LDebugThreadDataStopThread() {
    const uint32_t dwId = LDebugGetCurrentThreadId();
    if (pthread_mutex_lock(&loDebugThreads) != 0) return;
    const int nIndex = FindIndex(dwId);
    if (nIndex >= 0) {
        gDebugThreadData[nIndex].dwThreadId.store(kDebugThreadFree, std::memory_order_release);
        uint64_t nCount = gnDebugThreads.load(std::memory_order_relaxed);
        while (nCount > 0 &&
               gDebugThreadData[nCount - 1].dwThreadId.load(std::memory_order_relaxed) == kDebugThreadFree) {
            --nCount;
        }
        gnDebugThreads.store(nCount, std::memory_order_release);
    }
    pthread_mutex_unlock(&loDebugThreads);
}

LDebugThreadData* LDebugThreadFindData() {
    const int nIndex = FindIndex(LDebugGetCurrentThreadId());
    return nIndex < 0 ? nullptr : &gDebugThreadData[nIndex];
}

void LDebugThreadSetName(const char* szName) {
    if (LDebugThreadData* pEntry = LDebugThreadFindData()) CopyName(pEntry->szName, szName);
}

void LDebugThreadGetName(char* szName) {
    if (szName == nullptr) return;
    szName[0] = '\0';
    if (const LDebugThreadData* pEntry = LDebugThreadFindData()) {
        memcpy(szName, pEntry->szName, sizeof pEntry->szName);
        szName[sizeof pEntry->szName - 1] = '\0';
    }
}

void LDebugThreadSetLastDialog(const char* szTag) {
    LDebugThreadData* pEntry = LDebugThreadFindData();
    if (pEntry == nullptr) return;
    const uint32_t dwId = LDebugGetCurrentThreadId();
    snprintf(pEntry->szLastDialog, sizeof pEntry->szLastDialog, "%s%u%u%u", szTag != nullptr ? szTag : "",
             dwId % 10, (dwId % 100) / 10, (dwId % 1000) / 100);
}

bool LIsMainThread() { return pthread_main_np() != 0; }

LBugReportBlockScope::LBugReportBlockScope(const char* szName) {
    nIndex = FindIndex(LDebugGetCurrentThreadId());
    if (nIndex < 0) return;
    memcpy(szSavedName, gDebugThreadData[nIndex].szName, sizeof szSavedName);
    CopyName(gDebugThreadData[nIndex].szName, szName);
}

LBugReportBlockScope::~LBugReportBlockScope() {
    if (nIndex != -1) memcpy(gDebugThreadData[nIndex].szName, szSavedName, sizeof szSavedName);
}
