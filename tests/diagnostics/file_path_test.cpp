// Path joining, the special folders under the XDG rules, and the existence
// test.
#include "diagnostics/LDiagnostics.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using harlune::test::LTempFolder;

struct MakePathCase {
    const char* szCase;
    std::string szFolder;
    const char* szName;
    const char* szExtension;
    std::string szExpected;
};

TEST(MakeFilePath, JoinsAndCuts) {
    const std::string sz300(300, 'f');
    const std::string sz258(258, 'f');
    const MakePathCase arCases[] = {
        {"plain", "/a/b", "c", ".txt", "/a/b/c.txt"},
        {"slash kept", "/a/b/", "c", ".txt", "/a/b/c.txt"},
        {"backslash kept", "C:\\x\\", "c", nullptr, "C:\\x\\c"},
        {"empty folder adds no slash", "", "c", ".d", "c.d"},
        {"null name and extension", "/a", nullptr, nullptr, "/a/"},
        {"folder cut to 258 then slash", sz300, "n", "", sz258 + "/"},
        {"name cut at 259", "/a", sz300.c_str(), ".x", "/a/" + std::string(256, 'f')},
    };
    for (const MakePathCase& c : arCases) {
        char szOut[kLMaxPath];
        memset(szOut, 'Z', sizeof szOut);
        EXPECT_EQ(LFile::_MakeFilePath(szOut, c.szFolder.c_str(), c.szName, c.szExtension), szOut) << c.szCase;
        EXPECT_EQ(std::string(szOut), c.szExpected) << c.szCase;
        EXPECT_LT(strlen(szOut), kLMaxPath) << c.szCase;
    }
}

TEST(MakeFilePath, DestinationMayBeTheFolder) {
    char szPath[kLMaxPath] = "/var/tmp";
    LFile::_MakeFilePath(szPath, szPath, "x", ".y");
    EXPECT_STREQ(szPath, "/var/tmp/x.y");
    EXPECT_EQ(LFile::_MakeFilePath(nullptr, "/a", "b", "c"), nullptr);
}

// Sets environment variables for one case and restores them afterwards.
class EnvironmentScope {
public:
    void Set(const char* szName, const char* szValue) {
        const char* szOld = getenv(szName);
        m_arSaved.push_back({szName, szOld ? std::optional<std::string>(szOld) : std::nullopt});
        if (szValue == nullptr) unsetenv(szName);
        else setenv(szName, szValue, 1);
    }
    ~EnvironmentScope() {
        for (auto it = m_arSaved.rbegin(); it != m_arSaved.rend(); ++it) {
            if (it->second) setenv(it->first.c_str(), it->second->c_str(), 1);
            else unsetenv(it->first.c_str());
        }
    }

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> m_arSaved;
};

struct FolderCase {
    const char* szCase;
    LSearchPathDirectory eDirectory;
    const char* szXdgCache;  // relative to the test folder when it starts with "@"
    const char* szXdgData;
    const char* szExpected;  // relative to the test folder
};

TEST(UserSpecialFolder, FollowsTheXdgRules) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    const std::string szCacheAbs = tmp / "xcache";
    const std::string szDataAbs = tmp / "xdata";
    const FolderCase arCases[] = {
        {"cache from XDG", kLCachesDirectory, "@xcache", nullptr, "xcache"},
        {"cache under home", kLCachesDirectory, nullptr, nullptr, "home/.cache"},
        {"relative XDG ignored", kLCachesDirectory, "rel/cache", nullptr, "home/.cache"},
        {"support from XDG", kLApplicationSupportDirectory, nullptr, "@xdata", "xdata"},
        {"support under home", kLApplicationSupportDirectory, nullptr, "", "home/.local/share"},
        {"unknown kind takes the fallback", kLLibraryDirectory, nullptr, nullptr, "home/Fallback/Sub"},
    };
    for (const FolderCase& c : arCases) {
        EnvironmentScope env;
        env.Set("HOME", (tmp / "home").c_str());
        auto resolve = [&](const char* sz) -> std::string {
            if (sz == nullptr) return {};
            return sz[0] == '@' ? tmp / (sz + 1) : std::string(sz);
        };
        const std::string szCache = resolve(c.szXdgCache);
        const std::string szData = resolve(c.szXdgData);
        env.Set("XDG_CACHE_HOME", c.szXdgCache ? szCache.c_str() : nullptr);
        env.Set("XDG_DATA_HOME", c.szXdgData ? szData.c_str() : nullptr);
        char szOut[kLMaxPath];
        EXPECT_TRUE(GetUserSpecialFolder(szOut, c.eDirectory, "Fallback/Sub")) << c.szCase;
        EXPECT_EQ(std::string(szOut), tmp / c.szExpected) << c.szCase;
    }
    // The fallback folder is created with its parents; the platform's
    // folders are left alone until something asks for the cache folder.
    EXPECT_TRUE(LFile::Exists((tmp / "home/Fallback/Sub").c_str()));
    EXPECT_FALSE(LFile::Exists((tmp / "home/.local/share").c_str()));
}

TEST(UserSpecialFolder, HomeFromTheUserDatabaseWhenUnset) {
    EnvironmentScope env;
    env.Set("HOME", nullptr);
    env.Set("XDG_DATA_HOME", nullptr);
    char szOut[kLMaxPath];
    ASSERT_TRUE(GetUserSpecialFolder(szOut, kLApplicationSupportDirectory, "x"));
    EXPECT_EQ(szOut[0], '/');
    EXPECT_NE(std::string(szOut).find("/.local/share"), std::string::npos);
}

TEST(TempFolder, CreatesTheMissingCacheFolder) {
    LTempFolder tmp;
    EnvironmentScope env;
    const std::string szCache = tmp / "deep/er/cache";
    env.Set("XDG_CACHE_HOME", szCache.c_str());
    char szOut[kLMaxPath];
    ASSERT_TRUE(LFile::GetTempFolder(szOut));
    EXPECT_EQ(std::string(szOut), szCache);
    struct stat st;
    ASSERT_EQ(stat(szCache.c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_FALSE(LFile::GetTempFolder(nullptr));
}

TEST(Exists, FilesFoldersAndWhatIsNotThere) {
    LTempFolder tmp;
    std::ofstream(tmp / "file") << "x";
    ASSERT_EQ(symlink((tmp / "nowhere").c_str(), (tmp / "dangling").c_str()), 0);
    const struct {
        std::string szPath;
        bool bExpected;
    } arCases[] = {
        {tmp / "file", true},
        {tmp.Path(), true},
        {tmp / "missing", false},
        {tmp / "dangling", false},
        {"", false},
    };
    for (const auto& c : arCases) EXPECT_EQ(LFile::Exists(c.szPath.c_str()), c.bExpected) << c.szPath;
    EXPECT_FALSE(LFile::Exists(nullptr));
}

} // namespace
