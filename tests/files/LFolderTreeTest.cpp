// Folder trees: creating with parents, deleting whole trees without
// following links, pruning old files, and sizes checked against find.
#include "files/LFiles.h"

#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using harlune::test::LTempFolder;

void WriteBytes(const std::string& szPath, size_t nBytes) { std::ofstream(szPath) << std::string(nBytes, 'x'); }

// What the shell's find reports: the sum of the sizes of non-folders,
// links counted as themselves.
uint64_t FindSum(const std::string& szFolder, bool bDeep) {
    std::string szCommand = "find '" + szFolder + "' -mindepth 1 " + (bDeep ? "" : "-maxdepth 1 ") +
                            "! -type d -printf '%s\\n'";
    FILE* p = popen(szCommand.c_str(), "r");
    if (p == nullptr) return ~0ULL;
    uint64_t nSum = 0;
    unsigned long long n = 0;
    while (fscanf(p, "%llu", &n) == 1) nSum += n;
    pclose(p);
    return nSum;
}

TEST(LFolderTree, CreateFolderTreeMakesEveryMissingParentOnce) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    const struct {
        std::string szPath;
        bool bResult;
    } kSteps[] = {
        {tmp / "a/b/c", true},  {tmp / "a/b/c", false}, {tmp / "a/b/d", true},
        {tmp / "a\\x", true},   // "\" separates too, but Linux makes "a\x" in tmp
        {"", false},
    };
    for (const auto& s : kSteps) {
        SCOPED_TRACE(s.szPath);
        EXPECT_EQ(LFile::CreateFolderTree(s.szPath.c_str()), s.bResult);
    }
    EXPECT_TRUE(fs::is_directory(tmp / "a/b/c"));
    EXPECT_TRUE(fs::is_directory(tmp / "a/b/d"));
    EXPECT_FALSE(LFile::CreateFolderTree(nullptr));
    // A parent that is a file cannot be made.
    WriteBytes(tmp / "file", 1);
    EXPECT_FALSE(LFile::CreateFolderTree((tmp / "file/sub").c_str()));
}

TEST(LFolderTree, DeleteFolderTreeRemovesEverythingButLinkTargets) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    fs::create_directories(tmp / "tree/sub/deeper");
    fs::create_directories(tmp / "outside/keep");
    WriteBytes(tmp / "outside/keep/precious", 7);
    WriteBytes(tmp / "tree/one", 3);
    WriteBytes(tmp / "tree/sub/two", 3);
    WriteBytes(tmp / "tree/sub/deeper/three", 3);
    fs::create_directory_symlink(tmp / "outside", tmp / "tree/sub/link");
    symlink("/nonexistent/dangling", (tmp / "tree/dangling").c_str());

    EXPECT_TRUE(LFile::DeleteFolderTree((tmp / "tree").c_str()));
    EXPECT_FALSE(fs::exists(fs::symlink_status(tmp / "tree")));
    EXPECT_TRUE(fs::exists(tmp / "outside/keep/precious"));

    const struct {
        std::string szPath;
        bool bResult;
    } kRefused[] = {
        {"", false},
        {tmp / "outside/keep/precious", false}, // a plain file
        {tmp / "missing", false},
    };
    for (const auto& c : kRefused) {
        EXPECT_EQ(LFile::DeleteFolderTree(c.szPath.c_str()), c.bResult) << c.szPath;
        EXPECT_EQ(LFile::DeleteFolderTree(c.szPath.c_str(), 100), c.bResult) << c.szPath;
    }
    EXPECT_TRUE(fs::exists(tmp / "outside/keep/precious"));
    // A link to a folder named as the tree is not followed.
    fs::create_directory_symlink(tmp / "outside", tmp / "alias");
    EXPECT_FALSE(LFile::DeleteFolderTree((tmp / "alias").c_str()));
    EXPECT_TRUE(fs::exists(tmp / "outside/keep/precious"));
    // The waiting form removes an ordinary tree at once.
    EXPECT_TRUE(LFile::DeleteFolderTree((tmp / "outside").c_str(), 1000));
    EXPECT_FALSE(fs::exists(tmp / "outside"));
}

TEST(LFolderTree, DeleteFolderTreeReachesBeyondPathLimit) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    std::string szDeep = tmp / "top";
    while (szDeep.size() < 600) szDeep += "/" + std::string(40, 'd');
    fs::create_directories(szDeep);
    WriteBytes(szDeep + "/leaf", 4);
    EXPECT_TRUE(LFile::DeleteFolderTree((tmp / "top").c_str()));
    EXPECT_FALSE(fs::exists(tmp / "top"));
}

TEST(LFolderTree, BusyWaitsDoubleWithinTheAllowance) {
    const struct {
        unsigned nAllowance;
        std::vector<unsigned> arWaits;
    } kCases[] = {
        {0, {}},
        {1, {}},
        {128, {1, 2, 4, 8, 16, 32, 64}},
        {256, {2, 4, 8, 16, 32, 64, 128}},
        {1000, {8, 16, 32, 64, 128, 256}},
    };
    for (const auto& c : kCases) {
        unsigned arWaits[40];
        const unsigned n = LFile::_GetBusyFolderWaits(c.nAllowance, arWaits, 40);
        EXPECT_EQ(std::vector<unsigned>(arWaits, arWaits + n), c.arWaits) << c.nAllowance;
    }
    // The largest allowance never wraps into an endless schedule.
    EXPECT_LT(LFile::_GetBusyFolderWaits(~0U, nullptr, 0), 40U);
}

TEST(LFolderTree, DeleteOldFilesByAgeAndPattern) {
    const int64_t nNow = static_cast<int64_t>(time(nullptr));
    const struct {
        int nDays;
        int64_t nNow;         // the clock the test pretends
        const char* szPattern;
        std::vector<std::string> arLeft; // sorted names left behind
    } kCases[] = {
        {0, nNow + 10 * 86400, "*", {"__MACOSX.log", "a.log", "b.txt", "sub"}},
        {1, nNow + 3600, "*", {"__MACOSX.log", "a.log", "b.txt", "sub"}},   // an hour old: kept
        {1, nNow + 2 * 86400, "*.LOG", {"__MACOSX.log", "b.txt", "sub"}},   // two days old, case ignored
        {3, nNow + 2 * 86400, "*", {"__MACOSX.log", "a.log", "b.txt", "sub"}},
        {1, nNow + 2 * 86400, "?.txt", {"__MACOSX.log", "a.log", "sub"}},
        {1, nNow + 2 * 86400, nullptr, {"__MACOSX.log", "sub"}},
    };
    for (const auto& c : kCases) {
        LTempFolder tmp;
        ASSERT_FALSE(tmp.Path().empty());
        WriteBytes(tmp / "a.log", 1);
        WriteBytes(tmp / "b.txt", 1);
        WriteBytes(tmp / "__MACOSX.log", 1);
        fs::create_directory(tmp / "sub");
        WriteBytes(tmp / "sub/inner.log", 1);
        LFile::_DeleteOldFilesAt(tmp.Path().c_str(), c.szPattern, c.nDays, c.nNow);
        std::vector<std::string> arLeft;
        for (const auto& e : fs::directory_iterator(tmp.Path())) arLeft.push_back(e.path().filename());
        std::sort(arLeft.begin(), arLeft.end());
        EXPECT_EQ(arLeft, c.arLeft) << c.nDays << " " << (c.szPattern ? c.szPattern : "(null)");
        EXPECT_TRUE(fs::exists(tmp / "sub/inner.log"));
    }
}

TEST(LFolderTree, FolderSizeAgreesWithFind) {
    LTempFolder tmp;
    ASSERT_FALSE(tmp.Path().empty());
    WriteBytes(tmp / "ten", 10);
    WriteBytes(tmp / "twenty", 20);
    fs::create_directories(tmp / "sub/deeper");
    WriteBytes(tmp / "sub/five", 5);
    WriteBytes(tmp / "sub/deeper/seven", 7);
    EXPECT_EQ(LFile::GetFolderSizeBytes(tmp.Path().c_str(), false), 30U);
    EXPECT_EQ(LFile::GetFolderSizeBytes(tmp.Path().c_str(), true), 42U);

    // Links are measured as themselves, a sparse 5 GiB file in full.
    fs::create_directory_symlink(tmp / "sub", tmp / "link");
    std::ofstream(tmp / "big").close();
    ASSERT_EQ(truncate((tmp / "big").c_str(), 5LL << 30), 0);
    for (bool bDeep : {false, true}) {
        EXPECT_EQ(LFile::GetFolderSizeBytes(tmp.Path().c_str(), bDeep), FindSum(tmp.Path(), bDeep)) << bDeep;
    }
    EXPECT_GE(LFile::GetFolderSizeBytes(tmp.Path().c_str(), false), 5ULL << 30);
    EXPECT_EQ(LFile::GetFolderSizeBytes((tmp / "missing").c_str(), true), 0U);
    EXPECT_EQ(LFile::GetFolderSizeBytes((tmp / "ten").c_str(), true), 0U);
}

} // namespace
