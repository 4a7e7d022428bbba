// Code pages: every named conversion and every listed Windows code page
// against fixtures made with Python's codecs and glibc's iconv program
// (CodePageFixtures.inc, see make_code_page_fixtures.py), then where
// conversions stop and how outputs are cut.
#include <text/LText.h>

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

namespace {

struct Fixture {
    const char *szName;
    unsigned int nCodePage;
    const char *szUTF8;
    const char *pEncoded;
    size_t nEncoded;
};

const Fixture kFixtures[] = {
#include "CodePageFixtures.inc"
};

typedef bool (*BufferConversion)(char *, const char *, unsigned long);

struct NamedPair {
    BufferConversion pFrom;
    BufferConversion pTo;
};

const std::map<std::string, NamedPair> kNamed = {
    {"ISO88591", {LCopyFromISO88591, LCopyToISO88591}},
    {"WIN1251", {LCopyFromWIN1251, LCopyToWIN1251}},
    {"WIN1252", {LCopyFromWIN1252, LCopyToWIN1252}},
    {"SHIFTJIS932", {LCopyFromSHIFTJIS932, LCopyToSHIFTJIS932}},
    {"ISO2022JP", {LCopyFromISO2022JP, LCopyToISO2022JP}},
    {"EUCKR", {LCopyFromEUCKR, LCopyToEUCKR}},
    {"ISO88595", {LCopyFromISO88595, LCopyToISO88595}},
    {"GB18030", {LCopyFromGB18030, LCopyToGB18030}},
    {"KOI8R", {LCopyFromKOI8R, LCopyToKOI8R}},
    {"BIG5", {LCopyFromBIG5, LCopyToBIG5}},
    {"GBK", {LCopyFromGBK, LCopyToGBK}},
    {"WIN1256", {LCopyFromWIN1256, LCopyToWIN1256}},
    {"ISO88592", {LCopyFromISO88592, LCopyToISO88592}},
    {"MacRoman", {LCopyFromMacRoman, LCopyToMacRoman}},
};

std::string Encoded(const Fixture &f) { return std::string(f.pEncoded, f.nEncoded); }

TEST(CodePages, NamedConversionsMatchTheFixtures) {
    size_t nChecked = 0;
    for (const Fixture &f : kFixtures) {
        const auto it = kNamed.find(f.szName);
        if (it == kNamed.end()) {
            continue;
        }
        char arOut[512];
        EXPECT_TRUE(it->second.pTo(arOut, f.szUTF8, sizeof(arOut))) << f.szName;
        EXPECT_EQ(std::string(arOut), Encoded(f)) << f.szName;
        EXPECT_TRUE(it->second.pFrom(arOut, Encoded(f).c_str(), sizeof(arOut))) << f.szName;
        EXPECT_EQ(std::string(arOut), f.szUTF8) << f.szName;
        ++nChecked;
    }
    EXPECT_EQ(nChecked, kNamed.size());
}

TEST(CodePages, WindowsCodePagesMatchTheFixtures) {
    for (const Fixture &f : kFixtures) {
        const size_t nUnit = f.nCodePage == 1200 || f.nCodePage == 1201 ? 2 : 1;
        char arOut[512];
        memset(arOut, 'x', sizeof(arOut));
        ASSERT_TRUE(LCopyToSpecificCodePage(f.nCodePage, arOut, f.szUTF8, sizeof(arOut))) << f.szName;
        EXPECT_EQ(std::string(arOut, f.nEncoded), Encoded(f)) << f.szName;
        EXPECT_EQ(std::string(arOut + f.nEncoded, nUnit), std::string(nUnit, '\0')) << f.szName;

        const std::string sIn = Encoded(f) + std::string(4, '\0');
        ASSERT_TRUE(LCopyFromSpecificCodePage(f.nCodePage, arOut, sIn.data(), sizeof(arOut))) << f.szName;
        EXPECT_STREQ(arOut, f.szUTF8) << f.szName;

        LStringLongTemplate<char> in(sIn.data(), f.nEncoded), out;
        EXPECT_TRUE(LCopyFromSpecificCodePage(f.nCodePage, out, in)) << f.szName;
        EXPECT_STREQ(out.Get(), f.szUTF8) << f.szName;
    }
}

TEST(CodePages, ConversionStopsAtTheFirstUnconvertibleCharacter) {
    const struct {
        const char *szName;
        BufferConversion pConvert;
        const char *szIn;
        const char *szExpected;
    } arCases[] = {
        {"CJK into Cyrillic", LCopyToWIN1251, "abc\xE6\x97\xA5" "def", "abc"},
        {"undefined Windows-1252 byte", LCopyFromWIN1252, "ab\x81" "cd", "ab"},
        {"each undefined byte", LCopyFromWIN1252, "\x8D", ""},
        {"invalid UTF-8", LCopyToISO88591, "ab\xC3" "cd", "ab"},
        {"Greek delta is not Mac OS Roman", LCopyToMacRoman, "a\xCE\x94", "a"},
        {"euro is not Latin-1", LCharsetsCopyToACP, "5\xE2\x82\xAC\xC3\xA9", "5\x80\xE9"},
    };
    for (const auto &c : arCases) {
        char arOut[64];
        const bool bWhole = c.pConvert(arOut, c.szIn, sizeof(arOut));
        EXPECT_EQ(bWhole, strcmp(c.szName, "euro is not Latin-1") == 0) << c.szName;
        EXPECT_STREQ(arOut, c.szExpected) << c.szName;
    }
    for (const char *sz : {"\x81", "\x8F", "\x90", "\x9D"}) {
        char arOut[8];
        EXPECT_FALSE(LCharsetsCopyFromACP(arOut, sz, sizeof(arOut))) << static_cast<int>(sz[0]);
    }
}

TEST(CodePages, MacRomanFollowsTheHomePlatformTable) {
    char arOut[16];
    EXPECT_TRUE(LCopyFromMacRoman(arOut, "\xC6\xF0\xBD", sizeof(arOut)));
    EXPECT_STREQ(arOut, "\xE2\x88\x86\xEF\xA3\xBF\xCE\xA9");  // increment, Apple logo, omega
    EXPECT_TRUE(LCopyToMacRoman(arOut, "\xE2\x88\x86\xEF\xA3\xBF\xCE\xA9", sizeof(arOut)));
    EXPECT_STREQ(arOut, "\xC6\xF0\xBD");
    EXPECT_TRUE(LCopyToSpecificCodePage(10000, arOut, "\xE2\x88\x86", sizeof(arOut)));
    EXPECT_STREQ(arOut, "\xC6");
}

TEST(CodePages, FullOutputEndsInATerminator) {
    char arOut[8];
    memset(arOut, 'x', sizeof(arOut));
    // a, then the two bytes of é fill the three bytes: the last becomes the terminator.
    EXPECT_FALSE(LCopyFromISO88591(arOut, "a\xE9", 3));
    EXPECT_EQ(std::string(arOut, 3), std::string("a\xC3\0", 3));
    // The two-argument form's capacity is the input's length plus one.
    EXPECT_FALSE(LCopyFromISO88591(arOut, "caf\xE9"));
    EXPECT_STREQ(arOut, "caf\xC3");
    EXPECT_TRUE(LCopyToISO88591(arOut, "caf\xC3\xA9"));
    EXPECT_STREQ(arOut, "caf\xE9");
    // A whole character that does not fit is left out.
    EXPECT_FALSE(LCopyFromISO88591(arOut, "\xE9\xE9\xE9", 5));
    EXPECT_STREQ(arOut, "\xC3\xA9\xC3\xA9");
    memset(arOut, 'x', sizeof(arOut));
    EXPECT_FALSE(LCopyToISO88591(arOut, "abc", 0));
    EXPECT_EQ(arOut[0], 'x');
    EXPECT_FALSE(LIconvConvert("NO-SUCH-CODE", "UTF-8", arOut, "abc", sizeof(arOut)));
    EXPECT_STREQ(arOut, "");
}

TEST(CodePages, StringFormsSizeTheirOutput) {
    LStringLongTemplate<char> s;
    EXPECT_TRUE(LCopyFromKOI8R(s, "\xF7\xD3\xC5"));
    EXPECT_STREQ(s.Get(), "\xD0\x92\xD1\x81\xD0\xB5");
    EXPECT_EQ(s.GetLength(), 6u);
    EXPECT_TRUE(LCopyToMacRoman(s, "caf\xC3\xA9"));
    EXPECT_STREQ(s.Get(), "caf\x8E");
    EXPECT_EQ(s.GetLength(), 4u);
    // The IBM437 pair converts ISO Latin-1.
    EXPECT_TRUE(LCopyToIBM437(s, "\xC3\xA9"));
    EXPECT_STREQ(s.Get(), "\xE9");
    EXPECT_TRUE(LCopyFromIBM437(s, "\xE9"));
    EXPECT_STREQ(s.Get(), "\xC3\xA9");
}

TEST(CodePages, WindowsCodePagesAreAllOrNothing) {
    char arOut[16];
    const struct {
        const char *szName;
        unsigned int nCodePage;
        const char *szIn;
        unsigned long size;
    } arFailures[] = {
        {"unknown number", 12345, "abc", 16},
        {"number without a code page", 853, "abc", 16},
        {"unconvertible", 1251, "abc\xE6\x97\xA5", 16},
        {"terminator does not fit", 1252, "abc", 3},
    };
    for (const auto &c : arFailures) {
        memset(arOut, 'x', sizeof(arOut));
        EXPECT_FALSE(LCopyToSpecificCodePage(c.nCodePage, arOut, c.szIn, c.size)) << c.szName;
        EXPECT_STREQ(arOut, "") << c.szName;
    }
    EXPECT_TRUE(LCopyToSpecificCodePage(1252, arOut, "abc", 4));
    EXPECT_FALSE(LCopyFromSpecificCodePage(1252, arOut, "ab\x81", 16));
    EXPECT_STREQ(arOut, "");
    EXPECT_FALSE(LCopyFromSpecificCodePage(99, arOut, "ab", 16));
    EXPECT_STREQ(arOut, "");
    // A long result is cut at a character boundary.
    EXPECT_TRUE(LCopyFromSpecificCodePage(1251, arOut, "\xCF\xF0\xE8", 4));
    EXPECT_STREQ(arOut, "\xD0\x9F");
    // Text that is not UTF-8 is read as the platform string bridge reads it.
    EXPECT_TRUE(LCopyToSpecificCodePage(1252, arOut, "caf\x8E!", sizeof(arOut)));
    EXPECT_STREQ(arOut, "caf\xE9!");
}

TEST(CodePages, AnsiReadsWindowsLatin1AndWritesISOLatin1) {
    char arOut[16];
    EXPECT_TRUE(LCopyUTF8FromAnsi(arOut, "\x80 5\xE9", sizeof(arOut)));
    EXPECT_STREQ(arOut, "\xE2\x82\xAC 5\xC3\xA9");
    EXPECT_FALSE(LCopyUTF8FromAnsi(arOut, "a\x81", sizeof(arOut)));
    EXPECT_STREQ(arOut, "");
    EXPECT_FALSE(LCopyUTF8FromAnsi(arOut, "\xE9\xE9\xE9", 4));  // cut at a character
    EXPECT_STREQ(arOut, "\xC3\xA9");

    EXPECT_TRUE(LCopyAnsiFromUTF8(arOut, "caf\xC3\xA9", sizeof(arOut)));
    EXPECT_STREQ(arOut, "caf\xE9");
    EXPECT_FALSE(LCopyAnsiFromUTF8(arOut, "5\xE2\x82\xAC", sizeof(arOut)));  // no euro in ISO Latin-1
    EXPECT_STREQ(arOut, "");
    EXPECT_FALSE(LCopyAnsiFromUTF8(arOut, "ab\xFF", sizeof(arOut)));
    EXPECT_STREQ(arOut, "");

    LStringLongTemplate<char16_t> s16;
    EXPECT_TRUE(LCopyUnicodeFromAnsi(s16, LStringLongTemplate<char>("\x93hi\x94")));
    EXPECT_EQ(std::u16string(s16.Get()), u"\u201Chi\u201D");
    LStringLongTemplate<char> s8;
    EXPECT_TRUE(LCopyAnsiFromUnicode(s8, u"\u00FCber"));
    EXPECT_STREQ(s8.Get(), "\xFC" "ber");
    EXPECT_FALSE(LCopyAnsiFromUnicode(s8, s16));  // curly quotes are not ISO Latin-1
    EXPECT_STREQ(s8.Get(), "");
}

}  // namespace
