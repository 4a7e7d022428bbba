// The box's acquired state survives a new audio server process: a second
// process loads the bundle afresh with the same storage and reads it back.
#include "tests/support/LDriverFixture.h"
#include "tests/support/LPropertyValue.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>

extern char** environ;

namespace harlune::test {
namespace {

// Runs this test binary again with only the child case and the given storage.
int RunChild(const std::string& szStorage, const char* szExpected) {
    std::vector<std::string> arEnv;
    for (char** p = environ; *p != nullptr; ++p) {
        arEnv.emplace_back(*p);
    }
    arEnv.push_back("HARLUNE_RELOAD_STORAGE=" + szStorage);
    arEnv.push_back(std::string("HARLUNE_RELOAD_EXPECT=") + szExpected);
    std::vector<char*> envp;
    for (std::string& s : arEnv) {
        envp.push_back(s.data());
    }
    envp.push_back(nullptr);
    std::string szSelf = "/proc/self/exe";
    std::string szFilter = "--gtest_filter=BoxAcquiredReloadChild.*";
    char* argv[] = {szSelf.data(), szFilter.data(), nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, szSelf.c_str(), nullptr, nullptr, argv, envp.data()) != 0) {
        return -1;
    }
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
}

TEST(BoxAcquiredReloadTest, StoredStateIsReadByTheNextProcess) {
    LTempFolder folder;
    const std::string szStorage = folder / "storage";
    {
        std::string szError;
        auto pHost = host::LHost::Load({HARLUNE_BUNDLE_PATH, szStorage}, &szError);
        ASSERT_NE(pHost, nullptr) << szError;
        const AudioObjectPropertyAddress address = Address(kAudioBoxPropertyAcquired);
        const UInt32 dwReleased = 0;
        ASSERT_EQ(pHost->Entries()->SetPropertyData(pHost->Driver(), 2, 0, &address, 0, nullptr, 4, &dwReleased), 0);
    }
    EXPECT_EQ(RunChild(szStorage, "0"), 0);
    // And with nothing stored, a fresh process starts acquired.
    EXPECT_EQ(RunChild(folder / "empty", "1"), 0);
}

TEST(BoxAcquiredReloadChild, ReadsTheStoredState) {
    const char* szStorage = std::getenv("HARLUNE_RELOAD_STORAGE");
    const char* szExpected = std::getenv("HARLUNE_RELOAD_EXPECT");
    if (szStorage == nullptr || szExpected == nullptr) {
        GTEST_SKIP() << "runs only as the child of BoxAcquiredReloadTest";
    }
    std::string szError;
    auto pHost = host::LHost::Load({HARLUNE_BUNDLE_PATH, szStorage}, &szError);
    ASSERT_NE(pHost, nullptr) << szError;
    const LAnswer answer = GetAnswer(pHost->Driver(), 2, Address(kAudioBoxPropertyAcquired), 4);
    ASSERT_EQ(answer.status, 0);
    EXPECT_EQ(answer.As<UInt32>(), static_cast<UInt32>(std::atoi(szExpected)));
    // The plug-in publishes the device exactly when the box is acquired.
    EXPECT_EQ(GetAnswer(pHost->Driver(), 1, Address(kAudioPlugInPropertyDeviceList), 4).IDs().size(),
              static_cast<std::size_t>(std::atoi(szExpected)));
}

} // namespace
} // namespace harlune::test
