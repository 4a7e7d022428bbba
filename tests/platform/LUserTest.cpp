// Root and administrator checks and user switching, in child processes
// whose user and group ids are changed (which needs a test run as root).
#include "platform/LPlatform.h"

#include "tests/platform/LChildProcess.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <grp.h>
#include <pwd.h>
#include <string>
#include <unistd.h>

namespace {

using harlune::test::Check;
using harlune::test::RunInChild;

struct Nobody {
    uid_t nUid = 0;
    gid_t nGid = 0;
    bool bFound = false;
};

Nobody FindNobody() {
    Nobody nobody;
    if (const passwd* pEntry = getpwnam("nobody")) {
        nobody = {pEntry->pw_uid, pEntry->pw_gid, true};
    }
    return nobody;
}

// The id of an administrator group this system has, or -1.
long AdministratorGroup() {
    for (const char* szName : {"sudo", "wheel", "admin"}) {
        if (const group* pEntry = getgrnam(szName)) {
            return pEntry->gr_gid;
        }
    }
    return -1;
}

class LUserTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "changing user ids needs a test run as root";
        }
        m_nobody = FindNobody();
        if (!m_nobody.bFound) {
            GTEST_SKIP() << "no user \"nobody\"";
        }
    }
    Nobody m_nobody;
};

TEST_F(LUserTest, RootIsTheRealUserOrTheUserVariable) {
    const Nobody nobody = m_nobody;
    struct Case {
        bool bDropIds;
        const char* szUser;
        bool bRoot;
    } arCases[] = {
        {false, "someone", true}, {true, "someone", false}, {true, "root", true}, {true, nullptr, false}, {true, "Root", false},
    };
    for (const Case& c : arCases) {
        const std::string szFailures = RunInChild([&] {
            std::string szOut;
            if (c.szUser == nullptr) {
                unsetenv("USER");
            } else {
                setenv("USER", c.szUser, 1);
            }
            if (c.bDropIds && (setgroups(0, nullptr) != 0 || setresgid(nobody.nGid, nobody.nGid, nobody.nGid) != 0 ||
                               setresuid(nobody.nUid, nobody.nUid, nobody.nUid) != 0)) {
                return std::string("could not drop ids");
            }
            Check(szOut, "LIsUserRoot", LIsUserRoot(), c.bRoot);
            Check(szOut, "root is an administrator", !c.bRoot || LIsUserAdministrator(), true);
            return szOut;
        });
        EXPECT_EQ(szFailures, "") << (c.szUser ? c.szUser : "(unset)") << (c.bDropIds ? " as nobody" : " as root");
    }
}

TEST_F(LUserTest, AdministratorsAreMembersOfAnAdministratorGroup) {
    const long nAdminGroup = AdministratorGroup();
    if (nAdminGroup < 0) {
        GTEST_SKIP() << "this system has no sudo, wheel or admin group";
    }
    const Nobody nobody = m_nobody;
    const gid_t nAdmin = static_cast<gid_t>(nAdminGroup);
    struct Case {
        const char* szName;
        bool bSupplementary; // the admin group among the supplementary groups
        bool bEffective;     // the admin group as the effective group
        bool bAdministrator;
    } arCases[] = {
        {"no admin group", false, false, false},
        {"supplementary", true, false, true},
        {"effective group", false, true, true},
    };
    for (const Case& c : arCases) {
        const std::string szFailures = RunInChild([&] {
            std::string szOut;
            unsetenv("USER");
            const gid_t arGroups[] = {nAdmin};
            const gid_t nEffective = c.bEffective ? nAdmin : nobody.nGid;
            if (setgroups(c.bSupplementary ? 1 : 0, arGroups) != 0 ||
                setresgid(nobody.nGid, nEffective, nobody.nGid) != 0 ||
                setresuid(nobody.nUid, nobody.nUid, nobody.nUid) != 0) {
                return std::string("could not change ids");
            }
            Check(szOut, "LIsUserAdministrator", LIsUserAdministrator(), c.bAdministrator);
            Check(szOut, "LIsUserRunningAsAdministrator", LIsUserRunningAsAdministrator(), c.bAdministrator);
            return szOut;
        });
        EXPECT_EQ(szFailures, "") << c.szName;
    }
}

TEST_F(LUserTest, SwitchingTheEffectiveUser) {
    const Nobody nobody = m_nobody;
    struct Case {
        const char* szLogname;
        const char* szUser;
        bool bSwitched;
    } arCases[] = {
        {"nobody", "root", true},
        {"", "nobody", true},
        {nullptr, "nobody", true},
        {"no-such-harlune-user", "nobody", false},
        {nullptr, nullptr, false},
    };
    for (const Case& c : arCases) {
        const std::string szFailures = RunInChild([&] {
            std::string szOut;
            for (auto [szVariable, szValue] : {std::pair{"LOGNAME", c.szLogname}, std::pair{"USER", c.szUser}}) {
                if (szValue == nullptr) {
                    unsetenv(szVariable);
                } else {
                    setenv(szVariable, szValue, 1);
                }
            }
            Check(szOut, "LSwitchToUser", LSwitchToUser(), c.bSwitched);
            Check(szOut, "effective user", geteuid(), c.bSwitched ? nobody.nUid : 0u);
            Check(szOut, "real user stays", getuid(), 0u);
            Check(szOut, "LSwitchToRoot", LSwitchToRoot(), true);
            Check(szOut, "effective user back", geteuid(), 0u);
            return szOut;
        });
        EXPECT_EQ(szFailures, "") << (c.szLogname ? c.szLogname : "(unset)") << " / " << (c.szUser ? c.szUser : "(unset)");
    }

    const std::string szFailures = RunInChild([&] {
        std::string szOut;
        if (setresuid(nobody.nUid, nobody.nUid, nobody.nUid) != 0) {
            return std::string("could not drop ids");
        }
        Check(szOut, "LSwitchToRoot refused", LSwitchToRoot(), false);
        return szOut;
    });
    EXPECT_EQ(szFailures, "");
}

} // namespace
