/*
 * Preferences: a process's own view before and after synchronizing, the
 * files of the domains, bad arguments, a corrupt file, and two processes
 * synchronizing the same domain at once without losing each other's values.
 */
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

using cftest::makeString;
using cftest::Owned;

namespace {

// Points the preferences at a private folder for one test.
class PreferencesTest : public ::testing::Test {
protected:
    void SetUp() override {
        const char *sz = getenv("XDG_CONFIG_HOME");
        m_szSaved = sz ? sz : "";
        m_bHadSaved = sz != nullptr;
        setenv("XDG_CONFIG_HOME", m_tmp.path().c_str(), 1);
    }
    void TearDown() override {
        if (m_bHadSaved) setenv("XDG_CONFIG_HOME", m_szSaved.c_str(), 1);
        else unsetenv("XDG_CONFIG_HOME");
    }
    std::filesystem::path Folder() const { return m_tmp.path() / "harlune" / "Preferences"; }

    cftest::TempDir m_tmp;
    std::string m_szSaved;
    bool m_bHadSaved = false;
};

std::string CopyText(const char *szKey, CFStringRef app, CFStringRef host = kCFPreferencesAnyHost) {
    Owned<CFStringRef> key(makeString(szKey));
    Owned<CFPropertyListRef> value(CFPreferencesCopyValue(key, app, kCFPreferencesCurrentUser, host));
    if (value.get() == nullptr) return "<none>";
    if (CFGetTypeID(value) != CFStringGetTypeID()) return "<not text>";
    return cftest::text((CFStringRef)value.get());
}

void SetText(const char *szKey, const char *szValue, CFStringRef app, CFStringRef host = kCFPreferencesAnyHost) {
    Owned<CFStringRef> key(makeString(szKey));
    Owned<CFStringRef> value(szValue ? makeString(szValue) : nullptr);
    CFPreferencesSetValue(key, value.get(), app, kCFPreferencesCurrentUser, host);
}

TEST_F(PreferencesTest, SetIsSeenAtOnceAndWrittenBySynchronize) {
    CFStringRef app = CFSTR("com.example.prefs");
    SetText("Software/IID", "abc-123", app);
    EXPECT_EQ(CopyText("Software/IID", app), "abc-123");
    EXPECT_FALSE(std::filesystem::exists(Folder() / "com.example.prefs.plist"));
    ASSERT_TRUE(CFPreferencesSynchronize(app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    EXPECT_TRUE(std::filesystem::exists(Folder() / "com.example.prefs.plist"));
    EXPECT_EQ(CopyText("Software/IID", app), "abc-123");
    // Removing, then synchronizing, leaves no value.
    SetText("Software/IID", nullptr, app);
    EXPECT_EQ(CopyText("Software/IID", app), "<none>");
    ASSERT_TRUE(CFPreferencesSynchronize(app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    EXPECT_EQ(CopyText("Software/IID", app), "<none>");
    // Nothing pending: synchronizing is a success that writes nothing.
    EXPECT_TRUE(CFPreferencesSynchronize(app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
}

TEST_F(PreferencesTest, HostDomainsAreSeparateFiles) {
    CFStringRef app = CFSTR("com.example.host");
    SetText("k", "any", app, kCFPreferencesAnyHost);
    SetText("k", "this", app, kCFPreferencesCurrentHost);
    ASSERT_TRUE(CFPreferencesSynchronize(app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    ASSERT_TRUE(CFPreferencesSynchronize(app, kCFPreferencesCurrentUser, kCFPreferencesCurrentHost));
    EXPECT_EQ(CopyText("k", app, kCFPreferencesAnyHost), "any");
    EXPECT_EQ(CopyText("k", app, kCFPreferencesCurrentHost), "this");
    int nByHost = 0;
    for (const auto &e : std::filesystem::directory_iterator(Folder() / "ByHost")) {
        const std::string szName = e.path().filename().string();
        nByHost += szName.rfind("com.example.host.", 0) == 0 && szName.size() > 23 &&
                   szName.substr(szName.size() - 6) == ".plist";
    }
    EXPECT_EQ(nByHost, 1);
    Owned<CFPropertyListRef> viaApp(CFPreferencesCopyAppValue(CFSTR("k"), app));
    ASSERT_NE(viaApp.get(), nullptr);
    EXPECT_EQ(cftest::text((CFStringRef)viaApp.get()), "any");
}

TEST_F(PreferencesTest, DomainsThatAreNotThere) {
    CFStringRef key = CFSTR("k");
    CFStringRef value = CFSTR("v");
    struct Case {
        const char *szCase;
        CFStringRef app;
        CFStringRef user;
        CFStringRef host;
    } arCases[] = {
        {"any user", CFSTR("com.example.x"), kCFPreferencesAnyUser, kCFPreferencesAnyHost},
        {"empty application", CFSTR(""), kCFPreferencesCurrentUser, kCFPreferencesAnyHost},
        {"application with a slash", CFSTR("../evil"), kCFPreferencesCurrentUser, kCFPreferencesAnyHost},
        {"hidden application", CFSTR(".hidden"), kCFPreferencesCurrentUser, kCFPreferencesAnyHost},
        {"null host", CFSTR("com.example.x"), kCFPreferencesCurrentUser, nullptr},
    };
    for (const Case &c : arCases) {
        CFPreferencesSetValue(key, value, c.app, c.user, c.host);
        EXPECT_EQ(CFPreferencesCopyValue(key, c.app, c.user, c.host), nullptr) << c.szCase;
        EXPECT_FALSE(CFPreferencesSynchronize(c.app, c.user, c.host)) << c.szCase;
    }
    EXPECT_EQ(CFPreferencesCopyValue(nullptr, CFSTR("com.example.x"), kCFPreferencesCurrentUser,
                                     kCFPreferencesAnyHost),
              nullptr);
    EXPECT_FALSE(std::filesystem::exists(m_tmp.path() / "evil.plist"));
    EXPECT_FALSE(std::filesystem::exists(Folder()));
}

TEST_F(PreferencesTest, CorruptFileReadsEmptyAndIsReplaced) {
    CFStringRef app = CFSTR("com.example.bad");
    m_tmp.write("harlune/Preferences/com.example.bad.plist", "<plist><dict><key>k</key>");
    EXPECT_EQ(CopyText("k", app), "<none>");
    SetText("k", "fixed", app);
    ASSERT_TRUE(CFPreferencesSynchronize(app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    EXPECT_EQ(CopyText("k", app), "fixed");
}

TEST_F(PreferencesTest, TwoProcessesNeverLoseEachOthersValues) {
    CFStringRef app = CFSTR("com.example.shared");
    constexpr int kRounds = 40;
    pid_t arChildren[2];
    for (int nChild = 0; nChild < 2; ++nChild) {
        arChildren[nChild] = fork();
        if (arChildren[nChild] == 0) {
            for (int i = 0; i < kRounds; ++i) {
                const std::string szKey = "p" + std::to_string(nChild) + "_" + std::to_string(i);
                SetText(szKey.c_str(), "x", app);
                if (!CFPreferencesSynchronize(app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost)) _exit(1);
            }
            _exit(0);
        }
    }
    for (pid_t pid : arChildren) {
        int nStatus = 0;
        ASSERT_EQ(waitpid(pid, &nStatus, 0), pid);
        EXPECT_TRUE(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0);
    }
    Owned<CFArrayRef> keys(CFPreferencesCopyKeyList(app, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
    ASSERT_NE(keys.get(), nullptr);
    EXPECT_EQ(CFArrayGetCount(keys), 2 * kRounds);
    // No temporary or half-written files are left beside the domain.
    int nFiles = 0;
    for (const auto &e : std::filesystem::directory_iterator(Folder())) nFiles += e.path().filename().string()[0] != '.';
    EXPECT_EQ(nFiles, 1);
}

} // namespace
