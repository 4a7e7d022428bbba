// What the programs accept on their command lines, and the words they use
// for what they refuse.
#include "tools/audio/LAudioFileFormat.h"
#include "tools/harlune/CommandSupport.h"

#include <gtest/gtest.h>

namespace harlune::test {
namespace {

using audio::LRecordFormat;

TEST(RecordFormat, NamesAndExtensionsChooseTheFormat) {
    struct Case {
        const char* szText;
        bool bByName; // a --format name, else a file name
        bool bKnown;
        LRecordFormat eFormat;
    };
    const Case arCases[] = {
        {"wav", true, true, LRecordFormat::WavFloat},     {"FLAC", true, true, LRecordFormat::Flac},
        {"s16", true, true, LRecordFormat::Wav16},        {"wav24", true, true, LRecordFormat::Wav24},
        {"flac16", true, true, LRecordFormat::Flac16},    {"raw", true, true, LRecordFormat::RawFloat},
        {"mp3", true, false, LRecordFormat::WavFloat},    {"", true, false, LRecordFormat::WavFloat},
        {"take.wav", false, true, LRecordFormat::WavFloat}, {"take.FLAC", false, true, LRecordFormat::Flac},
        {"big.rf64", false, true, LRecordFormat::WavFloat}, {"x.raw", false, true, LRecordFormat::RawFloat},
        {"take", false, false, LRecordFormat::WavFloat},  {"dir.flac/take", false, false, LRecordFormat::WavFloat},
        {"song.mp3", false, false, LRecordFormat::WavFloat},
    };
    for (const Case& c : arCases) {
        LRecordFormat eFormat = LRecordFormat::WavFloat;
        const bool bKnown = c.bByName ? audio::LParseRecordFormat(c.szText, &eFormat)
                                      : audio::LRecordFormatFromPath(c.szText, &eFormat);
        EXPECT_EQ(bKnown, c.bKnown) << c.szText;
        EXPECT_EQ(eFormat, c.eFormat) << c.szText;
    }
}

TEST(RecordFormat, OnlyHeaderlessOrStreamableFormatsGoIntoPipes) {
    EXPECT_FALSE(audio::LCanStream(LRecordFormat::WavFloat));
    EXPECT_FALSE(audio::LCanStream(LRecordFormat::Wav16));
    EXPECT_TRUE(audio::LCanStream(LRecordFormat::Flac));
    EXPECT_TRUE(audio::LCanStream(LRecordFormat::RawFloat));
}

TEST(OptionNumbers, OutOfRangeValuesAreRefusedWithTheRange) {
    struct Case {
        const char* szText;
        double fMin, fMax;
        bool bOk;
    };
    const Case arCases[] = {{"48000", 1000, 768000, true}, {"999", 1000, 768000, false},
                            {"1e6", 1000, 768000, false},  {"fast", 1000, 768000, false},
                            {"", 0, 1, false},             {"0.5", 0, 1, true},
                            {"nan", 0, 1, false},          {"1", 0, 1, true}};
    for (const Case& c : arCases) {
        double f = -1;
        std::string szError;
        EXPECT_EQ(tools::LParseOptionNumber("--rate", c.szText, c.fMin, c.fMax, &f, &szError), c.bOk) << c.szText;
        if (!c.bOk) {
            EXPECT_NE(szError.find("--rate takes a number from"), std::string::npos) << szError;
            EXPECT_NE(szError.find(std::string("'") + c.szText + "'"), std::string::npos) << szError;
            EXPECT_EQ(f, -1) << "a refused value is not stored";
        }
    }
}

} // namespace
} // namespace harlune::test
