// The recording's files: labelled with the device's rate, split or
// resampled when it changes, limits across files, and the live meter.
#include "tests/support/LTempFolder.h"
#include "tools/audio/LAudioFileReader.h"
#include "tools/harlune/LevelMeter.h"
#include "tools/harlune/RecordingFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

namespace harlune::test {
namespace {

using tools::LAppendResult;

std::vector<float> Buffer(std::size_t nFrames, float fValue = 0.25f) { return std::vector<float>(nFrames * 2, fValue); }

audio::LAudioFileContents Read(const std::string& szPath) {
    audio::LAudioFileContents contents;
    std::string szError;
    EXPECT_TRUE(audio::LReadAudioFile(szPath, &contents, &szError)) << szError;
    return contents;
}

TEST(RecordingFile, ARateChangeEndsTheFileAndTheNextCarriesASuffix) {
    struct Case {
        const char* szName; // the file asked for, in the test's folder
        const char* szNext; // the second file
    };
    const Case arCases[] = {{"take.wav", "take-2.wav"}, {"take", "take-2"}, {"a.b/take", "a.b/take-2"},
                            {"song.take.flac", "song.take-2.flac"}};
    for (const Case& c : arCases) {
        LTempFolder folder;
        std::filesystem::create_directory(folder / "a.b");
        std::vector<std::string> arNotes;
        tools::LRecordingOptions options;
        options.szPath = folder / c.szName;
        tools::LRecordingFile file(options, [&](const std::string& sz) { arNotes.push_back(sz); });
        std::string szError;
        const std::vector<float> ar = Buffer(512);
        ASSERT_EQ(file.Append(ar.data(), 512, 44100, &szError), LAppendResult::Written) << szError;
        ASSERT_EQ(file.Append(ar.data(), 512, 44100, &szError), LAppendResult::Written);
        ASSERT_EQ(file.Append(ar.data(), 512, 48000, &szError), LAppendResult::Written) << szError;
        ASSERT_TRUE(file.Finish(&szError)) << szError;
        const auto takes = file.Takes();
        ASSERT_EQ(takes.size(), 2u) << c.szName;
        EXPECT_EQ(takes[0].szPath, folder / c.szName);
        EXPECT_EQ(takes[1].szPath, folder / c.szNext);
        EXPECT_EQ(Read(folder / c.szName).fSampleRate, 44100.0);
        EXPECT_EQ(Read(folder / c.szName).arFrames.size(), 2u * 1024);
        EXPECT_EQ(Read(folder / c.szNext).fSampleRate, 48000.0);
        EXPECT_EQ(Read(folder / c.szNext).arFrames.size(), 2u * 512);
        ASSERT_EQ(arNotes.size(), 1u);
        EXPECT_NE(arNotes[0].find("48000 Hz"), std::string::npos) << arNotes[0];
    }
}

TEST(RecordingFile, AFixedRateResamplesAcrossAChangeIntoOneFile) {
    LTempFolder folder;
    tools::LRecordingOptions options;
    options.szPath = folder / "fixed.wav";
    options.fFixedRate = 48000;
    tools::LRecordingFile file(options, nullptr);
    std::string szError;
    const std::vector<float> ar = Buffer(441);
    for (int i = 0; i < 100; ++i) { // one second at 44100
        ASSERT_EQ(file.Append(ar.data(), 441, 44100, &szError), LAppendResult::Written) << szError;
    }
    const std::vector<float> ar48 = Buffer(480);
    for (int i = 0; i < 100; ++i) { // one second at 48000: no conversion
        ASSERT_EQ(file.Append(ar48.data(), 480, 48000, &szError), LAppendResult::Written) << szError;
    }
    ASSERT_TRUE(file.Finish(&szError)) << szError;
    ASSERT_EQ(file.Takes().size(), 1u);
    const audio::LAudioFileContents contents = Read(folder / "fixed.wav");
    EXPECT_EQ(contents.fSampleRate, 48000.0);
    EXPECT_NEAR(static_cast<double>(contents.arFrames.size() / 2), 96000.0, 4);
}

TEST(RecordingFile, LimitsCountWhatIsWrittenOverAllFiles) {
    struct Case {
        const char* szName;
        std::uint64_t nFrameLimit;
        double fSecondsLimit;
        std::uint64_t nExpected; // frames in both files together
    };
    const Case arCases[] = {
        {"frames inside a buffer", 1000, 0, 1000},
        {"frames across the change", 1500, 0, 1500},
        {"seconds", 0, 0.02, 882}, // all within the first file, at 44100
    };
    for (const Case& c : arCases) {
        LTempFolder folder;
        tools::LRecordingOptions options;
        options.szPath = folder / "limit.wav";
        options.nFrameLimit = c.nFrameLimit;
        options.fSecondsLimit = c.fSecondsLimit;
        tools::LRecordingFile file(options, nullptr);
        std::string szError;
        const std::vector<float> ar = Buffer(512);
        LAppendResult eLast = LAppendResult::Written;
        for (int i = 0; i < 4 && eLast == LAppendResult::Written; ++i) {
            eLast = file.Append(ar.data(), 512, i < 2 ? 44100 : 48000, &szError);
        }
        EXPECT_EQ(eLast, LAppendResult::LimitReached) << c.szName;
        EXPECT_EQ(file.Append(ar.data(), 512, 48000, &szError), LAppendResult::LimitReached) << c.szName;
        ASSERT_TRUE(file.Finish(&szError));
        EXPECT_EQ(file.TotalFrames(), c.nExpected) << c.szName;
        std::uint64_t nInFiles = 0;
        for (const auto& take : file.Takes()) {
            nInFiles += Read(take.szPath).arFrames.size() / 2;
        }
        EXPECT_EQ(nInFiles, c.nExpected) << c.szName;
    }
}

TEST(RecordingFile, NothingReceivedLeavesAnEmptyFileWhereTheFormatHasOne) {
    struct Case {
        audio::LRecordFormat eFormat;
        const char* szName;
        bool bFile; // FLAC cannot be valid without audio
    };
    for (const Case& c : {Case{audio::LRecordFormat::WavFloat, "empty.wav", true},
                          Case{audio::LRecordFormat::Wav16, "empty16.wav", true},
                          Case{audio::LRecordFormat::Flac, "empty.flac", false}}) {
        LTempFolder folder;
        tools::LRecordingOptions options;
        options.szPath = folder / c.szName;
        options.eFormat = c.eFormat;
        tools::LRecordingFile file(options, nullptr);
        std::string szError;
        ASSERT_TRUE(file.Finish(&szError)) << szError;
        EXPECT_EQ(std::filesystem::exists(options.szPath), c.bFile) << c.szName;
        EXPECT_EQ(file.Takes().empty(), !c.bFile) << c.szName;
        if (c.bFile) {
            EXPECT_TRUE(Read(options.szPath).arFrames.empty());
        }
    }
}

TEST(RecordingFile, AFolderThatCannotBeWrittenIsNamedBeforeAnythingArrives) {
    LTempFolder folder;
    tools::LRecordingOptions options;
    options.szPath = folder / "no/such/folder/take.wav";
    tools::LRecordingFile file(options, nullptr);
    std::string szError;
    EXPECT_FALSE(file.CheckWritable(&szError));
    EXPECT_NE(szError.find(options.szPath), std::string::npos) << szError;
    options.szPath = folder / "fine.wav";
    EXPECT_TRUE(tools::LRecordingFile(options, nullptr).CheckWritable(&szError));
}

TEST(LevelMeter, PeaksPerChannelResetWhenTakenAndClipsAccumulate) {
    tools::LLevelMeter meter(2);
    const float ar1[] = {0.5f, -0.25f, -1.0f, 0.1f, 0.2f, 2.0f};
    meter.Add(ar1, 3);
    std::vector<float> arPeaks = meter.TakePeaks();
    EXPECT_EQ(arPeaks, (std::vector<float>{1.0f, 2.0f}));
    EXPECT_EQ(meter.Clips(), 2u);
    const float ar2[] = {0.125f, 0.0f};
    meter.Add(ar2, 1);
    EXPECT_EQ(meter.TakePeaks(), (std::vector<float>{0.125f, 0.0f}));
    EXPECT_EQ(meter.Clips(), 2u);
}

TEST(LevelMeter, BarsScaleFromMinus60ToFullScale) {
    struct Case {
        float fPeak;
        const char* szBar;
    };
    for (const Case& c : {Case{0.0f, "----------"}, Case{0.001f, "----------"}, Case{0.0316228f, "#####-----"},
                          Case{0.99f, "##########"}, Case{1.0f, "#########!"}}) {
        EXPECT_EQ(tools::LLevelMeter::Bar(c.fPeak, 10), c.szBar) << c.fPeak;
    }
    EXPECT_NEAR(tools::LLevelMeter::Decibels(0.5f), -6.02, 0.01);
    EXPECT_EQ(tools::LLevelMeter::Decibels(0.0f), -120.0);
}

} // namespace
} // namespace harlune::test
