// Sandbox paths and the bookmark manager: with a container (grant, persist,
// restore in a new process, stale and deleted bookmarks) and without one.
#include <gtest/gtest.h>

#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "tests/support/LTempFolder.h"
#include "xml/LXML.h"

using harlune::test::LTempFolder;

namespace {

const char* const kVariables[] = {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "HARLUNE_SANDBOX_CONTAINER"};

// A container and an outside folder in a private temporary folder, with the
// preferences pointed there too. Every case ends with the manager destroyed
// and the environment as it was.
class Sandbox : public testing::Test {
protected:
    void SetUp() override {
        for (const char* szName : kVariables) {
            const char* sz = std::getenv(szName);
            arOld.emplace_back(sz != nullptr ? sz : std::string(1, '\0'));
        }
        ASSERT_FALSE(folder.Path().empty());
        char szReal[PATH_MAX];
        ASSERT_NE(realpath(folder.Path().c_str(), szReal), nullptr);
        szRoot = szReal;
        setenv("XDG_CONFIG_HOME", (szRoot + "/config").c_str(), 1);
        setenv("XDG_DATA_HOME", (szRoot + "/data").c_str(), 1);
        szContainer = szRoot + "/container";
        szOutside = szRoot + "/outside";
        ASSERT_EQ(mkdir(szContainer.c_str(), 0700), 0);
        ASSERT_EQ(mkdir(szOutside.c_str(), 0700), 0);
        ASSERT_EQ(mkdir((szOutside + "/Music").c_str(), 0700), 0);
        ASSERT_EQ(mkdir((szRoot + "/containerX").c_str(), 0700), 0);
        Write(szOutside + "/a.txt");
        Write(szOutside + "/b.txt");
        Write(szContainer + "/own.txt");
        ASSERT_EQ(symlink(szOutside.c_str(), (szContainer + "/link").c_str()), 0);
        setenv("HARLUNE_SANDBOX_CONTAINER", szContainer.c_str(), 1);
    }
    void TearDown() override {
        LSandboxBookmarkManager::Destroy();
        for (size_t i = 0; i < arOld.size(); ++i) {
            if (arOld[i].size() == 1 && arOld[i][0] == '\0') {
                unsetenv(kVariables[i]);
            } else {
                setenv(kVariables[i], arOld[i].c_str(), 1);
            }
        }
    }
    static void Write(const std::string& szPath) { std::ofstream(szPath) << "x"; }

    // The keys stored under "SECURITY_BOOKMARK_KEYS", as this process reads
    // the defaults now.
    static std::vector<std::string> StoredKeys() {
        std::vector<std::string> ar;
        CFPropertyListRef value = CFPreferencesCopyAppValue(CFSTR("SECURITY_BOOKMARK_KEYS"),
                                                            CFSTR("com.zentalworks.HarluneVADPlugin"));
        if (value != nullptr && CFGetTypeID(value) == CFArrayGetTypeID()) {
            for (CFIndex i = 0; i < CFArrayGetCount(static_cast<CFArrayRef>(value)); ++i) {
                char sz[260];
                CFStringGetCString(static_cast<CFStringRef>(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(value), i)),
                                   sz, sizeof sz, kCFStringEncodingUTF8);
                ar.emplace_back(sz);
            }
        }
        if (value != nullptr) {
            CFRelease(value);
        }
        return ar;
    }
    static CFDataRef StoredData(CFStringRef strKey) {
        CFPropertyListRef value = CFPreferencesCopyAppValue(strKey, CFSTR("com.zentalworks.HarluneVADPlugin"));
        if (value != nullptr && CFGetTypeID(value) != CFDataGetTypeID()) {
            CFRelease(value);
            return nullptr;
        }
        return static_cast<CFDataRef>(value);
    }

    // Runs `body` in a forked process, which starts with no manager of its
    // own, and answers whether it returned true.
    template <typename Body>
    static bool InNewProcess(Body body) {
        const pid_t nChild = fork();
        if (nChild == 0) {
            LSandboxBookmarkManager::pInstance = nullptr; // a new launch: nothing inherited
            _exit(body() ? 0 : 1);
        }
        int nStatus = 0;
        return nChild > 0 && waitpid(nChild, &nStatus, 0) == nChild && WIFEXITED(nStatus) &&
               WEXITSTATUS(nStatus) == 0;
    }

    LTempFolder folder;
    std::vector<std::string> arOld;
    std::string szRoot;
    std::string szContainer;
    std::string szOutside;
};

TEST_F(Sandbox, PathsInsideOutsideAndThroughLinks) {
    struct Case {
        std::string szPath;
        bool bInSandbox;
        bool bAllowed;
        std::string szOutside; // empty: not mapped outside
    };
    const std::string szUpper = [&] {
        std::string sz = szContainer;
        sz.replace(sz.size() - 9, 9, "CONTAINER");
        return sz;
    }();
    const std::vector<Case> arCases = {
        {szContainer + "/own.txt", true, true, ""},
        {szContainer, true, true, ""},
        {szUpper + "/own.txt", true, true, ""},
        {szContainer + "/missing/new.txt", true, true, ""},
        {szRoot + "/containerX/file", false, false, ""},
        {szOutside + "/a.txt", false, false, ""},
        {szContainer + "/link/a.txt", true, false, szOutside + "/a.txt"},
        {szContainer + "/link/new/deeper.txt", true, false, szOutside + "/new/deeper.txt"},
        {szContainer + "/link", true, false, szOutside},
    };
    for (const Case& c : arCases) {
        SCOPED_TRACE(c.szPath);
        EXPECT_EQ(LFile::IsPathInSandbox(c.szPath.c_str()), c.bInSandbox);
        EXPECT_EQ(LSandboxBookmarkManager::IsAccessAllowedByEntitlement(c.szPath.c_str(), false), c.bAllowed);
        char szOut[260] = "junk";
        EXPECT_EQ(LFile::MakeNonSandboxedFilePath(szOut, c.szPath.c_str()), !c.szOutside.empty());
        EXPECT_EQ(std::string(szOut), c.szOutside);
    }
    char szOut[260];
    EXPECT_FALSE(LFile::MakeNonSandboxedFilePath(szOut, nullptr));
    EXPECT_FALSE(LFile::IsPathInSandbox(nullptr));
}

TEST_F(Sandbox, GrantsPersistAndComeBackInANewProcess) {
    ASSERT_NE(LSandboxBookmarkManager::Create(), nullptr);
    LSandboxBookmarkManager* pManager = LSandboxBookmarkManager::pInstance;
    const std::string szFile = szOutside + "/a.txt";
    const std::string szMusic = szOutside + "/Music";
    ASSERT_TRUE(LSandboxBookmarkManager::AddFilePath(szFile.c_str(), nullptr, true, true, "k1"));
    ASSERT_TRUE(LSandboxBookmarkManager::AddFilePath(szMusic.c_str(), nullptr, true, false, "k2"));
    LSandboxBookmarkItem* pItem = pManager->InstanceGetBookmark(szFile.c_str());
    ASSERT_NE(pItem, nullptr);
    EXPECT_TRUE(pItem->bFlag);
    EXPECT_TRUE(pItem->bBookmarkSaved);
    EXPECT_TRUE(LSandboxBookmarkManager::IsAccessStarted(szFile.c_str()));

    // The same path again: the same item, no new key. Paths compare without
    // regard to case; on a case-sensitive file system only a name that does
    // not exist as typed (read as a folder) can show it.
    EXPECT_TRUE(LSandboxBookmarkManager::AddFilePath(szFile.c_str(), nullptr, true, false, "k3"));
    EXPECT_EQ(pManager->InstanceGetBookmark(szFile.c_str()), pItem);
    const std::string szOtherCase = szOutside + "/MUSIC";
    EXPECT_TRUE(LSandboxBookmarkManager::AddFilePath(szOtherCase.c_str(), nullptr, true, false, "k3"));
    EXPECT_EQ(pManager->InstanceGetBookmark(szOtherCase.c_str()), pManager->InstanceGetBookmark(szMusic.c_str()));
    EXPECT_EQ(pManager->InstanceCopyKeys(), (std::vector<std::string>{"k1", "k2"}));

    // Paths of the container itself need no item.
    EXPECT_TRUE(LSandboxBookmarkManager::AddFilePath((szContainer + "/own.txt").c_str(), nullptr, true, false, "k4"));
    EXPECT_EQ(pManager->InstanceGetBookmark((szContainer + "/own.txt").c_str()), nullptr);

    // A second key for the file, and the folder found as a parent.
    EXPECT_TRUE(LSandboxBookmarkManager::AddFilePathToSettings(szFile.c_str(), false, "k5"));
    EXPECT_EQ(pItem->CopyKeys(), (std::vector<std::string>{"k1", "k5"}));
    EXPECT_EQ(pManager->InstanceGetParentBookmark((szMusic + "/song.mp3").c_str()),
              pManager->InstanceGetBookmark(szMusic.c_str()));
    EXPECT_FALSE(LSandboxBookmarkManager::AddFilePathToSettings((szOutside + "/b.txt").c_str(), false, "k6"));
    EXPECT_EQ(StoredKeys(), (std::vector<std::string>{"k1", "k2", "k5"}));

    // Start and stop answer for a change only.
    EXPECT_FALSE(LSandboxBookmarkManager::StartAccessingSecurityScopedResource(szFile.c_str()));
    EXPECT_TRUE(LSandboxBookmarkManager::StopAccessingSecurityScopedResource(szFile.c_str()));
    EXPECT_FALSE(LSandboxBookmarkManager::StopAccessingSecurityScopedResource(szFile.c_str()));
    EXPECT_TRUE(LSandboxBookmarkManager::StartAccessingSecurityScopedResource(szFile.c_str()));

    EXPECT_TRUE(InNewProcess([&] {
        LSandboxBookmarkManager* p = LSandboxBookmarkManager::Create();
        LSandboxBookmarkItem* pFile = p->InstanceGetBookmark(szFile.c_str());
        LSandboxBookmarkItem* pFolder = p->InstanceGetBookmark(szMusic.c_str());
        return pFile != nullptr && pFolder != nullptr && pFile != pFolder &&
               pFile->CopyKeys() == std::vector<std::string>{"k1", "k5"} && pFile->nUseCount == 2 &&
               LSandboxBookmarkManager::IsAccessStarted(szMusic.c_str()) &&
               p->InstanceCopyKeys() == std::vector<std::string>{"k1", "k2", "k5"};
    }));

    // Releasing to zero forgets the grant and its stored keys.
    EXPECT_TRUE(LSandboxBookmarkManager::Retain(szMusic.c_str()));
    EXPECT_TRUE(LSandboxBookmarkManager::Release(szMusic.c_str()));
    EXPECT_NE(pManager->InstanceGetBookmark(szMusic.c_str()), nullptr);
    EXPECT_TRUE(LSandboxBookmarkManager::Release(szMusic.c_str()));
    EXPECT_EQ(pManager->InstanceGetBookmark(szMusic.c_str()), nullptr);
    EXPECT_EQ(StoredKeys(), (std::vector<std::string>{"k1", "k5"}));
    CFDataRef data = StoredData(CFSTR("k2"));
    EXPECT_EQ(data, nullptr);
    if (data != nullptr) {
        CFRelease(data);
    }
    EXPECT_FALSE(LSandboxBookmarkManager::Release(szMusic.c_str()));
}

TEST_F(Sandbox, StaleBookmarkIsStoredAgainAndDeletedPathDropped) {
    const std::string szA = szOutside + "/a.txt";
    const std::string szB = szOutside + "/b.txt";
    LSandboxBookmarkManager::Create();
    ASSERT_TRUE(LSandboxBookmarkManager::AddFilePath(szA.c_str(), nullptr, true, false, "ka"));
    ASSERT_TRUE(LSandboxBookmarkManager::AddFilePath(szB.c_str(), nullptr, true, false, "kb"));
    LSandboxBookmarkManager::Destroy();

    // a.txt is replaced by another file (new inode); b.txt is deleted.
    Write(szOutside + "/a.new");
    ASSERT_EQ(rename((szOutside + "/a.new").c_str(), szA.c_str()), 0);
    ASSERT_EQ(unlink(szB.c_str()), 0);
    CFDataRef before = StoredData(CFSTR("ka"));
    ASSERT_NE(before, nullptr);
    Boolean bStale = false;
    CFURLRef url = CFURLCreateByResolvingBookmarkData(nullptr, before, 0, nullptr, nullptr, &bStale, nullptr);
    ASSERT_NE(url, nullptr);
    EXPECT_TRUE(bStale);
    CFRelease(url);
    CFRelease(before);

    EXPECT_TRUE(InNewProcess([&] {
        LSandboxBookmarkManager* p = LSandboxBookmarkManager::Create();
        return p->InstanceGetBookmark(szA.c_str()) != nullptr && p->InstanceGetBookmark(szB.c_str()) == nullptr &&
               p->InstanceCopyKeys() == std::vector<std::string>{"ka"};
    }));

    EXPECT_EQ(StoredKeys(), (std::vector<std::string>{"ka"}));
    CFDataRef gone = StoredData(CFSTR("kb"));
    EXPECT_EQ(gone, nullptr);
    if (gone != nullptr) {
        CFRelease(gone);
    }
    CFDataRef after = StoredData(CFSTR("ka"));
    ASSERT_NE(after, nullptr);
    url = CFURLCreateByResolvingBookmarkData(nullptr, after, 0, nullptr, nullptr, &bStale, nullptr);
    ASSERT_NE(url, nullptr);
    EXPECT_FALSE(bStale);
    CFRelease(url);
    CFRelease(after);
}

TEST_F(Sandbox, WithoutAContainerEverythingIsAllowedAndNothingStored) {
    unsetenv("HARLUNE_SANDBOX_CONTAINER");
    LSandboxBookmarkManager* pManager = LSandboxBookmarkManager::Create();
    ASSERT_NE(pManager, nullptr);
    const std::string szFile = szOutside + "/a.txt";
    EXPECT_TRUE(LSandboxBookmarkManager::IsAccessAllowedByEntitlement(szFile.c_str(), true));
    EXPECT_FALSE(LFile::IsPathInSandbox(szFile.c_str()));
    EXPECT_TRUE(LSandboxBookmarkManager::AddFilePath(szFile.c_str(), nullptr, true, false, "k1"));
    EXPECT_FALSE(LSandboxBookmarkManager::AddFilePathToSettings(szFile.c_str(), false, "k1"));
    EXPECT_EQ(pManager->InstanceGetBookmark(szFile.c_str()), nullptr);
    EXPECT_TRUE(pManager->InstanceCopyKeys().empty());
    EXPECT_TRUE(StoredKeys().empty());
    struct stat st {};
    EXPECT_NE(stat((szRoot + "/config").c_str(), &st), 0) << "nothing may be written";
}

// Bookmark data that is not our record never resolves; a record survives a
// round trip with its path.
TEST(BookmarkRecord, ForeignAndDamagedDataIsRefused) {
    const std::vector<std::string> arBad = {
        "",
        "HBK1",
        std::string("book\0\0\0\0", 8) + std::string(40, 'x'), // a platform bookmark's start
        std::string("HBK1") + std::string(16, '\0') + "relative/path",
        std::string("HBK1") + std::string(16, '\0') + std::string("/a\0b", 4),
        std::string("HBK1") + std::string(16, '\0') + "/no/such/file/anywhere",
    };
    for (const std::string& sz : arBad) {
        SCOPED_TRACE(sz.size());
        CFDataRef data = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(sz.data()), static_cast<CFIndex>(sz.size()));
        Boolean bStale = true;
        CFErrorRef error = nullptr;
        EXPECT_EQ(CFURLCreateByResolvingBookmarkData(nullptr, data, 0, nullptr, nullptr, &bStale, &error), nullptr);
        EXPECT_FALSE(bStale);
        EXPECT_NE(error, nullptr);
        if (error != nullptr) {
            CFRelease(error);
        }
        CFRelease(data);
    }

    LTempFolder folder;
    const std::string szPath = folder / "file";
    std::ofstream(szPath) << "x";
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<const UInt8*>(szPath.c_str()),
                                                           static_cast<CFIndex>(szPath.size()), false);
    CFDataRef data = CFURLCreateBookmarkData(nullptr, url, kCFURLBookmarkCreationWithSecurityScope, nullptr, nullptr,
                                             nullptr);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)) + 20,
                          static_cast<size_t>(CFDataGetLength(data)) - 20),
              szPath);
    Boolean bStale = true;
    CFURLRef resolved = CFURLCreateByResolvingBookmarkData(nullptr, data, kCFURLBookmarkResolutionWithSecurityScope,
                                                           nullptr, nullptr, &bStale, nullptr);
    ASSERT_NE(resolved, nullptr);
    EXPECT_FALSE(bStale);
    EXPECT_TRUE(CFURLStartAccessingSecurityScopedResource(resolved));
    CFURLStopAccessingSecurityScopedResource(resolved);
    CFRelease(resolved);
    CFRelease(data);
    CFRelease(url);
}

} // namespace
