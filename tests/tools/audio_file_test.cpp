// Audio files written and read back through libsndfile, per format.
#include "tests/support/LTempFolder.h"
#include "tools/audio/LAudioFileReader.h"
#include "tools/audio/LAudioFileWriter.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <csignal>
#include <cmath>
#include <cstring>
#include <filesystem>

namespace harlune::test {
namespace {

using audio::LRecordFormat;

// A stereo signal that uses the whole range, including full scale and
// beyond (which integer files clip) and values float files keep bit for bit.
std::vector<float> Signal(std::size_t nFrames) {
    std::vector<float> ar(nFrames * 2);
    for (std::size_t i = 0; i < nFrames; ++i) {
        ar[2 * i] = static_cast<float>(0.9 * std::sin(0.01 * static_cast<double>(i)));
        ar[2 * i + 1] = static_cast<float>(-0.5 * std::cos(0.003 * static_cast<double>(i))) + 1e-7f;
    }
    ar[0] = 1.0f;
    ar[1] = -1.0f;
    return ar;
}

struct FormatCase {
    const char* szName;
    LRecordFormat eFormat;
    const char* szFile;
    double fTolerance; // largest difference read back; 0: bit for bit
};

class FormatRoundTrip : public ::testing::TestWithParam<FormatCase> {};

TEST_P(FormatRoundTrip, ReadsBackWithinTheFormatsPrecision) {
    const FormatCase& c = GetParam();
    LTempFolder folder;
    const std::string szPath = folder / c.szFile;
    const std::vector<float> arSignal = Signal(30000);
    audio::LAudioFileWriter writer;
    std::string szError;
    ASSERT_TRUE(writer.Open(szPath, c.eFormat, 48000, 2, &szError)) << szError;
    ASSERT_TRUE(writer.Write(arSignal.data(), 10000, &szError)) << szError;
    ASSERT_TRUE(writer.Write(arSignal.data() + 20000, 20000, &szError)) << szError;
    EXPECT_EQ(writer.Frames(), 30000u);
    ASSERT_TRUE(writer.Close(&szError)) << szError;

    audio::LAudioFileContents contents;
    ASSERT_TRUE(audio::LReadAudioFile(szPath, &contents, &szError)) << szError;
    EXPECT_EQ(contents.fSampleRate, 48000.0);
    ASSERT_EQ(contents.nChannels, 2);
    ASSERT_EQ(contents.arFrames.size(), arSignal.size());
    if (c.fTolerance == 0) {
        EXPECT_EQ(std::memcmp(contents.arFrames.data(), arSignal.data(), arSignal.size() * sizeof(float)), 0);
    }
    double fWorst = 0;
    for (std::size_t i = 0; i < arSignal.size(); ++i) {
        fWorst = std::max(fWorst, std::fabs(static_cast<double>(contents.arFrames[i]) - arSignal[i]));
    }
    EXPECT_LE(fWorst, c.fTolerance);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, FormatRoundTrip,
    ::testing::Values(FormatCase{"wav_float", LRecordFormat::WavFloat, "a.wav", 0},
                      // Integers: half a step of rounding plus full scale's
                      // one step (1.0 is written as the largest code).
                      FormatCase{"wav16", LRecordFormat::Wav16, "a.wav", 2.0 / 32768},
                      FormatCase{"wav24", LRecordFormat::Wav24, "a.wav", 2.0 / 8388608},
                      FormatCase{"flac24", LRecordFormat::Flac, "a.flac", 2.0 / 8388608},
                      FormatCase{"flac16", LRecordFormat::Flac16, "a.flac", 2.0 / 32768}),
    [](const ::testing::TestParamInfo<FormatCase>& info) { return std::string(info.param.szName); });

TEST(AudioFileWriter, IntegerFormatsClipInsteadOfWrapping) {
    LTempFolder folder;
    audio::LAudioFileWriter writer;
    std::string szError;
    ASSERT_TRUE(writer.Open(folder / "loud.wav", LRecordFormat::Wav16, 44100, 2, &szError)) << szError;
    const float arLoud[] = {1.5f, -3.0f, 2.0f, -1.25f};
    ASSERT_TRUE(writer.Write(arLoud, 2, &szError));
    ASSERT_TRUE(writer.Close(&szError));
    audio::LAudioFileContents contents;
    ASSERT_TRUE(audio::LReadAudioFile(folder / "loud.wav", &contents, &szError)) << szError;
    ASSERT_EQ(contents.arFrames.size(), 4u);
    EXPECT_GT(contents.arFrames[0], 0.999f);
    EXPECT_LE(contents.arFrames[1], -0.999f);
    EXPECT_GT(contents.arFrames[2], 0.999f);
    EXPECT_LE(contents.arFrames[3], -0.999f);
}

TEST(AudioFileWriter, HeaderUpdatedWhileOpenDescribesEverythingWritten) {
    // A copy taken while the file is still open is what a killed recorder
    // leaves behind.
    LTempFolder folder;
    const std::vector<float> arSignal = Signal(4096);
    audio::LAudioFileWriter writer;
    std::string szError;
    ASSERT_TRUE(writer.Open(folder / "live.wav", LRecordFormat::WavFloat, 44100, 2, &szError)) << szError;
    ASSERT_TRUE(writer.Write(arSignal.data(), 4096, &szError));
    writer.UpdateHeader();
    std::filesystem::copy_file(folder / "live.wav", folder / "killed.wav");
    audio::LAudioFileContents contents;
    ASSERT_TRUE(audio::LReadAudioFile(folder / "killed.wav", &contents, &szError)) << szError;
    ASSERT_EQ(contents.arFrames.size(), arSignal.size());
    EXPECT_EQ(std::memcmp(contents.arFrames.data(), arSignal.data(), arSignal.size() * sizeof(float)), 0);
}

TEST(AudioFileWriter, AFullDiskStopsWithTheSystemsMessageAndATrueHeader) {
    // A file-size limit fails writes the way a full disk does.
    LTempFolder folder;
    struct rlimit old {};
    getrlimit(RLIMIT_FSIZE, &old);
    auto previous = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = old;
    limit.rlim_cur = 64 * 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const std::vector<float> arSignal = Signal(20000); // 160 KB: past the limit
    audio::LAudioFileWriter writer;
    std::string szError;
    bool bOpened = writer.Open(folder / "full.wav", LRecordFormat::WavFloat, 44100, 2, &szError);
    bool bWrote = bOpened && writer.Write(arSignal.data(), 20000, &szError);
    const std::uint64_t nFrames = writer.Frames();
    std::string szCloseError;
    writer.Close(&szCloseError);
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, previous);
    ASSERT_TRUE(bOpened) << szError;
    EXPECT_FALSE(bWrote);
    EXPECT_NE(szError.find("File too large"), std::string::npos) << szError;
    EXPECT_LT(nFrames, 20000u);
    audio::LAudioFileContents contents;
    ASSERT_TRUE(audio::LReadAudioFile(folder / "full.wav", &contents, &szError)) << szError;
    EXPECT_EQ(contents.arFrames.size() / 2, nFrames) << "the header counts what reached the disk";
    EXPECT_EQ(std::memcmp(contents.arFrames.data(), arSignal.data(), contents.arFrames.size() * sizeof(float)), 0);
}

TEST(AudioFileWriter, RefusesWhatItCannotWrite) {
    LTempFolder folder;
    struct Case {
        std::string szPath;
        double fRate;
        int nChannels;
        const char* szWords;
    };
    const Case arCases[] = {
        {folder / "missing/folder/x.wav", 44100, 2, "No such file"},
        {folder / "x.wav", 0, 2, "0.0"},
        {folder / "x.wav", 44100, 0, "0 channels"},
    };
    for (const Case& c : arCases) {
        audio::LAudioFileWriter writer;
        std::string szError;
        EXPECT_FALSE(writer.Open(c.szPath, LRecordFormat::WavFloat, c.fRate, c.nChannels, &szError)) << c.szPath;
        EXPECT_NE(szError.find(c.szWords), std::string::npos) << szError;
        EXPECT_FALSE(writer.IsOpen());
    }
}

TEST(AudioFileReader, ReadsHeaderlessFilesWithTheLayoutGiven) {
    LTempFolder folder;
    const std::int16_t arSamples[] = {16384, -16384, 0, 32767};
    {
        std::FILE* pFile = std::fopen((folder / "pcm.raw").c_str(), "wb");
        ASSERT_NE(pFile, nullptr);
        std::fwrite(arSamples, sizeof arSamples, 1, pFile);
        std::fclose(pFile);
    }
    audio::LRawLayout layout;
    std::string szError;
    ASSERT_TRUE(audio::LParseRawLayout("s16,22050,1", &layout, &szError)) << szError;
    audio::LAudioFileReader reader;
    ASSERT_TRUE(reader.Open(folder / "pcm.raw", &layout, &szError)) << szError;
    EXPECT_EQ(reader.SampleRate(), 22050.0);
    EXPECT_EQ(reader.Channels(), 1);
    float arOut[8] = {};
    ASSERT_EQ(reader.Read(arOut, 8, &szError), 4);
    EXPECT_FLOAT_EQ(arOut[0], 0.5f);
    EXPECT_FLOAT_EQ(arOut[1], -0.5f);
    EXPECT_FLOAT_EQ(arOut[2], 0.0f);
}

TEST(AudioFileReader, RefusesFilesItCannotReadWithTheirName) {
    LTempFolder folder;
    {
        std::FILE* pFile = std::fopen((folder / "text.wav").c_str(), "wb");
        ASSERT_NE(pFile, nullptr);
        std::fputs("this is not audio at all, just words in a file", pFile);
        std::fclose(pFile);
    }
    for (const std::string& szPath : {folder / "text.wav", folder / "absent.flac"}) {
        audio::LAudioFileReader reader;
        std::string szError;
        EXPECT_FALSE(reader.Open(szPath, nullptr, &szError));
        EXPECT_NE(szError.find(szPath), std::string::npos) << szError;
    }
}

TEST(RawLayout, ParsesOrSaysWhatIsWrong) {
    struct Case {
        const char* szText;
        bool bOk;
        const char* szWords; // in the message when refused
    };
    const Case arCases[] = {
        {"s16,44100,2", true, ""},       {"f32,48000,6", true, ""},
        {"s16,44100", false, "ENCODING,RATE,CHANNELS"}, {"s12,44100,2", false, "unknown encoding 's12'"},
        {"s16,fast,2", false, "1000 to 768000"},         {"s16,100,2", false, "1000 to 768000"},
        {"s16,44100,0", false, "1 to 32"},               {"s16,44100,2x", false, "1 to 32"},
    };
    for (const Case& c : arCases) {
        audio::LRawLayout layout;
        std::string szError;
        EXPECT_EQ(audio::LParseRawLayout(c.szText, &layout, &szError), c.bOk) << c.szText;
        EXPECT_NE(szError.find(c.szWords), std::string::npos) << c.szText << ": " << szError;
    }
}

} // namespace
} // namespace harlune::test
