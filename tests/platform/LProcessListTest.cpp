// Process look-ups against real processes: a child started under a name of
// the test's choosing, the first process of the system, and names the
// kernel cuts.
#include "platform/LPlatform.h"

#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using harlune::test::LTempFolder;

std::string CommandNameOf(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::string szName;
    std::getline(file, szName);
    return szName;
}

// A child that sleeps under the name given (a link to sleep), killed and
// reaped when the test ends.
class NamedChild {
public:
    NamedChild(const LTempFolder& folder, const std::string& szName) {
        const std::string szLink = folder / szName;
        const char* szSleep = access("/bin/sleep", X_OK) == 0 ? "/bin/sleep" : "/usr/bin/sleep";
        if (symlink(szSleep, szLink.c_str()) != 0) {
            return;
        }
        m_pid = fork();
        if (m_pid == 0) {
            execl(szLink.c_str(), szName.c_str(), "30", static_cast<char*>(nullptr));
            _exit(127);
        }
        // The name changes when exec has happened; on a loaded machine that
        // can take a while, so wait up to 10 seconds before giving up.
        const std::string szExpected = szName.substr(0, 15);
        for (int i = 0; i < 1000 && m_pid > 0 && CommandNameOf(m_pid) != szExpected; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    ~NamedChild() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }
    pid_t Pid() const { return m_pid; }

private:
    pid_t m_pid = -1;
};

std::string UniqueName(const char* szPrefix) {
    return std::string(szPrefix) + std::to_string(getpid() % 100000);
}

TEST(LProcessList, ListHoldsThisProcessAndFreesWithFree) {
    kinfo_proc* pList = nullptr;
    const int nCount = LGetBSDProcessList(&pList);
    ASSERT_GT(nCount, 0);
    ASSERT_NE(pList, nullptr);
    bool bFound = false;
    for (int i = 0; i < nCount; ++i) {
        bFound = bFound || pList[i].kp_proc.p_pid == getpid();
    }
    EXPECT_TRUE(bFound);
    free(pList);
    EXPECT_EQ(LGetBSDProcessList(nullptr), 0);
}

TEST(LProcessList, FindsAChildByNameWithAndWithoutCase) {
    LTempFolder folder;
    const std::string szName = UniqueName("hlqRun");
    NamedChild child(folder, szName);
    ASSERT_GT(child.Pid(), 0);
    ASSERT_EQ(CommandNameOf(child.Pid()), szName);

    std::string szUpper = szName;
    for (char& c : szUpper) {
        c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    }
    struct Case {
        std::string szQuery;
        bool bRunning;     // LIsApplicationRunning: exact, with case
        bool bFoundByUid;  // LGetBSDProcessUid: without case
    } arCases[] = {
        {szName, true, true},
        {szUpper, false, true},
        {szName.substr(0, szName.size() - 1), false, false},
        {szName + "x", false, false},
    };
    for (const Case& c : arCases) {
        EXPECT_EQ(LIsApplicationRunning(c.szQuery.c_str()), c.bRunning) << c.szQuery;
        EXPECT_EQ(LGetBSDProcessUid(c.szQuery.c_str()),
                  c.bFoundByUid ? static_cast<unsigned int>(child.Pid()) : 0xFFFFFFFFu)
            << c.szQuery;
    }
}

TEST(LProcessList, LongNamesAreCutByTheKernel) {
    LTempFolder folder;
    const std::string szName = UniqueName("hlqVeryLongApplicationName");
    NamedChild child(folder, szName);
    ASSERT_GT(child.Pid(), 0);
    EXPECT_FALSE(LIsApplicationRunning(szName.c_str()));
    EXPECT_EQ(LGetBSDProcessUid(szName.c_str()), 0xFFFFFFFFu);
    EXPECT_TRUE(LIsApplicationRunning(szName.substr(0, 15).c_str()));
}

TEST(LProcessList, FirstProcessAndMissingNames) {
    const std::string szFirst = CommandNameOf(1);
    ASSERT_FALSE(szFirst.empty());
    EXPECT_EQ(LGetBSDProcessUid(szFirst.c_str()), 1u);
    EXPECT_EQ(LGetBSDProcessUid("no-such-harlune-process"), 0xFFFFFFFFu);
    EXPECT_EQ(LGetBSDProcessUid(nullptr), 0xFFFFFFFFu);
    EXPECT_FALSE(LIsApplicationRunning("no-such-harlune"));
    EXPECT_FALSE(LIsApplicationRunning(nullptr));
    EXPECT_FALSE(LIsApplicationRunning(""));
}

} // namespace
