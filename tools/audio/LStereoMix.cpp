#include "tools/audio/LStereoMix.h"

#include <cstring>
#include <vector>

namespace harlune::audio {
namespace {

constexpr float kMinus3dB = 0.70710678f;

struct Weights {
    std::vector<float> arLeft, arRight; // per source channel
};

Weights WeightsFor(int nChannels) {
    Weights w;
    w.arLeft.assign(static_cast<std::size_t>(nChannels), 0.0f);
    w.arRight.assign(static_cast<std::size_t>(nChannels), 0.0f);
    w.arLeft[0] = 1.0f;
    w.arRight[1] = 1.0f;
    if (nChannels > 2) {
        w.arLeft[2] = w.arRight[2] = kMinus3dB; // centre
    }
    // Channel 3 is the low-frequency channel: left out.
    for (int c = 4; c < nChannels; c += 2) {
        if (c + 1 < nChannels) {
            w.arLeft[static_cast<std::size_t>(c)] = kMinus3dB;
            w.arRight[static_cast<std::size_t>(c + 1)] = kMinus3dB;
        } else {
            w.arLeft[static_cast<std::size_t>(c)] = w.arRight[static_cast<std::size_t>(c)] = kMinus3dB;
        }
    }
    float fLeft = 0, fRight = 0;
    for (int c = 0; c < nChannels; ++c) {
        fLeft += w.arLeft[static_cast<std::size_t>(c)];
        fRight += w.arRight[static_cast<std::size_t>(c)];
    }
    for (int c = 0; c < nChannels; ++c) {
        w.arLeft[static_cast<std::size_t>(c)] /= fLeft;
        w.arRight[static_cast<std::size_t>(c)] /= fRight;
    }
    return w;
}

} // namespace

void LMixToStereo(const float* pfIn, int nChannels, std::uint64_t nFrames, float* pfOut) {
    if (nChannels == 2) {
        if (pfIn != pfOut) {
            std::memmove(pfOut, pfIn, static_cast<std::size_t>(nFrames) * 2 * sizeof(float));
        }
        return;
    }
    if (nChannels == 1) {
        for (std::uint64_t i = 0; i < nFrames; ++i) {
            pfOut[2 * i] = pfOut[2 * i + 1] = pfIn[i];
        }
        return;
    }
    if (nChannels < 1) {
        return;
    }
    const Weights w = WeightsFor(nChannels);
    for (std::uint64_t i = 0; i < nFrames; ++i) {
        const float* pf = pfIn + i * static_cast<std::uint64_t>(nChannels);
        float fLeft = 0, fRight = 0;
        for (int c = 0; c < nChannels; ++c) {
            fLeft += w.arLeft[static_cast<std::size_t>(c)] * pf[c];
            fRight += w.arRight[static_cast<std::size_t>(c)] * pf[c];
        }
        pfOut[2 * i] = fLeft;
        pfOut[2 * i + 1] = fRight;
    }
}

} // namespace harlune::audio
