// The fast UTF-8 decoder against the reference model on generated inputs:
// every one- and two-byte lead/follower pair, and three- and four-byte
// sequences built from the bytes at every range boundary, each placed after
// a prefix and before a suffix and decoded with every capacity from 0 to
// past the end.
#include <text/LText.h>

#include "LUTF8Reference.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
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
    // An allocation of exactly the text and its terminator, so that a read
    // past the terminator is a heap overflow for AddressSanitizer.
    const std::string sTerminated = sIn.substr(0, sIn.find('\0'));
    const std::unique_ptr<char[]> pExact(new char[sTerminated.size() + 1]);
    memcpy(pExact.get(), sTerminated.c_str(), sTerminated.size() + 1);
    const LUTFResult result = LCopyUTF32FromUTF8Native(arOut.data(), pExact.get(), capacity);
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

// Sequences built from the range edges, placed at every offset of an 8-byte
// word after ASCII, two-byte and three-byte text and followed by enough text
// that the decoder's word-at-a-time path reads them: with room for everything
// and with one unit too few (the careful path).
TEST(UTF8DecoderModel, SequencesAtEveryWordOffset) {
    // One lead of each class of the well-formed table and its edges; the
    // fourth byte only needs its own range's edges.
    const unsigned char arLeads[] = {0x01, 0x41, 0x7F, 0x80, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1, 0xEC, 0xED, 0xEE,
                                     0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF7, 0xF8, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};
    const unsigned char arFourth[] = {0x00, 0x7F, 0x80, 0xBF, 0xC0};
    std::vector<std::string> arSequences;
    for (unsigned char lead : arLeads) {
        const std::string sLead(1, static_cast<char>(lead));
        arSequences.push_back(sLead);
        for (unsigned char b : kEdges) {
            arSequences.push_back(sLead + static_cast<char>(b));
            for (unsigned char c : kEdges) {
                arSequences.push_back(sLead + static_cast<char>(b) + static_cast<char>(c));
                for (unsigned char d : arFourth) {
                    if (lead >= 0xF0) {
                        arSequences.push_back(sLead + static_cast<char>(b) + static_cast<char>(c) +
                                              static_cast<char>(d));
                    }
                }
            }
        }
    }
    const std::string arPrefixes[] = {"",       "a",        "abcde",       "abcdefg",     "abcdefgh",
                                      "abcdefghi", "\xC3\xA9", "\xE6\x97\xA5\xE6\x9C\xAC", "ab\xE6\x97\xA5"};
    const std::string sSuffix = "\xE6\x97\xA5\xE6\x9C\xAC" "zzzzzzzzzzzzzzzzz";
    for (const std::string &seq : arSequences) {
        for (const std::string &sPrefix : arPrefixes) {
            std::string sIn = sPrefix + seq + sSuffix;
            sIn.resize(sIn.find('\0') == std::string::npos ? sIn.size() : sIn.find('\0'));
            ExpectMatchesModel(sIn, sIn.size() + 1);
            ExpectMatchesModel(sIn, sIn.size());
        }
    }
}

// Runs of three-byte characters reaching the very end of the text, after
// ASCII runs of every length: the word-at-a-time path must never load a
// word that passes the terminator.
TEST(UTF8DecoderModel, WordPathStopsAtTheEndOfTheText) {
    for (size_t nAscii = 0; nAscii <= 17; ++nAscii) {
        for (size_t nCJK = 0; nCJK <= 7; ++nCJK) {
            std::string sIn(nAscii, '~');
            for (size_t i = 0; i < nCJK; ++i) {
                sIn += "\xE6\x97\xA5";
            }
            for (const std::string &sTail : {std::string(), std::string("\xC3\xA9"), std::string("a")}) {
                ExpectMatchesModel(sIn + sTail, sIn.size() + sTail.size() + 1);
            }
        }
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
