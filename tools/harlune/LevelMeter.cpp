#include "tools/harlune/LevelMeter.h"

#include <algorithm>
#include <cmath>

namespace harlune::tools {

LLevelMeter::LLevelMeter(int nChannels) : m_arPeaks(static_cast<std::size_t>(std::max(nChannels, 1)), 0.0f) {}

void LLevelMeter::Add(const float* pfFrames, std::uint64_t nFrames) {
    const std::size_t nChannels = m_arPeaks.size();
    for (std::uint64_t i = 0; i < nFrames; ++i) {
        for (std::size_t c = 0; c < nChannels; ++c) {
            const float f = std::fabs(pfFrames[i * nChannels + c]);
            m_arPeaks[c] = std::max(m_arPeaks[c], f);
            m_nClips += f >= 1.0f ? 1 : 0;
        }
    }
}

std::vector<float> LLevelMeter::TakePeaks() {
    std::vector<float> ar = m_arPeaks;
    std::fill(m_arPeaks.begin(), m_arPeaks.end(), 0.0f);
    return ar;
}

double LLevelMeter::Decibels(float fPeak) { return fPeak > 1e-6f ? 20.0 * std::log10(fPeak) : -120.0; }

std::string LLevelMeter::Bar(float fPeak, int nWidth) {
    if (nWidth <= 0) {
        return {};
    }
    const double fDb = std::clamp(Decibels(fPeak), -60.0, 0.0);
    const int nFilled = static_cast<int>(std::lround((fDb + 60.0) / 60.0 * nWidth));
    std::string sz(static_cast<std::size_t>(nFilled), '#');
    sz.append(static_cast<std::size_t>(nWidth - nFilled), '-');
    if (fPeak >= 1.0f) {
        sz.back() = '!';
    }
    return sz;
}

} // namespace harlune::tools
