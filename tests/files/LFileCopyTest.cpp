// Copies compared with cmp and stat, extended attributes included; links
// at either end; the stoppable copy's chunks, progress and clean-up; lock
// files held by another process; error classes and extension lists.
#include "files/LFiles.h"

#include "tests/support/LTempFolder.h"
#include "threads/LProcessInterfaceVoid.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using harlune::test::LTempFolder;

void WriteFile(const std::string& szPath, const std::string& szData) {
    std::ofstream(szPath, std::ios::binary) << szData;
}

bool SameBytes(const std::string& a, const std::string& b) {
    return std::system(("cmp -s '" + a + "' '" + b + "'").c_str()) == 0;
}

// Names in the folder that look like a left-behind temporary copy.
int Leftovers(const std::string& szFolder) {
    int n = 0;
    for (const auto& e : fs::directory_iterator(szFolder)) {
        if (e.path().filename().string().rfind(".harlune-copy-", 0) == 0) ++n;
    }
    return n;
}

TEST(LFileCopy, CopyFileKeepsDataModeTimesAndAttributes) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    const std::string szSource = tmp / "source.bin";
    std::string szData(100000, '\0');
    for (size_t i = 0; i < szData.size(); ++i) szData[i] = static_cast<char>(i * 31 + 7);
    WriteFile(szSource, szData);
    chmod(szSource.c_str(), 0640);
    const timespec arTimes[2] = {{1000000000, 5}, {1200000000, 7}};
    utimensat(AT_FDCWD, szSource.c_str(), arTimes, 0);
    const bool bAttributes = setxattr(szSource.c_str(), "user.harlune.test", "value", 5, 0) == 0;

    WriteFile(tmp / "existing", "old content that is longer than nothing");
    const struct {
        std::string szDestination;
    } kCases[] = {{tmp / "new.bin"}, {tmp / "existing"}};
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.szDestination);
        EXPECT_TRUE(LFile::CopyFile(szSource.c_str(), c.szDestination.c_str()));
        EXPECT_TRUE(SameBytes(szSource, c.szDestination));
        struct stat stFrom, stTo;
        ASSERT_EQ(stat(szSource.c_str(), &stFrom), 0);
        ASSERT_EQ(stat(c.szDestination.c_str(), &stTo), 0);
        EXPECT_EQ(stTo.st_mode, stFrom.st_mode);
        EXPECT_EQ(stTo.st_mtim.tv_sec, stFrom.st_mtim.tv_sec);
        EXPECT_EQ(stTo.st_mtim.tv_nsec, stFrom.st_mtim.tv_nsec);
        if (bAttributes) {
            char sz[16] = {};
            EXPECT_EQ(getxattr(c.szDestination.c_str(), "user.harlune.test", sz, sizeof sz), 5);
            EXPECT_STREQ(sz, "value");
        }
    }
    EXPECT_EQ(Leftovers(tmp.Path()), 0);
}

TEST(LFileCopy, CopyFileNeverFollowsLinksAndLeavesNothingOnFailure) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    WriteFile(tmp / "source", "new");
    WriteFile(tmp / "target", "precious");
    fs::create_directory(tmp / "folder");
    fs::create_symlink(tmp / "target", tmp / "link-to-target");
    fs::create_symlink("dangling/elsewhere", tmp / "source-link");

    // A link at the destination is replaced, its target untouched.
    EXPECT_TRUE(LFile::CopyFile((tmp / "source").c_str(), (tmp / "link-to-target").c_str()));
    EXPECT_FALSE(fs::is_symlink(tmp / "link-to-target"));
    EXPECT_TRUE(SameBytes(tmp / "source", tmp / "link-to-target"));
    std::ifstream in(tmp / "target");
    std::string szTarget;
    in >> szTarget;
    EXPECT_EQ(szTarget, "precious");

    // A link as the source is copied as a link, new or replacing.
    for (const char* szName : {"copied-link", "target"}) {
        EXPECT_TRUE(LFile::CopyFile((tmp / "source-link").c_str(), (tmp / szName).c_str()));
        EXPECT_TRUE(fs::is_symlink(tmp / szName));
        EXPECT_EQ(fs::read_symlink(tmp / szName), "dangling/elsewhere");
    }

    const struct {
        std::string szSource;
        std::string szDestination;
    } kFailures[] = {
        {tmp / "missing", tmp / "never"},
        {tmp / "missing", tmp / "source"},       // existing destination kept
        {tmp / "source", tmp / "folder"},        // a folder is not replaced by a file
        {tmp / "folder", tmp / "folder-copy"},   // folders are not files
        {tmp / "source", tmp / "no/such/folder"},
        {"", tmp / "x"},
    };
    for (const auto& c : kFailures) {
        EXPECT_FALSE(LFile::CopyFile(c.szSource.c_str(), c.szDestination.c_str())) << c.szSource << " " << c.szDestination;
    }
    EXPECT_FALSE(fs::exists(tmp / "never"));
    EXPECT_FALSE(fs::exists(tmp / "folder-copy"));
    EXPECT_TRUE(fs::is_directory(tmp / "folder"));
    EXPECT_TRUE(fs::exists(tmp / "source"));
    EXPECT_EQ(Leftovers(tmp.Path()), 0);
}

class RecordingProcess : public LProcessInterfaceVoid {
public:
    explicit RecordingProcess(int nStopBefore) : nStopBefore(nStopBefore) {}
    bool IsToStop() override { return nAsked++ == nStopBefore; }
    void SetProgress(double f) override { arProgress.push_back(f); }
    void SetStatus(const char* sz, int nLine) override { arStatus[nLine == 0 ? 0 : 1] = sz; }
    int nStopBefore;
    int nAsked = 0;
    std::vector<double> arProgress;
    std::string arStatus[2];
};

TEST(LFileCopy, StoppableCopyChunksProgressAndCleanUp) {
    const struct {
        size_t nSize;
        int nStopBefore;
        int nResult;
        std::vector<double> arProgress;
    } kCases[] = {
        {100000, -1, kLProcessCopyDone, {0.0, 0.32768, 0.65536, 0.98304, 1.0}},
        {0, -1, kLProcessCopyDone, {0.0, 1.0}},
        {32768, -1, kLProcessCopyDone, {0.0, 1.0}},
        {100000, 0, kLProcessCopyStopped, {0.0}},
        {100000, 2, kLProcessCopyStopped, {0.0, 0.32768, 0.65536}},
        // Many small steps: reports only when the fraction grew by 0.01.
        {32768 * 250, -1, kLProcessCopyDone, {}},
    };
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    const std::string szLongName = "a-destination-file-name-that-is-longer-than-fifty-characters.wav";
    for (const auto& c : kCases) {
        SCOPED_TRACE(std::to_string(c.nSize) + " stop " + std::to_string(c.nStopBefore));
        std::string szData(c.nSize, '\0');
        for (size_t i = 0; i < szData.size(); ++i) szData[i] = static_cast<char>(i * 13 + 1);
        WriteFile(tmp / "from", szData);
        RecordingProcess pi(c.nStopBefore);
        EXPECT_EQ(Process(pi, LProcessCopyFile((tmp / "from").c_str(), (tmp / szLongName).c_str())), c.nResult);
        EXPECT_EQ(pi.arStatus[0], "Copy File");
        EXPECT_EQ(pi.arStatus[1], "a-destination-file-name...han-fifty-characters.wav");
        if (!c.arProgress.empty()) {
            ASSERT_EQ(pi.arProgress.size(), c.arProgress.size());
            for (size_t i = 0; i < c.arProgress.size(); ++i) EXPECT_DOUBLE_EQ(pi.arProgress[i], c.arProgress[i]);
        } else {
            // Steps of 0.004: every third chunk (0.012) is reported, 83
            // times, between 0.0 and the final 1.0.
            EXPECT_EQ(pi.arProgress.size(), 85U);
            for (size_t i = 1; i + 1 < pi.arProgress.size(); ++i) {
                EXPECT_GE(pi.arProgress[i] - pi.arProgress[i - 1], 0.01 - 1e-12);
            }
            EXPECT_EQ(pi.arProgress.back(), 1.0);
        }
        if (c.nResult == kLProcessCopyDone) {
            EXPECT_TRUE(SameBytes(tmp / "from", tmp / szLongName));
            fs::remove(tmp / szLongName);
        } else {
            EXPECT_FALSE(fs::exists(tmp / szLongName));
        }
    }
}

TEST(LFileCopy, StoppableCopyRefusesWithoutTouchingAnything) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    WriteFile(tmp / "from", "data");
    WriteFile(tmp / "held", "kept");
    RecordingProcess pi(-1);
    EXPECT_EQ(Process(pi, LProcessCopyFile((tmp / "from").c_str(), (tmp / "missing/to").c_str())), kLProcessCopyFailed);
    EXPECT_FALSE(fs::exists(tmp / "missing"));
    EXPECT_EQ(Process(pi, LProcessCopyFile((tmp / "absent").c_str(), (tmp / "to").c_str())), kLProcessCopyFailed);
    EXPECT_FALSE(fs::exists(tmp / "to"));
    // A destination another holder has locked is neither emptied nor
    // replaced (this waits out the one-second allowance).
    const int nHeld = open((tmp / "held").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(nHeld, 0);
    ASSERT_EQ(flock(nHeld, LOCK_SH), 0);
    EXPECT_EQ(Process(pi, LProcessCopyFile((tmp / "from").c_str(), (tmp / "held").c_str())), kLProcessCopyFailed);
    close(nHeld);
    WriteFile(tmp / "expected", "kept");
    EXPECT_TRUE(SameBytes(tmp / "held", tmp / "expected"));
}

// Runs fn in a child process and returns its exit status.
template <typename F>
int InChild(F fn) {
    const pid_t pid = fork();
    if (pid == 0) _exit(fn());
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

TEST(LFileCopy, LockFileHeldByAnotherProcess) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    const std::string szDocument = tmp / "take.wav";
    auto childLocks = [&] {
        return InChild([&] {
            LLockFile other;
            return other.Lock(szDocument.c_str()) ? 1 : 0;
        });
    };
    {
        LLockFile lock;
        ASSERT_TRUE(lock.Lock(szDocument.c_str()));
        EXPECT_TRUE(lock.IsLocked());
        EXPECT_EQ(std::string(lock.GetLockPath()), tmp / "take.lck");
        EXPECT_TRUE(fs::exists(tmp / "take.lck"));
        EXPECT_EQ(childLocks(), 0);
        EXPECT_TRUE(LFile::TestFileShareReadBlocked((tmp / "take.lck").c_str()));
        EXPECT_TRUE(LFile::TestFileShareWriteBlocked((tmp / "take.lck").c_str()));
        // Locking another file releases and deletes the first lock file.
        ASSERT_TRUE(lock.Lock((tmp / "other.txt").c_str()));
        EXPECT_FALSE(fs::exists(tmp / "take.lck"));
        EXPECT_EQ(childLocks(), 1);
    }
    EXPECT_FALSE(fs::exists(tmp / "other.lck"));
    EXPECT_EQ(childLocks(), 1);
    EXPECT_FALSE(fs::exists(tmp / "take.lck")); // the child's lock went with it

    // A folder where no lock file can be made does not stop the work.
    if (geteuid() != 0) {
        fs::create_directory(tmp / "readonly");
        chmod((tmp / "readonly").c_str(), 0555);
        LLockFile lock;
        EXPECT_TRUE(lock.Lock((tmp / "readonly/file.txt").c_str()));
        EXPECT_FALSE(lock.IsLocked());
        chmod((tmp / "readonly").c_str(), 0755);
    }
}

TEST(LFileCopy, ShareTestsSeeOnlyOtherHolders) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    WriteFile(tmp / "file", "x");
    const struct {
        int nHeldLock; // 0: none
        bool bBlocked;
    } kCases[] = {{0, false}, {LOCK_SH, true}, {LOCK_EX, true}};
    for (const auto& c : kCases) {
        const int n = open((tmp / "file").c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(n, 0);
        if (c.nHeldLock != 0) ASSERT_EQ(flock(n, c.nHeldLock), 0);
        EXPECT_EQ(LFile::TestFileShareReadBlocked((tmp / "file").c_str()), c.bBlocked) << c.nHeldLock;
        EXPECT_EQ(LFile::TestFileShareWriteBlocked((tmp / "file").c_str()), c.bBlocked) << c.nHeldLock;
        close(n);
    }
    EXPECT_FALSE(LFile::TestFileShareReadBlocked((tmp / "missing").c_str()));
    EXPECT_FALSE(LFile::TestFileShareWriteBlocked(nullptr));
}

TEST(LFileCopy, ErrorClassesAndExtensionLists) {
    const struct {
        int nErrno;
        bool bSharing, bExists, bDenied, bNotFound;
    } kErrors[] = {
        {EACCES, true, false, true, false},
        {EWOULDBLOCK, true, false, false, false},
        {EEXIST, false, true, false, false},
        {ENOENT, false, false, false, true},
        {EIO, false, false, false, false},
    };
    for (const auto& c : kErrors) {
        errno = c.nErrno;
        EXPECT_EQ(LFile::IsErrorSharingViolation(), c.bSharing) << c.nErrno;
        errno = c.nErrno;
        EXPECT_EQ(LFile::IsErrorAlreadyExists(), c.bExists) << c.nErrno;
        errno = c.nErrno;
        EXPECT_EQ(LFile::IsErrorPermissionDenied(), c.bDenied) << c.nErrno;
        errno = c.nErrno;
        EXPECT_EQ(LFile::IsErrorFileNotFound(), c.bNotFound) << c.nErrno;
    }
    const char* const arAudio[] = {".wav", ".mp3", nullptr};
    const char* const arEmpty[] = {nullptr};
    const struct {
        const char* const* arList;
        const char* szExtension;
        bool bIn;
    } kLists[] = {
        {arAudio, ".MP3", true}, {arAudio, ".wav", true}, {arAudio, ".aif", false},
        {arAudio, "wav", false}, {arEmpty, ".wav", false}, {nullptr, ".wav", false}, {arAudio, nullptr, false},
    };
    for (const auto& c : kLists) EXPECT_EQ(LIsFileExtensionInList(c.arList, c.szExtension), c.bIn);
}

} // namespace
