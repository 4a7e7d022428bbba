// UTF-8, UTF-16 and UTF-32 conversions: stop points, result codes, capacity
// limits and round trips of every code point.
#include <text/LText.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

struct DecodeCase {
    const char *szName;
    const char *szIn;
    unsigned long capacity;
    std::u32string sExpected;
    LUTFResult result;
};

TEST(UTFConversion, DecoderStopsWhereTheRulesSay) {
    const DecodeCase arCases[] = {
        {"overlong C0 80", "ab\xC0\x80z", 16, U"ab", kLUTFResultInvalid},
        {"surrogate ED A0 80", "ab\xED\xA0\x80z", 16, U"ab", kLUTFResultInvalid},
        {"above U+10FFFF", "ab\xF4\x90\x80\x80z", 16, U"ab", kLUTFResultInvalid},
        {"lone continuation", "ab\x80z", 16, U"ab", kLUTFResultInvalid},
        {"five-byte form", "a\xF8\x88\x80\x80\x80", 16, U"a", kLUTFResultInvalid},
        {"cut by terminator", "a\xE2\x82", 16, U"a", kLUTFResultInvalid},
        {"four chars, capacity 4", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", 4, U"a\u00E9\u20AC",
         kLUTFResultOutputFull},
        {"exactly fits", "abc", 4, U"abc", kLUTFResultOK},
        {"capacity 1", "abc", 1, U"", kLUTFResultOutputFull},
        {"empty", "", 1, U"", kLUTFResultOK},
        {"last scalar", "\xF4\x8F\xBF\xBF", 4, U"\U0010FFFF", kLUTFResultOK},
    };
    for (const DecodeCase &c : arCases) {
        char32_t arOut[16];
        EXPECT_EQ(LCopyUTF32FromUTF8Native(arOut, c.szIn, c.capacity), c.result) << c.szName;
        EXPECT_EQ(std::u32string(arOut), c.sExpected) << c.szName;
    }
}

struct EncodeCase {
    const char *szName;
    std::u32string sIn;
    unsigned long capacity;
    std::string sExpected;
    LUTFResult result;
};

TEST(UTFConversion, EncoderWritesWholeCharactersOnly) {
    const EncodeCase arCases[] = {
        {"above U+10FFFF", U"a\U0010FFFF" + std::u32string(1, 0x110000) + U"b", 16,
         "a\xF4\x8F\xBF\xBF\xEF\xBF\xBD" "b", kLUTFResultInvalid},
        {"surrogate as three bytes", std::u32string(1, 0xD800), 16, "\xED\xA0\x80", kLUTFResultOK},
        {"euro needs 3 + terminator", U"a\u20AC", 4, "a", kLUTFResultOK},
        {"euro fits exactly", U"a\u20AC", 5, "a\xE2\x82\xAC", kLUTFResultOK},
        {"capacity 1", U"a", 1, "", kLUTFResultOK},
        {"length boundaries", std::u32string{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000}, 32,
         "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80", kLUTFResultOK},
    };
    for (const EncodeCase &c : arCases) {
        char arOut[32];
        EXPECT_EQ(LCopyUTF8FromUTF32Native(arOut, c.sIn.c_str(), c.capacity), c.result) << c.szName;
        EXPECT_EQ(std::string(arOut), c.sExpected) << c.szName;
    }
}

// Every conversion with capacity 0 must leave the output untouched.
TEST(UTFConversion, CapacityZeroWritesNothing) {
    char arUTF8[4] = {'x', 'x', 'x', 0};
    char16_t arUTF16[4] = {'x', 'x', 'x', 0};
    char32_t arUTF32[4] = {'x', 'x', 'x', 0};
    wchar_t arWide[4] = {'x', 'x', 'x', 0};
    const std::vector<std::function<void()>> arCalls = {
        [&] { LCopyUTF32FromUTF8Native(arUTF32, "ab", 0); },
        [&] { LCopyUTF32FromUTF8(arWide, "ab", 0); },
        [&] { LCopyUTF8FromUTF32Native(arUTF8, U"ab", 0); },
        [&] { LCopyUTF8FromUTF32(arUTF8, L"ab", 0); },
        [&] { LCopyUTF32FromUnicode(arUTF32, u"ab", 0); },
        [&] { LCopyUnicodeFromUTF32(arUTF16, U"ab", 0); },
        [&] { LCopyUnicodeFromUTF8(arUTF16, "ab", 0); },
        [&] { LCopyUTF8FromUnicode(arUTF8, u"ab", 0); },
    };
    for (const auto &call : arCalls) {
        call();
    }
    EXPECT_EQ(std::string(arUTF8), "xxx");
    EXPECT_EQ(std::u16string(arUTF16), u"xxx");
    EXPECT_EQ(std::u32string(arUTF32), U"xxx");
    EXPECT_EQ(std::wstring(arWide), L"xxx");
}

TEST(UTFConversion, SurrogatePairsAndLoneSurrogates) {
    char32_t arUTF32[8];
    EXPECT_EQ(LCopyUTF32FromUnicode(arUTF32, u"\xD83D\xDE00", 8), kLUTFResultOK);
    EXPECT_EQ(std::u32string(arUTF32), U"\U0001F600");
    char16_t arUTF16[8];
    EXPECT_EQ(LCopyUnicodeFromUTF32(arUTF16, U"\U0001F600", 8), kLUTFResultOK);
    EXPECT_EQ(std::u16string(arUTF16), u"\xD83D\xDE00");

    // A lone high surrogate before the terminator is dropped.
    const char16_t arLone[] = {'a', 0xD83D, 0};
    EXPECT_EQ(LCopyUTF32FromUnicode(arUTF32, arLone, 8), kLUTFResultOK);
    EXPECT_EQ(std::u32string(arUTF32), U"a");

    // A pair is written only when both units and the terminator fit.
    EXPECT_EQ(LCopyUnicodeFromUTF32(arUTF16, U"a\U0001F600", 3), kLUTFResultOutputFull);
    EXPECT_EQ(std::u16string(arUTF16), u"a");

    char16_t high = 1, low = 1;
    LCharSetsCodePointToSurrogatePair(0x41, high, low);
    EXPECT_EQ(high, 0);
    EXPECT_EQ(low, 0x41);
    EXPECT_EQ(LCharSetsSurrogatePairToCodePoint(0xDBFF, 0xDFFF), 0x10FFFFu);
}

TEST(UTFConversion, ChainedConversionsAndFixedForms) {
    char16_t arUTF16[260];
    EXPECT_EQ(LCopyUnicodeFromUTF8(arUTF16, "h\xC3\xA9\xF0\x9F\x98\x80"), kLUTFResultOK);
    EXPECT_EQ(std::u16string(arUTF16), u"h\u00E9\xD83D\xDE00");
    char arUTF8[260];
    EXPECT_EQ(LCopyUTF8FromUnicode(arUTF8, arUTF16), kLUTFResultOK);
    EXPECT_EQ(std::string(arUTF8), "h\xC3\xA9\xF0\x9F\x98\x80");

    // The UTF-8 side reports the invalid byte; the UTF-16 side holds the text before it.
    EXPECT_EQ(LCopyUnicodeFromUTF8(arUTF16, "ok\xFF", 16), kLUTFResultInvalid);
    EXPECT_EQ(std::u16string(arUTF16), u"ok");
    // The second stage running out of room is reported as a full output.
    EXPECT_EQ(LCopyUnicodeFromUTF8(arUTF16, "a\xF0\x9F\x98\x80", 3), kLUTFResultOutputFull);
    EXPECT_EQ(std::u16string(arUTF16), u"a");
    EXPECT_EQ(LCopyUTF8FromUnicode(arUTF8, u"a\u20AC", 4), kLUTFResultOutputFull);
    EXPECT_EQ(std::string(arUTF8), "a");

    EXPECT_EQ(LCopyFromUnicode(arUTF8, u'\u00E9'), kLUTFResultOK);
    EXPECT_EQ(std::string(arUTF8), "\xC3\xA9");
    LCopyFromUnicode(arUTF8, static_cast<char16_t>(0xD800));
    EXPECT_EQ(std::string(arUTF8), "");
}

TEST(UTFConversion, StringFormsUseTheirCapacities) {
    LStringLongTemplate<char> utf8("h\xC3\xA9llo \xF0\x9F\x98\x80");
    LStringLongTemplate<char16_t> utf16;
    EXPECT_EQ(LCopyUnicodeFromUTF8(utf16, utf8), kLUTFResultOK);
    EXPECT_EQ(std::u16string(utf16.Get()), u"h\u00E9llo \xD83D\xDE00");
    EXPECT_EQ(utf16.GetLength(), 8u);

    LStringLongTemplate<char> back;
    EXPECT_EQ(LCopyUTF8FromUnicode(back, utf16), kLUTFResultOK);
    EXPECT_STREQ(back.Get(), utf8.Get());
    EXPECT_EQ(back.GetLength(), utf8.GetLength());
    EXPECT_EQ(back.GetCapacity(), 8u * 6 + 1);

    // Capacity is characters + 1: a character that needs a surrogate pair
    // at the end no longer fits.
    EXPECT_EQ(LCopyToUnicode(utf16, "ab\xF0\x9F\x98\x80"), kLUTFResultOutputFull);
    EXPECT_EQ(std::u16string(utf16.Get()), u"ab");
    EXPECT_EQ(LCopyToUnicode(utf16, "ab\xC3\xA9"), kLUTFResultOK);
    EXPECT_EQ(std::u16string(utf16.Get()), u"ab\u00E9");
    EXPECT_EQ(utf16.GetLength(), 3u);
}

// Every Unicode scalar value through UTF-8, UTF-16 and back, in one text.
TEST(UTFConversion, EveryCodePointRoundTrips) {
    std::u32string sAll;
    for (char32_t cp = 1; cp <= 0x10FFFF; ++cp) {
        if (cp < 0xD800 || cp > 0xDFFF) {
            sAll.push_back(cp);
        }
    }
    const unsigned long nCapacity = sAll.size() * 4 + 1;
    std::vector<char> arUTF8(nCapacity);
    ASSERT_EQ(LCopyUTF8FromUTF32Native(arUTF8.data(), sAll.c_str(), nCapacity), kLUTFResultOK);

    std::vector<char32_t> arUTF32(sAll.size() + 1);
    ASSERT_EQ(LCopyUTF32FromUTF8Native(arUTF32.data(), arUTF8.data(), arUTF32.size()), kLUTFResultOK);
    EXPECT_TRUE(std::u32string(arUTF32.data()) == sAll);

    std::vector<char16_t> arUTF16(sAll.size() * 2 + 1);
    ASSERT_EQ(LCopyUnicodeFromUTF8(arUTF16.data(), arUTF8.data(), arUTF16.size()), kLUTFResultOK);
    std::vector<char32_t> arFrom16(sAll.size() + 1);
    ASSERT_EQ(LCopyUTF32FromUnicode(arFrom16.data(), arUTF16.data(), arFrom16.size()), kLUTFResultOK);
    EXPECT_TRUE(std::u32string(arFrom16.data()) == sAll);

    std::vector<char> arBack(nCapacity);
    ASSERT_EQ(LCopyUTF8FromUnicode(arBack.data(), arUTF16.data(), nCapacity), kLUTFResultOK);
    EXPECT_TRUE(std::string(arBack.data()) == std::string(arUTF8.data()));
}

}  // namespace
