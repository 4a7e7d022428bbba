// The fast UTF-8 decoder against the reference model on generated inputs:
// every one- and two-byte lead/follower pair, and three- and four-byte
// sequences built from the bytes at every range boundary, each placed after
// a prefix and before a suffix and decoded with every capacity from 0 to
// past the end.
#include <text/LText.h>

#include "LUTF8Reference.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Bytes at the edges of every range of the well-formed table.
constexpr unsigned char kEdges[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xFF};
constexpr char32_t kCanary = 0xCAFE;

std::vector<std::string> GenerateSequences() {
    std::vector<std::string> ar;
    for (int a = 1; a < 0x100; ++a) {
        ar.push_back(std::string(1, static_cast<char>(a)));
        for (int b = 1; b < 0x100; ++b) {
            ar.push_back({static_cast<char>(a), static_cast<char>(b)});
        }
    }
    for (int lead = 0xE0; lead < 0x100; ++lead) {
        for (unsigned char b : kEdges) {
            for (unsigned char c : kEdges) {
                ar.push_back({static_cast<char>(lead), static_cast<char>(b), static_cast<char>(c)});
                if (lead >= 0xF0) {
                    for (unsigned char d : kEdges) {
                        ar.push_back({static_cast<char>(lead), static_cast<char>(b), static_cast<char>(c),
                                      static_cast<char>(d)});
                    }
                }
            }
        }
    }
    return ar;
}

// Decodes with the library into an array with a canary after the capacity
// and checks the result, the text and that nothing was written past it.
void ExpectMatchesModel(const std::string &sIn, unsigned long capacity) {
    const lutf8ref::Result expected = lutf8ref::Decode(sIn, capacity);
    std::vector<char32_t> arOut(capacity + 1, kCanary);
    const std::string sTerminated = sIn.substr(0, sIn.find('\0'));
    const LUTFResult result = LCopyUTF32FromUTF8Native(arOut.data(), sTerminated.c_str(), capacity);
    ASSERT_EQ(result, expected.nResult) << "capacity " << capacity << " input bytes " << testing::PrintToString(sIn);
    ASSERT_EQ(arOut[capacity], kCanary) << "wrote past the capacity";
    if (capacity == 0) {
        return;
    }
    ASSERT_EQ(std::u32string(arOut.data()), expected.sOut) << testing::PrintToString(sIn);
}

TEST(UTF8DecoderModel, GeneratedSequencesInContextAndAtEveryCapacity) {
    for (const std::string &seq : GenerateSequences()) {
        const std::string sIn = "a" + seq + "z";
        for (unsigned long capacity = 0; capacity <= sIn.size() + 1; ++capacity) {
            ExpectMatchesModel(sIn, capacity);
        }
        ExpectMatchesModel(seq, 260);
    }
}

TEST(UTF8DecoderModel, WideFormDecodesLikeTheNativeForm) {
    const char *szIn = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xED\xA0\x80";
    char32_t arNative[16];
    wchar_t arWide[16];
    char32_t arTo[16];
    EXPECT_EQ(LCopyUTF32FromUTF8Native(arNative, szIn, 16), kLUTFResultInvalid);
    EXPECT_EQ(LCopyUTF32FromUTF8(arWide, szIn, 16), kLUTFResultInvalid);
    EXPECT_EQ(LCopyToUTF32(arTo, szIn, 16), kLUTFResultInvalid);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(static_cast<char32_t>(arWide[i]), arNative[i]);
        EXPECT_EQ(arTo[i], arNative[i]);
    }
    EXPECT_EQ(arNative[4], 0u);
}

TEST(UTF8DecoderModel, ValidatorAgreesWithTheDecoder) {
    for (const std::string &seq : GenerateSequences()) {
        const std::string sIn = "x" + seq.substr(0, seq.find('\0'));
        const bool bValid = lutf8ref::Decode(sIn, sIn.size() + 1).nResult == 0;
        ASSERT_EQ(LCharsetsIsValidUTF8(sIn.c_str()), bValid) << testing::PrintToString(sIn);
    }
}

}  // namespace
