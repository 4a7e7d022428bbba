// Environment variables: setting, removing, and reading into short buffers.
#include "platform/LPlatform.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr const char* kName = "HARLUNE_TEST_ENVIRONMENT_VARIABLE";

TEST(LEnvironment, SetReadAndRemove) {
    ASSERT_TRUE(LSetEnvironmentVariable(kName, "value"));
    EXPECT_STREQ(getenv(kName), "value");
    ASSERT_TRUE(LSetEnvironmentVariable(kName, "replaced"));
    EXPECT_STREQ(getenv(kName), "replaced");
    ASSERT_TRUE(LSetEnvironmentVariable(kName, ""));
    EXPECT_STREQ(getenv(kName), "");
    ASSERT_TRUE(LSetEnvironmentVariable(kName, nullptr));
    EXPECT_EQ(getenv(kName), nullptr);
    EXPECT_TRUE(LSetEnvironmentVariable(kName, nullptr)) << "removing a missing variable succeeds";

    for (const char* szBad : {"", "A=B", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(LSetEnvironmentVariable(szBad, "x")) << (szBad ? szBad : "(null)");
    }
}

TEST(LEnvironment, ReadsAreCutToTheBufferAndReportTheFullLength) {
    ASSERT_TRUE(LSetEnvironmentVariable(kName, "abcdef"));
    struct Case {
        unsigned int nSize;
        const char* szExpected;
    } arCases[] = {{100, "abcdef"}, {7, "abcdef"}, {6, "abcde"}, {2, "a"}, {1, ""}};
    for (const Case& c : arCases) {
        char szValue[101];
        memset(szValue, 'Z', sizeof(szValue));
        EXPECT_EQ(LGetEnvironmentVariable(kName, szValue, c.nSize), 6u) << c.nSize;
        EXPECT_STREQ(szValue, c.szExpected) << c.nSize;
        EXPECT_EQ(szValue[c.nSize], 'Z') << "nothing written past the size";
    }
    char szValue[4] = "Z";
    EXPECT_EQ(LGetEnvironmentVariable(kName, szValue, 0), 6u);
    EXPECT_EQ(szValue[0], 'Z');
    EXPECT_EQ(LGetEnvironmentVariable(kName, nullptr, 10), 6u);

    LSetEnvironmentVariable(kName, nullptr);
    strcpy(szValue, "old");
    EXPECT_EQ(LGetEnvironmentVariable(kName, szValue, sizeof(szValue)), 0u);
    EXPECT_STREQ(szValue, "");
    EXPECT_EQ(LGetEnvironmentVariable(nullptr, szValue, sizeof(szValue)), 0u);
}

} // namespace
