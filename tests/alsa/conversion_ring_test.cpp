// Sample conversion against a slow reference model, the frame ring's
// wrap-around and summing, and the remembered mixer values.
#include "alsa/LFrameRing.h"
#include "alsa/LMixerMemory.h"
#include "alsa/LSampleConversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace harlune::alsa {
namespace {

std::uint32_t Bits(float f) {
    std::uint32_t dw;
    std::memcpy(&dw, &f, sizeof dw);
    return dw;
}

// The reference: the exact rational value, rounded once to float through
// long double (64-bit mantissa, so no double rounding for 32-bit inputs).
float Reference(LSampleFormat eFormat, std::int64_t nValue) {
    const long double fScale = eFormat == LSampleFormat::S16LE ? 32768.0L : 2147483648.0L;
    return static_cast<float>(static_cast<long double>(nValue) / fScale);
}

struct IntegerCase {
    LSampleFormat eFormat;
    std::int64_t nValue;
};

TEST(SampleConversion, IntegerSamplesMatchTheExactQuotientRoundedOnce) {
    const IntegerCase cases[] = {
        {LSampleFormat::S16LE, 0},           {LSampleFormat::S16LE, 1},
        {LSampleFormat::S16LE, -1},          {LSampleFormat::S16LE, 32767},
        {LSampleFormat::S16LE, -32768},      {LSampleFormat::S16LE, 12345},
        {LSampleFormat::S32LE, 0},           {LSampleFormat::S32LE, 1},
        {LSampleFormat::S32LE, -1},          {LSampleFormat::S32LE, 2147483647},
        {LSampleFormat::S32LE, -2147483648LL}, {LSampleFormat::S32LE, 16777217}, // first integer float cannot hold
        {LSampleFormat::S32LE, 16777219},    {LSampleFormat::S32LE, -33554435},
        {LSampleFormat::S32LE, 1073741825},
    };
    for (const IntegerCase& c : cases) {
        unsigned char arBytes[4] = {};
        const std::int64_t n = c.nValue;
        for (std::size_t i = 0; i < LSampleBytes(c.eFormat); ++i) {
            arBytes[i] = static_cast<unsigned char>((static_cast<std::uint64_t>(n) >> (8 * i)) & 0xff);
        }
        EXPECT_EQ(Bits(LSampleToFloat(c.eFormat, arBytes)), Bits(Reference(c.eFormat, n)))
            << "value " << n << " format " << static_cast<int>(c.eFormat);
    }
}

TEST(SampleConversion, EverySixteenBitValueMatchesTheReference) {
    std::vector<std::int16_t> arSamples;
    for (int n = -32768; n <= 32767; ++n) {
        arSamples.push_back(static_cast<std::int16_t>(n));
    }
    std::vector<float> arOut(arSamples.size());
    LConvertChannel(LSampleFormat::S16LE, arSamples.data(), 2, arOut.data(), 1, arSamples.size());
    for (std::size_t i = 0; i < arSamples.size(); ++i) {
        ASSERT_EQ(Bits(arOut[i]), Bits(Reference(LSampleFormat::S16LE, arSamples[i]))) << arSamples[i];
    }
}

TEST(SampleConversion, FloatSamplesPassThroughBitForBit) {
    const float arValues[] = {0.0f, -0.0f, 1.0f, -1.0f, 1.5f, std::numeric_limits<float>::denorm_min(),
                              std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(),
                              0.333333343f};
    std::vector<float> arOut(std::size(arValues));
    LConvertChannel(LSampleFormat::Float32LE, arValues, 4, arOut.data(), 1, std::size(arValues));
    for (std::size_t i = 0; i < std::size(arValues); ++i) {
        EXPECT_EQ(Bits(arOut[i]), Bits(arValues[i])) << i;
    }
}

TEST(SampleConversion, ChannelsAreReadAtTheirStepFromUnalignedAddresses) {
    // Two interleaved 16-bit channels one byte off alignment; the right
    // channel goes to the odd places of the destination.
    std::vector<unsigned char> arBytes(1 + 4 * 3);
    const std::int16_t arRight[] = {100, -200, 300};
    for (int i = 0; i < 3; ++i) {
        std::memcpy(&arBytes[1 + 4 * i + 2], &arRight[i], 2);
    }
    float arOut[6] = {9, 9, 9, 9, 9, 9};
    LConvertChannel(LSampleFormat::S16LE, arBytes.data() + 3, 4, arOut + 1, 2, 3);
    EXPECT_EQ(arOut[0], 9.0f); // left places untouched
    EXPECT_EQ(arOut[1], 100.0f / 32768.0f);
    EXPECT_EQ(arOut[3], -200.0f / 32768.0f);
    EXPECT_EQ(arOut[5], 300.0f / 32768.0f);
}

// Produces nFrames frames numbered from nFirst (left = n, right = -n).
std::size_t ProduceNumbered(LFrameRing& ring, std::size_t nFrames, float fFirst) {
    return ring.Produce(nFrames, [&](float* pf, std::size_t nCount, std::size_t nDone) {
        for (std::size_t i = 0; i < nCount; ++i) {
            pf[2 * i] = fFirst + static_cast<float>(nDone + i);
            pf[2 * i + 1] = -(fFirst + static_cast<float>(nDone + i));
        }
    });
}

TEST(FrameRing, FramesComeOutInOrderAcrossTheWrap) {
    LFrameRing ring(5);
    float fNext = 0.0f, fExpected = 0.0f;
    // Odd sizes walk the read and write positions across the end many times.
    for (int nRound = 0; nRound < 20; ++nRound) {
        const std::size_t nPut = ProduceNumbered(ring, 3, fNext);
        ASSERT_EQ(nPut, 3u);
        fNext += 3.0f;
        float arOut[6] = {};
        ASSERT_EQ(ring.Consume(arOut, 3, false), 3u);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(arOut[2 * i], fExpected) << nRound;
            EXPECT_EQ(arOut[2 * i + 1], -fExpected) << nRound;
            fExpected += 1.0f;
        }
    }
    EXPECT_EQ(ring.Written(), 60u);
    EXPECT_EQ(ring.Consumed(), 60u);
}

TEST(FrameRing, ProduceTakesOnlyTheFreeSpaceAndConsumeOnlyWhatIsQueued) {
    LFrameRing ring(4);
    EXPECT_EQ(ProduceNumbered(ring, 10, 0.0f), 4u);
    EXPECT_EQ(ProduceNumbered(ring, 1, 4.0f), 0u);
    float arOut[16];
    std::fill(std::begin(arOut), std::end(arOut), 7.0f);
    EXPECT_EQ(ring.Consume(arOut, 8, false), 4u);
    EXPECT_EQ(arOut[6], 3.0f);
    EXPECT_EQ(arOut[8], 7.0f); // past the frames taken: untouched
    EXPECT_EQ(ring.Queued(), 0u);
    EXPECT_EQ(ring.Consume(arOut, 8, false), 0u);
}

TEST(FrameRing, AddSumsOntoTheDestinationAndCopyKeepsNegativeZero) {
    LFrameRing ring(4);
    ring.Produce(2, [](float* pf, std::size_t, std::size_t) {
        pf[0] = -0.0f;
        pf[1] = 0.25f;
        pf[2] = 0.5f;
        pf[3] = -0.0f;
    });
    float arOut[4] = {};
    ASSERT_EQ(ring.Consume(arOut, 2, false), 2u);
    EXPECT_EQ(Bits(arOut[0]), Bits(-0.0f));
    EXPECT_EQ(Bits(arOut[3]), Bits(-0.0f));

    ring.Produce(2, [](float* pf, std::size_t, std::size_t) { std::fill(pf, pf + 4, 0.125f); });
    ASSERT_EQ(ring.Consume(arOut, 2, true), 2u);
    EXPECT_EQ(arOut[1], 0.375f);
    EXPECT_EQ(arOut[2], 0.625f);
}

TEST(FrameRing, ResetEmptiesAndResizes) {
    LFrameRing ring(3);
    ProduceNumbered(ring, 2, 0.0f);
    ring.Reset(8);
    EXPECT_EQ(ring.Capacity(), 8u);
    EXPECT_EQ(ring.Queued(), 0u);
    EXPECT_EQ(ring.Written(), 0u);
    EXPECT_EQ(ProduceNumbered(ring, 8, 0.0f), 8u);
}

TEST(MixerMemory, ParsesWhatItFormatsAndRejectsEverythingElse) {
    LMixerState state;
    state.fVolume = 0.3f;
    state.bMute = true;
    LMixerState parsed;
    ASSERT_TRUE(LParseMixerState(LFormatMixerState(state), &parsed));
    EXPECT_NEAR(parsed.fVolume, 0.3f, 1e-6f);
    EXPECT_TRUE(parsed.bMute);

    const char* arBad[] = {"",
                           "volume 0.5\n",                 // no mute line
                           "mute 0\n",                     // no volume line
                           "volume 1.5\nmute 0\n",         // out of range
                           "volume -0.1\nmute 0\n",
                           "volume nan\nmute 0\n",
                           "volume 0.5x\nmute 0\n",
                           "volume \nmute 0\n",
                           "volume 0.5\nmute 2\n",
                           "volume 0.5\nmute 0\nextra\n"};
    for (const char* szBad : arBad) {
        LMixerState untouched;
        untouched.fVolume = 0.75f;
        EXPECT_FALSE(LParseMixerState(szBad, &untouched)) << szBad;
        EXPECT_EQ(untouched.fVolume, 0.75f) << szBad;
    }
}

} // namespace
} // namespace harlune::alsa
