// Memory figures: the /proc/meminfo reader on fixed texts, the free-heap
// arithmetic under a data limit, and one look at the real machine.
#include "diagnostics/LDiagnostics.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

TEST(Meminfo, ReadsKeysExactly) {
    const char* szText =
        "MemTotal:       16316412 kB\n"
        "MemFree:         1000 kB\n"
        "MemAvailable:   9000000 kB\n"
        "Inactive(anon):  7 kB\n"
        "Inactive:          20 kB\n"
        "Broken:        x kB\n";
    const struct {
        const char* szKey;
        bool bFound;
        uint64_t nBytes;
    } arCases[] = {
        {"MemFree", true, 1000 * 1024},
        {"Inactive", true, 20 * 1024},      // not the "Inactive(anon)" line
        {"MemTotal", true, 16316412ull * 1024},
        {"Mem", false, 0},                  // a prefix is not a key
        {"Broken", false, 0},
        {"Missing", false, 0},
        {"", false, 0},
    };
    for (const auto& c : arCases) {
        uint64_t nBytes = 12345;
        EXPECT_EQ(LMemoryReadMeminfoBytes(szText, c.szKey, &nBytes), c.bFound) << c.szKey;
        EXPECT_EQ(nBytes, c.bFound ? c.nBytes : 12345u) << c.szKey;
    }
    uint64_t n = 0;
    EXPECT_FALSE(LMemoryReadMeminfoBytes(nullptr, "MemFree", &n));
    EXPECT_FALSE(LMemoryReadMeminfoBytes(szText, "MemFree", nullptr));
}

TEST(Memory, RealMachineFigures) {
    const uint64_t nPhysical = LMemoryGetPhysicalMemorySize();
    EXPECT_GT(nPhysical, 64ull << 20);
    EXPECT_GT(LMemoryGetLargestFreeRegionSize(), 0u);
    EXPECT_LE(LMemoryGetLargestFreeRegionSize(), nPhysical);
    EXPECT_GE(LMemoryGetAvailableVirtualMemorySize(), LMemoryGetLargestFreeRegionSize());
}

TEST(Memory, FreeHeapUnderADataLimit) {
    // In a child, so the limit does not outlive the case.
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        struct rlimit rl;
        if (getrlimit(RLIMIT_DATA, &rl) != 0) _exit(10);
        // Unlimited: the difference wraps negative and wins the comparison.
        if (rl.rlim_cur == RLIM_INFINITY && LMemoryGetFreeHeapSize() < (UINT64_MAX >> 1)) _exit(11);
        // A limit far above the available memory: the available memory wins.
        rl.rlim_cur = (1ull << 62);
        if (setrlimit(RLIMIT_DATA, &rl) != 0) _exit(12);
        if (LMemoryGetFreeHeapSize() != LMemoryGetAvailableVirtualMemorySize()) _exit(13);
        _exit(0);
    }
    int nStatus = 0;
    ASSERT_EQ(waitpid(pid, &nStatus, 0), pid);
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 0);
}

} // namespace
