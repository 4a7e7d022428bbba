// Channel mixing and rate conversion on the way to the device.
#include "tests/support/LTempFolder.h"
#include "tools/audio/LAudioFileWriter.h"
#include "tools/audio/LLoadForDevice.h"
#include "tools/audio/LStereoMix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace harlune::test {
namespace {

constexpr double kPi = 3.141592653589793;

TEST(StereoMix, EachChannelCountLandsOnTheRightSides) {
    struct Case {
        const char* szName;
        std::vector<float> arFrame; // one frame of the source
        float fLeft, fRight;        // what the device gets
    };
    const float w = 0.70710678f;
    const Case arCases[] = {
        {"mono goes to both sides", {0.25f}, 0.25f, 0.25f},
        {"stereo passes", {0.1f, -0.2f}, 0.1f, -0.2f},
        {"centre to both at -3 dB", {0, 0, 1.0f}, w / (1 + w), w / (1 + w)},
        {"low-frequency channel left out", {0, 0, 0, 1.0f}, 0, 0},
        {"surround pair to its sides", {0, 0, 0, 0, 1.0f, -1.0f}, w / (1 + 2 * w), -w / (1 + 2 * w)},
        {"full scale everywhere never clips", {1, 1, 1, 1, 1, 1, 1, 1}, 1.0f, 1.0f},
    };
    for (const Case& c : arCases) {
        float arOut[2] = {9, 9};
        audio::LMixToStereo(c.arFrame.data(), static_cast<int>(c.arFrame.size()), 1, arOut);
        EXPECT_NEAR(arOut[0], c.fLeft, 1e-6) << c.szName;
        EXPECT_NEAR(arOut[1], c.fRight, 1e-6) << c.szName;
    }
}

TEST(StereoMix, StereoIsBitForBitEvenInPlace) {
    std::vector<float> ar = {0.1f, -0.3f, 1e-30f, -0.0f, 1.5f, 0.7f};
    const std::vector<float> arBefore = ar;
    audio::LMixToStereo(ar.data(), 2, 3, ar.data());
    EXPECT_EQ(std::memcmp(ar.data(), arBefore.data(), ar.size() * sizeof(float)), 0);
}

TEST(Resampler, ConvertsTheLengthByTheRatioOfRates) {
    struct Case {
        double fIn, fOut;
    };
    for (const Case& c : {Case{22050, 44100}, Case{48000, 44100}, Case{44100, 48000}, Case{8000, 48000},
                          Case{96000, 44100}}) {
        audio::LResampler resampler;
        std::string szError;
        ASSERT_TRUE(resampler.Create(c.fIn, c.fOut, 2, audio::LResampleQuality::High, &szError)) << szError;
        const std::size_t nIn = static_cast<std::size_t>(c.fIn); // one second
        std::vector<float> arIn(nIn * 2, 0.1f), arOut;
        // In uneven pieces, as buffers come.
        for (std::size_t nDone = 0; nDone < nIn;) {
            const std::size_t n = std::min<std::size_t>(nIn - nDone, 333 + nDone % 1000);
            ASSERT_TRUE(resampler.Process(arIn.data() + nDone * 2, n, &arOut, &szError)) << szError;
            nDone += n;
        }
        ASSERT_TRUE(resampler.Flush(&arOut, &szError)) << szError;
        EXPECT_NEAR(static_cast<double>(arOut.size() / 2), c.fOut, 2) << c.fIn << " to " << c.fOut;
    }
}

TEST(Resampler, EqualRatesCopyBitForBit) {
    audio::LResampler resampler;
    std::string szError;
    ASSERT_TRUE(resampler.Create(44100, 44100, 2, audio::LResampleQuality::High, &szError));
    const std::vector<float> arIn = {0.1f, 0.2f, 1e-38f, -0.7f};
    std::vector<float> arOut;
    ASSERT_TRUE(resampler.Process(arIn.data(), 2, &arOut, &szError));
    ASSERT_TRUE(resampler.Flush(&arOut, &szError));
    ASSERT_EQ(arOut.size(), arIn.size());
    EXPECT_EQ(std::memcmp(arOut.data(), arIn.data(), arIn.size() * sizeof(float)), 0);
}

TEST(Resampler, RefusesRatesThatAreNotRates) {
    audio::LResampler resampler;
    std::string szError;
    EXPECT_FALSE(resampler.Create(0, 44100, 2, audio::LResampleQuality::High, &szError));
    EXPECT_FALSE(resampler.Create(44100, -1, 2, audio::LResampleQuality::High, &szError));
    EXPECT_FALSE(resampler.Create(44100, 48000, 0, audio::LResampleQuality::High, &szError));
    std::vector<float> arOut;
    const float f = 0;
    EXPECT_FALSE(resampler.Process(&f, 1, &arOut, &szError)) << "not prepared";
}

// Writes a file, loads it for a device at fDeviceRate.
std::vector<float> LoadThrough(const std::string& szPath, audio::LRecordFormat eFormat, double fFileRate, int nChannels,
                               const std::vector<float>& arFrames, double fDeviceRate) {
    audio::LAudioFileWriter writer;
    std::string szError;
    EXPECT_TRUE(writer.Open(szPath, eFormat, fFileRate, nChannels, &szError)) << szError;
    EXPECT_TRUE(writer.Write(arFrames.data(), arFrames.size() / static_cast<std::size_t>(nChannels), &szError));
    EXPECT_TRUE(writer.Close(&szError));
    audio::LAudioFileReader reader;
    EXPECT_TRUE(reader.Open(szPath, nullptr, &szError)) << szError;
    std::vector<float> arOut;
    EXPECT_TRUE(audio::LLoadForDevice(reader, fDeviceRate, audio::LResampleQuality::High, &arOut, &szError))
        << szError;
    return arOut;
}

TEST(LoadForDevice, AStereoFloatFileAtTheDeviceRateGoesThroughUntouched) {
    LTempFolder folder;
    std::vector<float> ar(2 * 40000);
    for (std::size_t i = 0; i < ar.size(); ++i) {
        ar[i] = static_cast<float>(std::sin(static_cast<double>(i) * 0.37)) * 0.8f + 1e-9f * static_cast<float>(i % 7);
    }
    const std::vector<float> arOut = LoadThrough(folder / "s.wav", audio::LRecordFormat::WavFloat, 48000, 2, ar, 48000);
    ASSERT_EQ(arOut.size(), ar.size());
    EXPECT_EQ(std::memcmp(arOut.data(), ar.data(), ar.size() * sizeof(float)), 0);
}

TEST(LoadForDevice, AMono22050FileBecomesStereoAtTheDeviceRateAtTheSamePitch) {
    LTempFolder folder;
    const std::size_t nFrames = 22050; // one second
    std::vector<float> ar(nFrames);
    for (std::size_t i = 0; i < nFrames; ++i) {
        ar[i] = static_cast<float>(0.5 * std::sin(2 * kPi * 441.0 * static_cast<double>(i) / 22050.0));
    }
    const std::vector<float> arOut = LoadThrough(folder / "m.wav", audio::LRecordFormat::Wav16, 22050, 1, ar, 44100);
    ASSERT_NEAR(static_cast<double>(arOut.size() / 2), 44100.0, 2);
    // Both sides carry the tone, and it still runs at 441 Hz: compare with
    // the tone at the new rate away from the edges.
    double fWorst = 0;
    for (std::size_t i = 4410; i < 40000; ++i) {
        const double fExpected = 0.5 * std::sin(2 * kPi * 441.0 * static_cast<double>(i) / 44100.0);
        EXPECT_EQ(arOut[2 * i], arOut[2 * i + 1]);
        fWorst = std::max(fWorst, std::fabs(arOut[2 * i] - fExpected));
    }
    EXPECT_LT(fWorst, 2e-3);
}

} // namespace
} // namespace harlune::test
