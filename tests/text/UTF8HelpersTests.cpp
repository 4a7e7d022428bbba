// Character walks over UTF-8 and the character-safe copy.
#include <text/LText.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

struct LcpyCase {
    const char *szName;
    const char *szIn;
    unsigned long size;
    const char *szExpected;
    unsigned long nResult;
};

TEST(UTF8Helpers, Utf8strlcpyKeepsWholeCharacters) {
    const LcpyCase arCases[] = {
        {"ascii cut", "abcdef", 4, "abc", 4},
        {"euro cut", "ab\xE2\x82\xAC", 4, "ab", 3},
        {"euro whole at the end", "ab\xE2\x82\xAC" "d", 6, "ab\xE2\x82\xAC", 6},
        {"fits", "ab\xE2\x82\xAC", 6, "ab\xE2\x82\xAC", 5},
        {"only a cut character", "\xE2\x82\xAC", 3, "", 1},
        {"only continuation bytes", "\x80\x80\x80", 3, "", 0},
        {"size 1", "abc", 1, "", 0},
    };
    for (const LcpyCase &c : arCases) {
        char arOut[16];
        memset(arOut, 'x', sizeof(arOut));
        EXPECT_EQ(utf8strlcpy(arOut, c.szIn, c.size), c.nResult) << c.szName;
        EXPECT_STREQ(arOut, c.szExpected) << c.szName;
    }
    char arUntouched[2] = {'x', 0};
    EXPECT_EQ(utf8strlcpy(arUntouched, "abc", 0), 0u);
    EXPECT_STREQ(arUntouched, "x");
}

TEST(UTF8Helpers, IndexConversions) {
    const char *sz = "a\xC3\xA9\xE2\x82\xAC" "b";  // a, é, €, b
    EXPECT_EQ(utf8strlen(sz), 4u);
    const unsigned long arByteOfChar[] = {0, 1, 3, 6, 7, 7};
    for (unsigned long i = 0; i < 6; ++i) {
        EXPECT_EQ(LCharsetsUTF8CharIndexToByteIndex(sz, i), arByteOfChar[i]) << i;
        EXPECT_EQ(LCharsetsCharIndexToArrayIndex(sz, i), arByteOfChar[i]) << i;
    }
    const unsigned long arCharOfByte[] = {0, 1, 2, 2, 3, 3, 3, 4, 4};
    for (unsigned long i = 0; i < 9; ++i) {
        EXPECT_EQ(LCharsetsUTF8ByteIndexToCharIndex(sz, i), arCharOfByte[i]) << i;
    }
    EXPECT_EQ(LCharsetsUTF8ByteIndexToCharIndex("", 5), 0u);
    const unsigned long arInCharacter[] = {0, 0, 1, 0, 1, 2, 0};
    for (unsigned long i = 0; i < 7; ++i) {
        EXPECT_EQ(LGetUTF8CharacterByteIndex(sz + i), arInCharacter[i]) << i;
    }
}

TEST(UTF8Helpers, WalksStopAtATerminatorInsideASequence) {
    // A four-byte lead followed by the terminator: one character, no read past it.
    const char arCut[] = {'a', '\xF0', 0, 'z', 'z', 0};
    EXPECT_EQ(utf8strlen(arCut), 2u);
    EXPECT_EQ(LCharsetsUTF8CharIndexToByteIndex(arCut, 5), 2u);
    const unsigned char arCounts[][2] = {{0x41, 1}, {0xBF, 1}, {0xC0, 2}, {0xDF, 2}, {0xE0, 3},
                                         {0xF0, 4}, {0xF8, 5}, {0xFC, 6}, {0xFF, 6}};
    for (const auto &c : arCounts) {
        EXPECT_EQ(LGetUTF8CharacterByteCount(c[0]), c[1]) << static_cast<int>(c[0]);
    }
}

}  // namespace
