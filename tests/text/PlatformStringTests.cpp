// The platform-string bridge and its fallbacks for text that is not UTF-8.
#include <text/LText.h>

#include <gtest/gtest.h>

#include <string>

namespace {

std::string UTF8Of(CFStringRef str) {
    char arBuffer[1024];
    EXPECT_TRUE(CFStringGetCString(str, arBuffer, sizeof(arBuffer), kCFStringEncodingUTF8));
    return arBuffer;
}

TEST(PlatformString, FallbacksForTextThatIsNotUTF8) {
    const struct {
        const char *szName;
        const char *szIn;
        std::string sExpected;
    } arCases[] = {
        {"null", nullptr, ""},
        {"valid UTF-8", "caf\xC3\xA9", "caf\xC3\xA9"},
        {"cut character at the end", "caf\xC3", "caf"},
        {"Mac OS Roman", "caf\x8E and more", "caf\xC3\xA9 and more"},
        {"Mac OS Roman apple and increment", "\xF0\xC6", "\xEF\xA3\xBF\xE2\x88\x86"},
    };
    for (const auto &c : arCases) {
        CFStringRef str = LMacNSStringFromString(c.szIn);
        ASSERT_NE(str, nullptr) << c.szName;
        EXPECT_EQ(UTF8Of(str), c.sExpected) << c.szName;
        CFRelease(str);
    }
}

TEST(PlatformString, LongTextCutToShortCopyOnlyWhenThatMakesItValid) {
    // Valid UTF-8 for 300 bytes and then a cut character: the shortened copy
    // (259 bytes) is valid UTF-8 and wins.
    std::string sLong(300, 'x');
    sLong += "\xE2\x82";
    CFStringRef str = LMacNSStringFromString(sLong.c_str());
    EXPECT_EQ(UTF8Of(str), std::string(259, 'x'));
    CFRelease(str);
}

}  // namespace
