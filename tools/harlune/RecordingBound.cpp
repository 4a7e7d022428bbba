#include "tools/harlune/RecordingBound.h"

#include <cmath>
#include <cstdio>

namespace harlune::tools {

LRecordingBound::LRecordingBound(std::uint64_t nFrames, double fRate, LClock::time_point start)
    : m_nFrames(nFrames), m_start(start), m_deadline(start) {
    if (nFrames != 0 && fRate > 0) {
        const double fSeconds = static_cast<double>(nFrames) / fRate;
        m_deadline = start + std::chrono::duration_cast<LClock::duration>(std::chrono::duration<double>(fSeconds)) +
                     kGrace;
    }
}

bool LRecordingBound::Passed(LClock::time_point now, std::uint64_t nRecorded) const {
    return m_nFrames != 0 && nRecorded < m_nFrames && now >= m_deadline;
}

std::string LRecordingBound::Describe(LClock::time_point now, std::uint64_t nRecorded) const {
    const double fWaited = std::chrono::duration<double>(now - m_start).count();
    char sz[256];
    std::snprintf(sz, sizeof sz,
                  "stopped after waiting %.1f s: received %llu of %llu frames (is anything playing into the "
                  "device, and is a plug-in connected?)",
                  fWaited, static_cast<unsigned long long>(nRecorded), static_cast<unsigned long long>(m_nFrames));
    return sz;
}

} // namespace harlune::tools
