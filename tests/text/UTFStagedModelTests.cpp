// The UTF-8/UTF-16 conversions run their two stages fused; they must give
// exactly what converting through a full UTF-32 temporary of the output's
// capacity gives. The staged model below is that conversion, built from the
// single-stage functions (tested on their own), and is compared with the
// fused functions on generated text at every capacity.
#include <text/LText.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr char16_t kCanary16 = 0xBEEF;
constexpr char kCanary8 = '#';

LUTFResult StagedUnicodeFromUTF8(char16_t *out, const char *in, unsigned long capacity) {
    std::vector<char32_t> arTemp(capacity);
    const LUTFResult first = LCopyUTF32FromUTF8Native(arTemp.data(), in, capacity);
    arTemp[capacity - 1] = 0;
    const LUTFResult second = LCopyUnicodeFromUTF32(out, arTemp.data(), capacity);
    return second == kLUTFResultOutputFull ? second : first;
}

LUTFResult StagedUTF8FromUnicode(char *out, const char16_t *in, unsigned long capacity) {
    std::vector<char32_t> arTemp(capacity);
    const LUTFResult first = LCopyUTF32FromUnicode(arTemp.data(), in, capacity);
    arTemp[capacity - 1] = 0;
    const LUTFResult second = LCopyUTF8FromUTF32Native(out, arTemp.data(), capacity);
    out[capacity - 1] = 0;
    // A character the encoder could not fit: the text before the terminator
    // is shorter than what the temporary held.
    std::vector<char> arWhole(capacity * 4 + 1);
    LCopyUTF8FromUTF32Native(arWhole.data(), arTemp.data(), arWhole.size());
    if (std::string(out) != std::string(arWhole.data())) {
        return kLUTFResultOutputFull;
    }
    return second == kLUTFResultInvalid ? second : first;
}

std::vector<std::string> UTF8Pieces() {
    return {"a", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xED\xA0\x80", "\xC0\x80", "\x80", "\xF4\x90\x80\x80"};
}

std::vector<std::u16string> UTF16Pieces() {
    return {u"a", u"\u00E9", u"\u20AC", u"\xD83D\xDE00", std::u16string(1, 0xD800), std::u16string(1, 0xDC00),
            u"\xDBFF\xDFFF", std::u16string{0xDBFF, 0xFFFF}};
}

TEST(UTFStagedModel, UTF8ToUTF16MatchesTheStagedConversion) {
    const auto arPieces = UTF8Pieces();
    for (const auto &a : arPieces) {
        for (const auto &b : arPieces) {
            for (const auto &c : arPieces) {
                const std::string sIn = a + b + "xy" + c;
                for (unsigned long capacity = 1; capacity <= sIn.size() + 2; ++capacity) {
                    std::vector<char16_t> arFused(capacity + 1, kCanary16), arStaged(capacity + 1, kCanary16);
                    const LUTFResult fused = LCopyUnicodeFromUTF8(arFused.data(), sIn.c_str(), capacity);
                    const LUTFResult staged = StagedUnicodeFromUTF8(arStaged.data(), sIn.c_str(), capacity);
                    ASSERT_EQ(fused, staged) << testing::PrintToString(sIn) << " capacity " << capacity;
                    ASSERT_EQ(std::u16string(arFused.data()), std::u16string(arStaged.data()))
                        << testing::PrintToString(sIn) << " capacity " << capacity;
                    ASSERT_EQ(arFused[capacity], kCanary16);
                }
            }
        }
    }
}

TEST(UTFStagedModel, UTF16ToUTF8MatchesTheStagedConversion) {
    const auto arPieces = UTF16Pieces();
    for (const auto &a : arPieces) {
        for (const auto &b : arPieces) {
            for (const auto &c : arPieces) {
                const std::u16string sIn = a + b + u"xy" + c;
                for (unsigned long capacity = 1; capacity <= sIn.size() * 4 + 2; ++capacity) {
                    std::vector<char> arFused(capacity + 1, kCanary8), arStaged(capacity + 1, kCanary8);
                    const LUTFResult fused = LCopyUTF8FromUnicode(arFused.data(), sIn.c_str(), capacity);
                    const LUTFResult staged = StagedUTF8FromUnicode(arStaged.data(), sIn.c_str(), capacity);
                    ASSERT_EQ(fused, staged) << " capacity " << capacity;
                    ASSERT_EQ(std::string(arFused.data()), std::string(arStaged.data())) << " capacity " << capacity;
                    ASSERT_EQ(arFused[capacity], kCanary8);
                }
            }
        }
    }
}

}  // namespace
