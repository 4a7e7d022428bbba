// Character classes, big-endian output and variation selectors.
#include <text/LText.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(CharacterHelpers, LeftToRightTableBoundaries) {
    const struct {
        wchar_t ch;
        bool bLeftToRight;
    } arCases[] = {
        {0x05D0, false}, {0x200F, false}, {0x05EB, true},  {0x0041, true},  {0x05BD, true},
        {0x05BE, false}, {0x05BF, true},  {0x05EA, false}, {0x0620, true},  {0x0621, false},
        {0x07B1, false}, {0x07B2, true},  {0xFB1E, true},  {0xFB1D, false}, {0xFEFC, false},
        {0xFEFD, true},  {0xFE75, true},  {0x10FFFF, true}, {0, true},
    };
    for (const auto &c : arCases) {
        EXPECT_EQ(LCharsetsIsLeftToRight(c.ch), c.bLeftToRight) << std::hex << static_cast<int>(c.ch);
    }
}

TEST(CharacterHelpers, BigEndianPadsWithSpacesOrTerminates) {
    char16_t arOut[8];
    EXPECT_EQ(LCopyToBigEndianUnicode(arOut, u"AB", 4, false), 4u);
    EXPECT_EQ(memcmp(arOut, "\x00\x41\x00\x42\x00\x20\x00\x20", 8), 0);

    memset(arOut, 0xEE, sizeof(arOut));
    EXPECT_EQ(LCopyToBigEndianUnicode(arOut, u"ABCDEF", 4, true), 4u);
    EXPECT_EQ(memcmp(arOut, "\x00\x41\x00\x42\x00\x43\x00\x44\x00\x00\xEE\xEE", 12), 0);

    EXPECT_EQ(LCopyToBigEndianUnicode(arOut, u"\u20AC", 4, true), 1u);
    EXPECT_EQ(memcmp(arOut, "\x20\xAC\x00\x00", 4), 0);
}

TEST(CharacterHelpers, VariationSelectorsAreRemoved) {
    LStringLongTemplate<char16_t> s(u"\u2764\uFE0Fa\uFE00\uFE10");
    LRemoveVarSelectorFromUnicode(s);
    EXPECT_EQ(std::u16string(s.Get()), u"\u2764a\uFE10");
    EXPECT_EQ(s.GetLength(), 3u);
}

TEST(CharacterHelpers, AsciiAndLengths) {
    EXPECT_TRUE(LCharsetsIsValidASCII(""));
    EXPECT_TRUE(LCharsetsIsValidASCII("plain\x7F"));
    EXPECT_FALSE(LCharsetsIsValidASCII("caf\xC3\xA9"));
    EXPECT_EQ(lstrlen(u"h\xD83D\xDE00"), 3u);
    EXPECT_TRUE(LIsUTF16SurrogateHigh(0xDBFF));
    EXPECT_FALSE(LIsUTF16SurrogateHigh(0xDC00));
    EXPECT_TRUE(LIsUTF16SurrogateLow(0xDFFF));
}

}  // namespace
