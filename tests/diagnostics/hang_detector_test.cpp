// The run-lock file across processes: created and held, left alone while
// another process holds it, recognised as stale after a kill -9, removed at
// exit; its name and record.
#include "diagnostics/LDiagnostics.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using harlune::test::LTempFolder;

void PointAt(const std::string& szPath) {
    if (gLHangDetector.nFile != -1) close(gLHangDetector.nFile);
    gLHangDetector.nFile = -1;
    snprintf(gLHangDetector.szPath, sizeof gLHangDetector.szPath, "%s", szPath.c_str());
}

bool Exists(const std::string& szPath) { return access(szPath.c_str(), F_OK) == 0; }

off_t SizeOf(const std::string& szPath) {
    struct stat st;
    return stat(szPath.c_str(), &st) == 0 ? st.st_size : -1;
}

// A child that takes the run-lock, reports through a pipe, then waits to be
// killed.
pid_t HoldInChild(const std::string& szPath) {
    int arPipe[2];
    if (pipe(arPipe) != 0) return -1;
    pid_t pid = fork();
    if (pid == 0) {
        PointAt(szPath);
        char c = LDebugHangDetectorInit(nullptr) ? '1' : '0';
        (void)!write(arPipe[1], &c, 1);
        pause();
        _exit(0);
    }
    close(arPipe[1]);
    char c = '0';
    if (read(arPipe[0], &c, 1) != 1 || c != '1') {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }
    close(arPipe[0]);
    return pid;
}

TEST(HangDetector, CreatesHoldsAndReleases) {
    LTempFolder tmp;
    const std::string szPath = tmp / "_HarluneVADPlugin_rl_test";
    PointAt(szPath);
    ASSERT_TRUE(LDebugHangDetectorInit(nullptr));
    EXPECT_NE(gLHangDetector.nFile, -1);
    EXPECT_EQ(SizeOf(szPath), 16);
    // Held: another open file description cannot take even a shared lock.
    int nProbe = open(szPath.c_str(), O_RDONLY);
    ASSERT_GE(nProbe, 0);
    EXPECT_NE(flock(nProbe, LOCK_SH | LOCK_NB), 0);
    close(nProbe);
    // No temporary names are left beside it.
    int nEntries = 0;
    for (const auto& e : std::filesystem::directory_iterator(tmp.Path())) nEntries += e.is_regular_file();
    EXPECT_EQ(nEntries, 1);

    LDebugHangDetectorDestroy();
    EXPECT_EQ(gLHangDetector.nFile, -1);
    EXPECT_FALSE(Exists(szPath));
}

TEST(HangDetector, LeavesAnotherLiveProcesssFileAlone) {
    LTempFolder tmp;
    const std::string szPath = tmp / "rl";
    pid_t pid = HoldInChild(szPath);
    ASSERT_GT(pid, 0);
    PointAt(szPath);
    EXPECT_FALSE(LDebugHangDetectorInit(nullptr));
    EXPECT_EQ(gLHangDetector.nFile, -1);
    EXPECT_TRUE(Exists(szPath));
    EXPECT_EQ(SizeOf(szPath), 16);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);

    // Killed: the lock died with the process and the file is stale. The
    // next call removes it without making a new one; the call after that
    // creates one.
    EXPECT_TRUE(Exists(szPath));
    EXPECT_FALSE(LDebugHangDetectorInit(nullptr));
    EXPECT_FALSE(Exists(szPath));
    EXPECT_TRUE(LDebugHangDetectorInit(nullptr));
    EXPECT_TRUE(Exists(szPath));
    LDebugHangDetectorDestroy();
}

TEST(HangDetector, ExitRemovesThePathEvenWhenAnotherProcessHoldsIt) {
    LTempFolder tmp;
    const std::string szPath = tmp / "rl";
    pid_t pid = HoldInChild(szPath);
    ASSERT_GT(pid, 0);
    pid_t pidExiting = fork();
    if (pidExiting == 0) {
        PointAt(szPath);
        exit(0); // the at-exit teardown runs
    }
    waitpid(pidExiting, nullptr, 0);
    EXPECT_FALSE(Exists(szPath));
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

TEST(HangDetector, DestroyRemovesTheDumpFiles) {
    LTempFolder tmp;
    const std::string szSupport = tmp / "support";
    setenv("XDG_DATA_HOME", szSupport.c_str(), 1);
    std::filesystem::create_directories(szSupport);
    for (const char* sz : {"HarluneVADPlugin_IP_Unreleased.dmp", "HarluneVADPlugin_HM_Unreleased.dmp", "keep.dmp"}) {
        std::ofstream(szSupport + "/" + sz) << "x";
    }
    PointAt(tmp / "rl");
    LDebugHangDetectorDestroy();
    EXPECT_FALSE(Exists(szSupport + "/HarluneVADPlugin_IP_Unreleased.dmp"));
    EXPECT_FALSE(Exists(szSupport + "/HarluneVADPlugin_HM_Unreleased.dmp"));
    EXPECT_TRUE(Exists(szSupport + "/keep.dmp"));
    unsetenv("XDG_DATA_HOME");
}

struct NameCase {
    const char* szLogname;
    const char* szUser;
    const char* szExpected;
};

TEST(HangDetector, RunLockNameFromTheLoginName) {
    LTempFolder tmp;
    setenv("XDG_CACHE_HOME", tmp.Path().c_str(), 1);
    const NameCase arCases[] = {
        {"bob", "anna", "_HarluneVADPlugin_rl_bob"},
        {nullptr, "anna", "_HarluneVADPlugin_rl_anna"},
        {"", "anna", "_HarluneVADPlugin_rl_anna"},
        {nullptr, nullptr, "_HarluneVADPlugin_rl_"},
        {"", "", "_HarluneVADPlugin_rl_"},
    };
    for (const NameCase& c : arCases) {
        c.szLogname ? setenv("LOGNAME", c.szLogname, 1) : unsetenv("LOGNAME");
        c.szUser ? setenv("USER", c.szUser, 1) : unsetenv("USER");
        LHangDetector detector;
        EXPECT_EQ(std::string(detector.szPath), tmp / c.szExpected) << c.szExpected;
        EXPECT_EQ(detector.nFile, -1);
    }
    unsetenv("XDG_CACHE_HOME");
}

TEST(HangDetector, RecordLayout) {
    uint8_t ar[16];
    // 1700000000 s and 123456 µs: 1700000000123 ms, wrapped to 32 bits.
    LHangDetectorMakeRecord(ar, 1700000000, 1700000000, 123456);
    int64_t nSeconds = 0;
    uint64_t nMilliseconds = 0;
    memcpy(&nSeconds, ar, 8);
    memcpy(&nMilliseconds, ar + 8, 8);
    EXPECT_EQ(nSeconds, 1700000000);
    EXPECT_EQ(nMilliseconds, static_cast<uint64_t>(static_cast<uint32_t>(1700000000123ull)));
}

} // namespace
