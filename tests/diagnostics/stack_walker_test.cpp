// Stack dumps: frames named from the symbol table, the skipped diagnostic
// frames, the frame limit and the headers.
#include "diagnostics/LDiagnostics.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

// Distinct, never-inlined frames with names the dump must show.
__attribute__((noinline)) void StackOuterFrame(uint64_t nMax, bool bHeader, std::string* pOut) {
    LStringLongTemplate<char> sz;
    LStackWalker walker(nMax);
    EXPECT_TRUE(walker.GetCallStackString(sz, 0, nullptr, bHeader));
    *pOut = sz.Get();
    asm volatile("" ::: "memory");
}

__attribute__((noinline)) std::string LDebugDumpFromHere(uint64_t nMax, bool bHeader) {
    std::string sz;
    StackOuterFrame(nMax, bHeader, &sz);
    asm volatile("" ::: "memory");
    return sz;
}

int CountLines(const std::string& sz) { return static_cast<int>(std::count(sz.begin(), sz.end(), '\n')) + 1; }

TEST(StackWalker, NamesFramesAndSkipsDiagnostics) {
    const std::string sz = LDebugDumpFromHere(0, false);
    // The first line is the frame that asked, named and demangled.
    const std::string szFirst = sz.substr(0, sz.find('\n'));
    EXPECT_NE(szFirst.find("StackOuterFrame(unsigned long, bool, std::"), std::string::npos) << sz;
    EXPECT_NE(szFirst.find(") + "), std::string::npos) << sz;
    EXPECT_EQ(sz.find("GetCallStackString"), std::string::npos) << sz;
    EXPECT_NE(sz.find("LDebugDumpFromHere"), std::string::npos) << sz; // only leading ones are skipped
    EXPECT_NE(sz.find("diagnostics_tests"), std::string::npos) << sz;
}

TEST(StackWalker, FrameLimitAndHeaders) {
    EXPECT_EQ(CountLines(LDebugDumpFromHere(2, false)), 2);
    const std::string szMain = LDebugDumpFromHere(1, true);
    const std::string szDashes(45, '-');
    EXPECT_EQ(szMain.rfind("\n" + szDashes + "\nStack Dump Begin for Thread: MAIN\n" + szDashes + "\n", 0), 0u)
        << szMain;
    EXPECT_NE(szMain.find("\n" + szDashes + "\nStack Dump Complete\n" + szDashes + "\n"), std::string::npos);

    std::string szNamed, szUnnamed;
    uint32_t nId = 0;
    std::thread([&] {
        szUnnamed = LDebugDumpFromHere(1, true);
        nId = LDebugGetCurrentThreadId();
        LDebugThreadDataStartThread("Wrk");
        szNamed = LDebugDumpFromHere(1, true);
        LDebugThreadDataStopThread();
    }).join();
    EXPECT_NE(szNamed.find("Stack Dump Begin for Thread: Wrk\n"), std::string::npos) << szNamed;
    EXPECT_NE(szUnnamed.find("Stack Dump Begin for Thread ID: " + std::to_string(nId) + "\n"), std::string::npos)
        << szUnnamed;
}

} // namespace
