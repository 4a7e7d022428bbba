// The host's per-plug-in storage file.
#include "host/LHostStorage.h"
#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace harlune::test {
namespace {

TEST(HostStorageTest, ValuesSurviveANewStorageOnTheSameFolder) {
    LTempFolder folder;
    const std::string szDir = folder / "deep/er/storage";
    SInt32 nValue = 42;
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &nValue);
    {
        host::LHostStorage storage(szDir, "com.example.plugin");
        EXPECT_TRUE(storage.Write(CFSTR("box acquired"), kCFBooleanFalse));
        EXPECT_TRUE(storage.Write(CFSTR("answer"), number));
        EXPECT_TRUE(storage.Write(CFSTR("gone"), CFSTR("soon")));
        EXPECT_TRUE(storage.Delete(CFSTR("gone")));
        EXPECT_EQ(storage.Path(), szDir + "/com.example.plugin.plist");
    }
    host::LHostStorage storage(szDir, "com.example.plugin");
    CFPropertyListRef acquired = storage.Copy(CFSTR("box acquired"));
    CFPropertyListRef answer = storage.Copy(CFSTR("answer"));
    ASSERT_NE(acquired, nullptr);
    ASSERT_NE(answer, nullptr);
    EXPECT_TRUE(CFEqual(acquired, kCFBooleanFalse));
    EXPECT_TRUE(CFEqual(answer, number));
    EXPECT_EQ(storage.Copy(CFSTR("gone")), nullptr);
    EXPECT_EQ(storage.Copy(CFSTR("never")), nullptr);
    EXPECT_TRUE(storage.LastWarning().empty());
    CFRelease(acquired);
    CFRelease(answer);
    CFRelease(number);
    // Storages of other plug-ins do not see these values.
    host::LHostStorage other(szDir, "com.example.other");
    EXPECT_EQ(other.Copy(CFSTR("answer")), nullptr);
}

TEST(HostStorageTest, UnreadableFileIsReportedAndLeftAloneUntilWritten) {
    LTempFolder folder;
    const std::string szPath = folder / "com.example.plugin.plist";
    const std::string szGarbage = "<?xml version=\"1.0\"?><plist><array><string>x</string></array></plist>";
    std::ofstream(szPath) << szGarbage;
    {
        host::LHostStorage storage(folder.Path(), "com.example.plugin");
        EXPECT_NE(storage.LastWarning().find(szPath), std::string::npos) << storage.LastWarning();
        EXPECT_EQ(storage.Copy(CFSTR("box acquired")), nullptr);
    }
    std::ifstream in(szPath);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()), szGarbage);
}

TEST(HostStorageTest, RefusesValuesThatAreNotPropertyLists) {
    LTempFolder folder;
    host::LHostStorage storage(folder.Path(), "com.example.plugin");
    CFUUIDRef uuid = CFUUIDCreate(nullptr);
    EXPECT_FALSE(storage.Write(CFSTR("uuid"), uuid));
    EXPECT_FALSE(storage.Write(CFSTR("null"), nullptr));
    EXPECT_FALSE(storage.Write(nullptr, kCFBooleanTrue));
    EXPECT_EQ(storage.Copy(CFSTR("uuid")), nullptr);
    EXPECT_FALSE(std::filesystem::exists(storage.Path())) << "nothing was written";
    CFRelease(uuid);
}

} // namespace
} // namespace harlune::test
