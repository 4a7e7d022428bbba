// CFString: encodings, UTF-16 measurement, formatting, comparison and
// mutation.
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

using cftest::Owned;
using cftest::text;

namespace {

std::string bytesOf(CFStringRef string, CFStringEncoding encoding) {
    char buffer[256];
    if (!CFStringGetCString(string, buffer, sizeof buffer, encoding)) return "<failed>";
    return buffer;
}

}  // namespace

TEST(CFString, DecodesEachSupportedEncoding) {
    struct Case {
        const char *name;
        std::string bytes;
        CFStringEncoding encoding;
        const char *utf8;  // nullptr: creation must fail
    } cases[] = {
        {"ASCII", "plain", kCFStringEncodingASCII, "plain"},
        {"ASCII rejects high bytes", "caf\xE9", kCFStringEncodingASCII, nullptr},
        {"Latin-1", "caf\xE9", kCFStringEncodingISOLatin1, "caf\xC3\xA9"},
        {"MacRoman", "\x80\xA5\xDB\xF0", kCFStringEncodingMacRoman, "\xC3\x84\xE2\x80\xA2\xE2\x82\xAC\xEF\xA3\xBF"},
        {"UTF-8", "\xE2\x82\xAC", kCFStringEncodingUTF8, "\xE2\x82\xAC"},
        {"UTF-8 overlong form", "\xC0\x80", kCFStringEncodingUTF8, nullptr},
        {"UTF-8 encoded surrogate", "\xED\xA0\x80", kCFStringEncodingUTF8, nullptr},
        {"UTF-8 truncated sequence", "\xE2\x82", kCFStringEncodingUTF8, nullptr},
        {"UTF-8 beyond U+10FFFF", "\xF4\x90\x80\x80", kCFStringEncodingUTF8, nullptr},
        {"UTF-16LE", std::string("h\0i\0", 4), kCFStringEncodingUTF16LE, "hi"},
        {"UTF-16BE surrogate pair", std::string("\xD8\x3D\xDE\x00", 4), kCFStringEncodingUTF16BE, "\xF0\x9F\x98\x80"},
        {"UTF-16 with byte-order mark", std::string("\xFE\xFF\0A", 4), kCFStringEncodingUTF16, "A"},
        {"UTF-16 odd length", std::string("A\0B", 3), kCFStringEncodingUTF16LE, nullptr},
        {"unsupported encoding", "x", kCFStringEncodingUTF32, nullptr},
    };
    for (const Case &c : cases) {
        Owned<CFStringRef> string(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8 *>(c.bytes.data()),
                                                          static_cast<CFIndex>(c.bytes.size()), c.encoding, false));
        if (c.utf8 == nullptr) {
            EXPECT_EQ(string.get(), nullptr) << c.name;
        } else {
            EXPECT_EQ(text(string), c.utf8) << c.name;
        }
    }
}

TEST(CFString, EncodesToCStringsOrReportsWhatCannotBeRepresented) {
    Owned<CFStringRef> accented(cftest::makeString("caf\xC3\xA9 \xE2\x82\xAC"));
    EXPECT_EQ(bytesOf(accented, kCFStringEncodingUTF8), "caf\xC3\xA9 \xE2\x82\xAC");
    EXPECT_EQ(bytesOf(accented, kCFStringEncodingMacRoman), "caf\x8E \xDB");
    EXPECT_EQ(bytesOf(accented, kCFStringEncodingISOLatin1), "<failed>");  // no euro sign in Latin-1
    EXPECT_EQ(bytesOf(accented, kCFStringEncodingASCII), "<failed>");
    EXPECT_EQ(CFStringGetCStringPtr(accented, kCFStringEncodingASCII), nullptr);

    // The buffer must also hold the terminating NUL.
    char buffer[4];
    EXPECT_FALSE(CFStringGetCString(CFSTR("abcd"), buffer, sizeof buffer, kCFStringEncodingUTF8));
    EXPECT_TRUE(CFStringGetCString(CFSTR("abc"), buffer, sizeof buffer, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF8), 30);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF32), kCFNotFound);
}

TEST(CFString, MeasuresAndIndexesInUTF16Units) {
    Owned<CFStringRef> string(cftest::makeString("a\xF0\x9F\x98\x80\xC3\xA9"));  // a, U+1F600, é
    ASSERT_EQ(CFStringGetLength(string), 4);
    const UniChar expected[] = {'a', 0xD83D, 0xDE00, 0xE9};
    for (CFIndex i = 0; i < 4; ++i) EXPECT_EQ(CFStringGetCharacterAtIndex(string, i), expected[i]) << i;
    EXPECT_EQ(CFStringGetCharacterAtIndex(string, 4), 0);

    UniChar units[2] = {};
    CFStringGetCharacters(string, CFRangeMake(1, 2), units);
    EXPECT_EQ(units[0], 0xD83D);
    EXPECT_EQ(units[1], 0xDE00);
    Owned<CFStringRef> tail(CFStringCreateWithSubstring(nullptr, string, CFRangeMake(3, 1)));
    EXPECT_EQ(text(tail), "\xC3\xA9");
    EXPECT_EQ(CFStringCreateWithSubstring(nullptr, string, CFRangeMake(3, 2)), nullptr);

    // A lone surrogate cannot be stored as UTF-8 and becomes U+FFFD.
    const UniChar lone[] = {'x', 0xD800};
    Owned<CFStringRef> replaced(CFStringCreateWithCharacters(nullptr, lone, 2));
    EXPECT_EQ(text(replaced), "x\xEF\xBF\xBD");
}

TEST(CFString, FormatsPrintfConversionsAndObjects) {
    Owned<CFStringRef> name(cftest::makeString("Harlune"));
    SInt32 rate = 48000;
    Owned<CFNumberRef> number(CFNumberCreate(nullptr, kCFNumberSInt32Type, &rate));
    struct Case {
        const char *name;
        std::function<CFStringRef()> make;
        const char *expected;
    } cases[] = {
        {"%d", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%d|%i"), -42, 7); }, "-42|7"},
        {"%u", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%u"), 4000000000u); }, "4000000000"},
        {"%s", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("[%s]"), "caf\xC3\xA9"); }, "[caf\xC3\xA9]"},
        {"%@ string", [&] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("<%@>"), name.get()); }, "<Harlune>"},
        {"%@ number", [&] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@ Hz"), number.get()); }, "48000 Hz"},
        {"%@ NULL", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), nullptr); }, "(null)"},
        {"%f", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%f/%.2f"), 1.5, 2.345); }, "1.500000/2.35"},
        {"widths", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%5d|%-4d|%*d"), 1, 2, 3, 4); }, "    1|2   |  4"},
        {"lengths", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%lld %ld %zu %hhd %qd"), -5LL, 6L, size_t{7}, 300, 8LL); }, "-5 6 7 44 8"},
        {"hex and percent", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%x %X %08x 100%%"), 255u, 255u, 0xBEEFu); }, "ff FF 0000beef 100%"},
        {"%c and %C", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%c%C"), 'A', 0x20AC); }, "A\xE2\x82\xAC"},
        {"non-ASCII format", [] { return CFStringCreateWithFormat(nullptr, nullptr, CFSTR("\xC3\xA9t\xC3\xA9 %d"), 3); }, "\xC3\xA9t\xC3\xA9 3"},
    };
    for (const Case &c : cases) {
        Owned<CFStringRef> result(c.make());
        EXPECT_EQ(text(result), c.expected) << c.name;
    }
}

TEST(CFString, RejectsUnsupportedFormats) {
    int written = 0;
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%n"), &written), nullptr);
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%1$d"), 1), nullptr);
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("trailing %"), 1), nullptr);
    EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(written, 0);
}

TEST(CFString, ComparesLiterallyCaseInsensitivelyAndNumerically) {
    struct Case {
        const char *a, *b;
        CFStringCompareFlags flags;
        CFComparisonResult expected;
    } cases[] = {
        {"abc", "abd", 0, kCFCompareLessThan},
        {"abc", "ab", 0, kCFCompareGreaterThan},
        {"", "", 0, kCFCompareEqualTo},
        {"ABC", "abc", 0, kCFCompareLessThan},
        {"ABC", "abc", kCFCompareCaseInsensitive, kCFCompareEqualTo},
        {"a", "B", kCFCompareCaseInsensitive, kCFCompareLessThan},
        {"\xC3\x84pfel", "\xC3\xA4PFEL", kCFCompareCaseInsensitive, kCFCompareEqualTo},          // Latin-1
        {"\xC5\x81\xC3\xB3" "d\xC5\xBA", "\xC5\x82\xC3\x93" "D\xC5\xB9", kCFCompareCaseInsensitive, kCFCompareEqualTo},  // Latin Extended-A
        {"\xCE\xA9mega", "\xCF\x89MEGA", kCFCompareCaseInsensitive, kCFCompareEqualTo},          // Greek
        {"\xD0\x9F\xD1\x80\xD0\xB8", "\xD0\xBF\xD0\xA0\xD0\x98", kCFCompareCaseInsensitive, kCFCompareEqualTo},  // Cyrillic
        {"Stra\xC3\x9F" "e", "STRASSE", kCFCompareCaseInsensitive, kCFCompareGreaterThan},       // no multi-character folding
        {"file2", "file10", 0, kCFCompareGreaterThan},
        {"file2", "file10", kCFCompareNumerically, kCFCompareLessThan},
        {"v007", "v7", kCFCompareNumerically, kCFCompareEqualTo},
        {"Track 10", "track 9", kCFCompareNumerically | kCFCompareCaseInsensitive, kCFCompareGreaterThan},
        // UTF-16 order puts a surrogate (U+1F600) before U+FF21, unlike code point order.
        {"\xF0\x9F\x98\x80", "\xEF\xBC\xA1", 0, kCFCompareLessThan},
    };
    for (const Case &c : cases) {
        Owned<CFStringRef> a(cftest::makeString(c.a)), b(cftest::makeString(c.b));
        EXPECT_EQ(CFStringCompare(a, b, c.flags), c.expected) << c.a << " vs " << c.b;
    }
}

TEST(CFString, MatchesPrefixesAndSuffixes) {
    struct Case {
        const char *string, *affix;
        bool prefix, suffix;
    } cases[] = {
        {"com.harlune.driver", "com.harlune", true, false},
        {"com.harlune.driver", "driver", false, true},
        {"same", "same", true, true},
        {"short", "shorter", false, false},
        {"anything", "", false, false},  // an empty affix never matches, as on Apple's platforms
    };
    for (const Case &c : cases) {
        Owned<CFStringRef> string(cftest::makeString(c.string)), affix(cftest::makeString(c.affix));
        EXPECT_EQ(CFStringHasPrefix(string, affix), c.prefix) << c.string << " / " << c.affix;
        EXPECT_EQ(CFStringHasSuffix(string, affix), c.suffix) << c.string << " / " << c.affix;
    }
}

TEST(CFString, MutableStringsGrowAndCopiesAreSnapshots) {
    Owned<CFMutableStringRef> string(CFStringCreateMutable(nullptr, 0));
    CFStringAppend(string, CFSTR("Ha"));
    CFStringAppendCString(string, "rl\xC3\xBC", kCFStringEncodingUTF8);
    const UniChar ne[] = {'n', 'e'};
    CFStringAppendCharacters(string, ne, 2);
    EXPECT_EQ(text(string), "Harl\xC3\xBCne");
    EXPECT_EQ(CFStringGetLength(string), 7);

    Owned<CFStringRef> snapshot(CFStringCreateCopy(nullptr, string));
    CFStringAppend(string, string);  // appending itself
    CFStringAppendFormat(string, nullptr, CFSTR("#%d"), 2);
    EXPECT_EQ(text(string), "Harl\xC3\xBCneHarl\xC3\xBCne#2");
    EXPECT_EQ(CFStringGetLength(string), 16);
    EXPECT_EQ(text(snapshot), "Harl\xC3\xBCne");

    // Immutable strings ignore mutation instead of crashing.
    CFStringAppend(const_cast<CFMutableStringRef>(snapshot.get()), CFSTR("x"));
    EXPECT_EQ(text(snapshot), "Harl\xC3\xBCne");
}
