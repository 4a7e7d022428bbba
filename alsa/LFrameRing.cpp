#include "alsa/LFrameRing.h"

#include <cstring>

namespace harlune::alsa {

LFrameRing::LFrameRing(std::size_t nCapacity) { Reset(nCapacity); }

void LFrameRing::Reset(std::size_t nCapacity) {
    m_arSamples.assign(nCapacity * kChannels, 0.0f);
    m_nCapacity = nCapacity;
    m_qwWritten.store(0, std::memory_order_release);
    m_qwConsumed.store(0, std::memory_order_release);
}

std::size_t LFrameRing::Consume(float* pfDest, std::size_t nFrames, bool bAdd) {
    const std::uint64_t qwConsumed = m_qwConsumed.load(std::memory_order_relaxed);
    const std::uint64_t qwWritten = m_qwWritten.load(std::memory_order_acquire);
    const std::size_t nQueued = static_cast<std::size_t>(qwWritten - qwConsumed);
    const std::size_t nTake = nFrames < nQueued ? nFrames : nQueued;
    std::size_t nDone = 0;
    while (nDone < nTake) {
        const std::size_t nAt = static_cast<std::size_t>((qwConsumed + nDone) % m_nCapacity);
        const std::size_t nSpan = nTake - nDone < m_nCapacity - nAt ? nTake - nDone : m_nCapacity - nAt;
        const float* pfFrom = m_arSamples.data() + nAt * kChannels;
        float* pfTo = pfDest + nDone * kChannels;
        if (bAdd) {
            for (std::size_t i = 0; i < nSpan * kChannels; ++i) {
                pfTo[i] += pfFrom[i];
            }
        } else {
            // A copy keeps every bit, negative zero included, which a sum
            // onto silence would not.
            std::memcpy(pfTo, pfFrom, nSpan * kChannels * sizeof(float));
        }
        nDone += nSpan;
    }
    m_qwConsumed.store(qwConsumed + nTake, std::memory_order_release);
    return nTake;
}

} // namespace harlune::alsa
