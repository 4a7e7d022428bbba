#include "tools/harlune/DeviceRates.h"

namespace harlune::tools {

double LDeviceRates::RateOf(pid_t nPid, bool bMark, LClock::time_point now) {
    auto it = m_senders.find(nPid);
    if (it == m_senders.end()) {
        if (auto miss = m_misses.find(nPid); miss != m_misses.end() && now - miss->second < std::chrono::seconds(1)) {
            return 0.0;
        }
        auto pDevice = std::make_unique<host::LPublishedDevice>();
        if (!pDevice->Open(nPid)) {
            m_misses[nPid] = now;
            return 0.0;
        }
        m_misses.erase(nPid);
        Sender sender;
        sender.fRate = pDevice->SampleRate();
        sender.nChanges = pDevice->RateChanges();
        if (!bMark && sender.nChanges > 0 && pDevice->PreviousRatePlayed() &&
            now - pDevice->ChangedAt() < kUnmarkedChange) {
            // A change so recent that this buffer may have been played
            // before it: the old rate until the mark (or the wait) says.
            sender.fRate = pDevice->PreviousSampleRate();
            sender.nChanges -= 1;
            sender.bUnmarked = true;
            sender.unmarkedSince = pDevice->ChangedAt();
        }
        sender.pDevice = std::move(pDevice);
        it = m_senders.emplace(nPid, std::move(sender)).first;
        return it->second.fRate;
    }
    Sender& sender = it->second;
    const std::uint64_t nChanges = sender.pDevice->RateChanges();
    if (nChanges == sender.nChanges) {
        sender.bUnmarked = false;
        return sender.fRate;
    }
    if (!bMark) {
        // Unmarked since the change was first seen (or published).
        if (!sender.bUnmarked) {
            sender.bUnmarked = true;
            sender.unmarkedSince = now;
        }
        if (now - sender.unmarkedSince < kUnmarkedChange) {
            return sender.fRate; // a buffer played before the change, still arriving
        }
    }
    sender.fRate = sender.pDevice->SampleRate();
    sender.nChanges = nChanges;
    sender.bUnmarked = false;
    return sender.fRate;
}

} // namespace harlune::tools
