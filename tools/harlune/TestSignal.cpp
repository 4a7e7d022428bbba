#include "tools/harlune/TestSignal.h"

#include <cmath>

namespace harlune::tools {
namespace {

// A hash of the frame index and channel: reproducible noise without state.
float Dither(std::uint64_t nFrame, unsigned nChannel) {
    std::uint64_t x = nFrame * 2 + nChannel + 0x9E3779B97F4A7C15ull;
    x ^= x >> 30;
    x *= 0xBF58476D1CE4E5B9ull;
    x ^= x >> 27;
    x *= 0x94D049BB133111EBull;
    x ^= x >> 31;
    return (static_cast<float>(x >> 40) / 16777216.0f - 0.5f) * 0.002f;
}

} // namespace

void LFillTestSignal(float* pfFrames, std::uint64_t nFirstFrame, std::uint32_t nFrames, double fSampleRate) {
    constexpr double kTwoPi = 6.283185307179586;
    constexpr double kAmplitude = 0.25; // −12 dBFS
    for (std::uint32_t i = 0; i < nFrames; ++i) {
        const std::uint64_t nFrame = nFirstFrame + i;
        // The phase is taken modulo one period of each tone, so long runs
        // keep full precision.
        const double fLeft = static_cast<double>(nFrame % static_cast<std::uint64_t>(fSampleRate)) / fSampleRate;
        pfFrames[2 * i] = static_cast<float>(kAmplitude * std::sin(kTwoPi * 440.0 * fLeft)) + Dither(nFrame, 0);
        pfFrames[2 * i + 1] = static_cast<float>(kAmplitude * std::sin(kTwoPi * 660.0 * fLeft)) + Dither(nFrame, 1);
    }
}

} // namespace harlune::tools
