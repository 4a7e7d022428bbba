// flocktimed: the retry schedule (with a recorded sleep) and the real thing
// against a lock held by another process.
#include "diagnostics/LDiagnostics.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using harlune::test::LTempFolder;

// Records each sleep; after nReleaseAfter sleeps it closes the descriptor
// that holds the conflicting lock.
struct SleepRecorder {
    std::vector<unsigned> arSleeps;
    size_t nReleaseAfter = SIZE_MAX;
    int nHolder = -1;

    static void Sleep(void* pContext, unsigned nMilliseconds) {
        auto* self = static_cast<SleepRecorder*>(pContext);
        self->arSleeps.push_back(nMilliseconds);
        if (self->arSleeps.size() == self->nReleaseAfter && self->nHolder >= 0) {
            close(self->nHolder);
            self->nHolder = -1;
        }
    }
};

struct ScheduleCase {
    const char* szCase;
    int nOperation;
    int nAllowance;
    size_t nReleaseAfter;
    int nExpectedResult;
    std::vector<unsigned> arExpectedSleeps;
};

TEST(FlockTimed, RetrySchedule) {
    const ScheduleCase arCases[] = {
        {"gives up at 992 ms", LOCK_SH, 1000, SIZE_MAX, -1, {32, 64, 128, 256, 512}},
        {"taken at the third try", LOCK_SH, 1000, 2, 0, {32, 64}},
        {"exclusive, 500 ms", LOCK_EX, 500, SIZE_MAX, -1, {16, 32, 64, 128, 256}},
        {"no allowance: one sleep", LOCK_EX, 0, SIZE_MAX, -1, {1}},
        {"negative allowance counts as none", LOCK_EX, -5, SIZE_MAX, -1, {1}},
    };
    for (const ScheduleCase& c : arCases) {
        LTempFolder tmp;
        const std::string szPath = tmp / "lock";
        SleepRecorder rec;
        rec.nReleaseAfter = c.nReleaseAfter;
        rec.nHolder = open(szPath.c_str(), O_RDWR | O_CREAT, 0600);
        ASSERT_GE(rec.nHolder, 0);
        ASSERT_EQ(flock(rec.nHolder, LOCK_EX), 0);
        // A second open file description conflicts with the first even in
        // one process.
        int nFile = open(szPath.c_str(), O_RDWR);
        ASSERT_GE(nFile, 0);
        EXPECT_EQ(LFlockTimedWithSleep(nFile, c.nOperation, c.nAllowance, SleepRecorder::Sleep, &rec),
                  c.nExpectedResult)
            << c.szCase;
        EXPECT_EQ(rec.arSleeps, c.arExpectedSleeps) << c.szCase;
        close(nFile);
        if (rec.nHolder >= 0) close(rec.nHolder);
    }
}

TEST(FlockTimed, OtherFailuresGiveUpAtOnce) {
    SleepRecorder rec;
    errno = 0;
    EXPECT_EQ(LFlockTimedWithSleep(-1, LOCK_SH, 1000, SleepRecorder::Sleep, &rec), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_TRUE(rec.arSleeps.empty());
    EXPECT_EQ(LFlockTimedWithSleep(0, LOCK_SH, 1000, nullptr, nullptr), -1);
}

// Forks a child that takes an exclusive lock on szPath, tells the parent
// through a pipe, holds it for nHoldMilliseconds and exits.
pid_t HoldLockInChild(const std::string& szPath, int nHoldMilliseconds) {
    int arPipe[2];
    if (pipe(arPipe) != 0) return -1;
    pid_t pid = fork();
    if (pid == 0) {
        int nFile = open(szPath.c_str(), O_RDWR | O_CREAT, 0600);
        char c = (nFile >= 0 && flock(nFile, LOCK_EX) == 0) ? '1' : '0';
        (void)!write(arPipe[1], &c, 1);
        usleep(static_cast<useconds_t>(nHoldMilliseconds) * 1000);
        _exit(0);
    }
    close(arPipe[1]);
    char c = '0';
    if (read(arPipe[0], &c, 1) != 1 || c != '1') pid = -1;
    close(arPipe[0]);
    return pid;
}

double SecondsSince(std::chrono::steady_clock::time_point tStart) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count();
}

TEST(FlockTimed, AgainstAnotherProcess) {
    // Real time cannot be avoided here: the point is the wait on a lock that
    // another process holds. The bounds leave a busy two-core machine a
    // generous margin either way.
    LTempFolder tmp;
    const std::string szPath = tmp / "shared";
    pid_t pid = HoldLockInChild(szPath, 5000);
    ASSERT_GT(pid, 0);
    int nFile = open(szPath.c_str(), O_RDONLY);
    ASSERT_GE(nFile, 0);
    auto tStart = std::chrono::steady_clock::now();
    EXPECT_EQ(flocktimed(nFile, LOCK_SH, 1000), -1);
    const double dGaveUp = SecondsSince(tStart);
    EXPECT_GT(dGaveUp, 0.95);
    EXPECT_LT(dGaveUp, 3.0);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);

    pid = HoldLockInChild(szPath, 150);
    ASSERT_GT(pid, 0);
    tStart = std::chrono::steady_clock::now();
    EXPECT_EQ(flocktimed(nFile, LOCK_SH, 5000), 0);
    // Released after 150 ms; the tries at 157 and 469 ms catch it.
    EXPECT_LT(SecondsSince(tStart), 2.0);
    waitpid(pid, nullptr, 0);
    close(nFile);
}

} // namespace
