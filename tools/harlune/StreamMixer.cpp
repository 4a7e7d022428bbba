#include "tools/harlune/StreamMixer.h"

#include <algorithm>
#include <cstring>

namespace harlune::tools {

LStreamMixer::LStreamMixer(LOptions options, LEmit emit, LNote note)
    : m_options(options), m_emit(std::move(emit)), m_note(std::move(note)) {}

LStreamMixer::Stream* LStreamMixer::Find(pid_t nSender) {
    for (Stream& stream : m_arStreams) {
        if (stream.nSender == nSender) {
            return &stream;
        }
    }
    return nullptr;
}

void LStreamMixer::Push(pid_t nSender, const float* pfFrames, std::uint64_t nFrames, double fRate,
                        LClock::time_point now) {
    if (pfFrames == nullptr || nFrames == 0) {
        return;
    }
    if (m_options.bPerSender) {
        if (Find(nSender) == nullptr) {
            Stream stream;
            stream.nSender = nSender;
            stream.fRate = fRate;
            m_arStreams.push_back(std::move(stream));
        }
        m_emit(nSender, pfFrames, nFrames, fRate);
        return;
    }
    Stream* pStream = Find(nSender);
    if (pStream != nullptr && fRate != pStream->fRate) {
        // The sender's device changed its rate: everything queued goes out
        // at the old rate, and the sender joins anew at its new one (the
        // others rejoin with their next buffers).
        Flush();
        pStream = nullptr;
    }
    if (pStream == nullptr) {
        if (m_arStreams.empty()) {
            m_fMixRate = fRate;
        } else if (fRate != m_fMixRate) {
            if (std::find(m_arToldRate.begin(), m_arToldRate.end(), nSender) == m_arToldRate.end()) {
                m_arToldRate.push_back(nSender);
                if (m_note) {
                    m_note("the sender (pid " + std::to_string(nSender) + ") plays at " +
                           std::to_string(static_cast<long>(fRate)) + " Hz, the mix runs at " +
                           std::to_string(static_cast<long>(m_fMixRate)) +
                           " Hz: left out of the mix (--per-app records it)");
                }
            }
            return;
        }
        // Aligned with the newest frame received from the others.
        std::uint64_t nFront = 0;
        for (const Stream& other : m_arStreams) {
            nFront = std::max(nFront, other.Queued());
        }
        Stream stream;
        stream.nSender = nSender;
        stream.fRate = fRate;
        stream.arQueued.assign(nFront * 2, 0.0f);
        m_arStreams.push_back(std::move(stream));
        pStream = &m_arStreams.back();
        if (m_note && m_arStreams.size() > 1) {
            m_note("mixing the sender (pid " + std::to_string(nSender) + ") with " +
                   std::to_string(m_arStreams.size() - 1) + " other(s)");
        }
    }
    pStream->arQueued.insert(pStream->arQueued.end(), pfFrames, pfFrames + nFrames * 2);
    pStream->lastArrival = now;
    Mix(now, false);
}

void LStreamMixer::Tick(LClock::time_point now) {
    if (!m_options.bPerSender) {
        Mix(now, false);
    }
}

void LStreamMixer::Flush() {
    if (!m_options.bPerSender) {
        Mix(LClock::time_point::max(), true);
    }
}

void LStreamMixer::Mix(LClock::time_point now, bool bFlush) {
    for (Stream& stream : m_arStreams) {
        stream.bLive = !bFlush && now - stream.lastArrival <= m_options.stallTimeout;
    }
    // As far as every live sender has delivered; with none live, as far as
    // the longest queue left by the retired ones.
    bool bAnyLive = false;
    std::uint64_t nReady = UINT64_MAX, nLongest = 0;
    for (const Stream& stream : m_arStreams) {
        nLongest = std::max(nLongest, stream.Queued());
        if (stream.bLive) {
            bAnyLive = true;
            nReady = std::min(nReady, stream.Queued());
        }
    }
    if (!bAnyLive) {
        nReady = nLongest;
    }
    if (nReady > 0) {
        m_arMix.assign(nReady * 2, 0.0f);
        bool bFirst = true;
        for (Stream& stream : m_arStreams) {
            const std::uint64_t nTake = std::min(nReady, stream.Queued());
            const float* pf = stream.arQueued.data() + stream.nHead;
            if (bFirst && nTake > 0) {
                std::memcpy(m_arMix.data(), pf, nTake * 2 * sizeof(float));
                bFirst = false;
            } else {
                for (std::uint64_t i = 0; i < nTake * 2; ++i) {
                    m_arMix[i] += pf[i];
                }
            }
            stream.nHead += nTake * 2;
            // Drop what was mixed once it is most of the queue.
            if (stream.nHead * 2 >= stream.arQueued.size()) {
                stream.arQueued.erase(stream.arQueued.begin(),
                                      stream.arQueued.begin() + static_cast<std::ptrdiff_t>(stream.nHead));
                stream.nHead = 0;
            }
        }
        m_emit(0, m_arMix.data(), nReady, m_fMixRate);
    }
    // Retired senders leave once everything they sent is mixed (live ones
    // never hold more than the others' minimum, so this is the only case).
    std::erase_if(m_arStreams, [](const Stream& stream) { return !stream.bLive && stream.Queued() == 0; });
    if (m_arStreams.empty()) {
        m_fMixRate = 0;
    }
}

} // namespace harlune::tools
