// The system-call counter the end-to-end benchmark quotes: strace's output
// read right whatever shape strace gave each call, and a live trace that
// sees the traced thread's calls and no other thread's.
#include "bench/LSyscallTrace.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <ostream>
#include <thread>

namespace {

using harlune::bench::LCountStraceCalls;
using harlune::bench::LSyscallCounts;
using harlune::bench::LSyscallTrace;

struct CountCase {
    const char* szName;
    const char* szTrace;
    LSyscallCounts expected;
};

// Names the case in CTest's listing instead of dumping its bytes.
void PrintTo(const CountCase& c, std::ostream* pOut) { *pOut << c.szName; }

class CountStraceCallsTest : public testing::TestWithParam<CountCase> {};

TEST_P(CountStraceCallsTest, CountsEachCallOnce) {
    EXPECT_EQ(LCountStraceCalls(GetParam().szTrace, 100), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, CountStraceCallsTest,
    testing::Values(
        CountCase{"OneThread",
                  "write(5, \"\\1\\0\\0\\0\\0\\0\\0\\0\", 8) = 8\n"
                  "clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, {tv_sec=5, tv_nsec=0}, NULL) = 0\n"
                  "write(5, \"\\1\\0\\0\\0\\0\\0\\0\\0\", 8) = 8\n",
                  {{"write", 2}, {"clock_nanosleep", 1}}},
        // A call split by another line counts once, at its start.
        CountCase{"UnfinishedAndResumed",
                  "futex(0x7f00, FUTEX_WAIT_PRIVATE, 0, NULL <unfinished ...>\n"
                  "<... futex resumed>) = 0\n",
                  {{"futex", 1}}},
        // With several threads traced, only the asked thread's lines count,
        // however many spaces follow the ID.
        CountCase{"ThreadPrefixes",
                  "100 sendmsg(7, {msg_name=NULL}, MSG_NOSIGNAL) = 4096\n"
                  "1000 getppid() = 1\n"
                  "10 getppid() = 1\n"
                  "100  <... futex resumed>) = 0\n"
                  "100 futex(0x7f00, FUTEX_WAKE_PRIVATE, 1) = 1\n",
                  {{"sendmsg", 1}, {"futex", 1}}},
        // The attach's resumed sleep is a call; signals and exits are not.
        CountCase{"SignalsExitsAndRestart",
                  "restart_syscall(<... resuming interrupted clock_nanosleep ...>) = 0\n"
                  "--- SIGINT {si_signo=SIGINT, si_code=SI_USER} ---\n"
                  "+++ exited with 0 +++\n",
                  {{"restart_syscall", 1}}},
        // The call strace detached in the middle of, with no final newline.
        CountCase{"DetachedLastLine", "epoll_wait(4,  <detached ...>", {{"epoll_wait", 1}}},
        CountCase{"DigitsAndUnderscores",
                  "clock_nanosleep_time64(0, 1, {}, NULL) = 0\nwait4(-1, NULL, 0, NULL) = 5\n_llseek(3, 0, [0], SEEK_SET) = 0\n",
                  {{"clock_nanosleep_time64", 1}, {"wait4", 1}, {"_llseek", 1}}},
        CountCase{"NothingCallShaped",
                  "\n\nstrace: Process 100 attached\n12345\n100\nWrite(1)\n(2)\n4write(1)\n   write(1)\n", {}}),
    [](const testing::TestParamInfo<CountCase>& info) { return std::string(info.param.szName); });

// A thread makes a known number of getppid calls while traced; the test's
// own thread makes more at the same time, which must not be counted.
TEST(SyscallTraceTest, CountsTheTracedThreadsCallsOnly) {
    harlune::test::LTempFolder folder;
    ASSERT_FALSE(folder.Path().empty());
    std::atomic<pid_t> tid{0};
    std::atomic<int> nStep{0}; // 1: make the calls, 2: made, 3: end
    std::thread worker([&] {
        tid = gettid();
        while (nStep.load() < 1) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        for (int n = 0; n < 7; ++n) {
            getppid();
        }
        nStep = 2;
        while (nStep.load() < 3) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    while (tid.load() == 0) {
        std::this_thread::yield();
    }
    std::string szReason;
    LSyscallCounts counts;
    bool bAttached = false;
    {
        LSyscallTrace trace(folder / "worker");
        bAttached = trace.Attach(tid.load(), std::chrono::seconds(10), &szReason);
        if (bAttached) {
            nStep = 1;
            for (int n = 0; n < 5; ++n) {
                getppid();
            }
            while (nStep.load() < 2) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            EXPECT_TRUE(trace.Detach(&counts, &szReason)) << szReason;
        }
    }
    nStep = 3;
    worker.join();
    // The trace's files go with the object.
    EXPECT_FALSE(std::filesystem::exists(folder / "worker.trace"));
    EXPECT_FALSE(std::filesystem::exists(folder / "worker.log"));
    if (!bAttached) {
        GTEST_SKIP() << "strace could not attach here: " << szReason;
    }
    EXPECT_EQ(counts["getppid"], 7u);
}

TEST(SyscallTraceTest, RefusesWithAReasonAndStartsNothing) {
    harlune::test::LTempFolder folder;
    LSyscallTrace trace(folder / "none");
    std::string szReason;
    LSyscallCounts counts;
    EXPECT_FALSE(trace.Detach(&counts, &szReason));
    EXPECT_FALSE(szReason.empty());
    szReason.clear();
    // Thread IDs stay below pid_max (at most 2^22): this one is no thread.
    EXPECT_FALSE(trace.Attach(1 << 23, std::chrono::seconds(1), &szReason));
    EXPECT_FALSE(szReason.empty());
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

} // namespace
