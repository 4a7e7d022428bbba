// Volume names: existing paths give their mount folder as the system's own
// mount table says; paths that do not exist get the textual forms.
#include "files/LFiles.h"

#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace {

constexpr size_t kPathBytes = 260;

// The mount folder as findmnt-like tools see it: the longest mount point of
// /proc/self/mounts that contains the path.
std::string MountPointOf(const std::string& szRealPath) {
    std::ifstream mounts("/proc/self/mounts");
    std::string szDevice, szMount, szRest, szBest;
    while (mounts >> szDevice >> szMount && std::getline(mounts, szRest)) {
        const bool bContains = szMount == "/" || szRealPath == szMount ||
                               szRealPath.compare(0, szMount.size() + 1, szMount + "/") == 0;
        if (bContains && szMount.size() >= szBest.size() && szMount.find('\\') == std::string::npos) {
            szBest = szMount;
        }
    }
    return szBest;
}

TEST(LVolumeName, ExistingPathsGiveTheirMountFolder) {
    harlune::test::LTempFolder folder;
    ASSERT_FALSE(folder.Path().empty());
    char* szReal = realpath(folder.Path().c_str(), nullptr);
    ASSERT_NE(szReal, nullptr);
    const std::string szRealFolder = szReal;
    free(szReal);

    const std::string arPaths[] = {"/", folder.Path(), "/proc/self", "/dev/null"};
    for (const std::string& szPath : arPaths) {
        char* szResolved = realpath(szPath.c_str(), nullptr);
        ASSERT_NE(szResolved, nullptr) << szPath;
        const std::string szExpected = MountPointOf(szResolved);
        free(szResolved);
        char szDrive[kPathBytes];
        LFile::GetHumanReadableDriveFromPath(szDrive, szPath.c_str());
        EXPECT_EQ(szDrive, szExpected) << szPath;
    }
    char szRoot[kPathBytes];
    LFile::GetHumanReadableDriveFromPath(szRoot, "/");
    EXPECT_STREQ(szRoot, "/");
}

TEST(LVolumeName, MissingPathsGiveTextualForms) {
    struct Case {
        const char* szPath;
        const char* szDrive;
    } arCases[] = {
        {"C:\\work", "C:\\"},
        {"D:", "D:\\"},
        {"vol2/x/y", "vol2:\\"},
        {"/no/such/harlune/folder", "/"},
        {".hidden/x", ""},
        {"", ""},
        {nullptr, ""},
    };
    for (const Case& c : arCases) {
        char szDrive[kPathBytes] = "garbage";
        LFile::GetHumanReadableDriveFromPath(szDrive, c.szPath);
        EXPECT_STREQ(szDrive, c.szDrive) << (c.szPath ? c.szPath : "(null)");
    }
    const std::string szLongRun(400, 'a');
    char szDrive[kPathBytes + 4];
    memset(szDrive, 'Z', sizeof(szDrive));
    LFile::GetHumanReadableDriveFromPath(szDrive, szLongRun.c_str());
    EXPECT_EQ(strlen(szDrive), 259u);
    EXPECT_EQ(std::string(szDrive).substr(257), ":\\");
}

} // namespace
