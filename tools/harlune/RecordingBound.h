// RecordingBound.h: the wall-clock bound of a recording asked for a number
// of frames (record --duration or --frames).
//
// A recording that is limited by its length must end even when nothing
// plays into the device or no plug-in reaches the recorder: after the time
// the frames would take at the recording's rate, plus a grace period for
// the player to start, it stops with what it has. The clock is the
// caller's (a steady clock), so the bound can be checked at any pace and
// tested without waiting.
//
// Not thread-safe; a value type.
#ifndef HARLUNE_TOOLS_RECORDINGBOUND_H
#define HARLUNE_TOOLS_RECORDINGBOUND_H

#include <chrono>
#include <cstdint>
#include <string>

namespace harlune::tools {

class LRecordingBound {
public:
    using LClock = std::chrono::steady_clock;

    // How long after the frames' own length a recording may wait for them.
    static constexpr std::chrono::seconds kGrace{2};

    // nFrames 0 means no limit: the bound never passes.
    LRecordingBound(std::uint64_t nFrames, double fRate, LClock::time_point start);

    // True once the bound has passed while fewer than the frames asked for
    // have been recorded.
    bool Passed(LClock::time_point now, std::uint64_t nRecorded) const;
    // The line that tells the user why the recording stopped short.
    std::string Describe(LClock::time_point now, std::uint64_t nRecorded) const;

private:
    std::uint64_t m_nFrames;          // frames asked for; 0 is no limit
    LClock::time_point m_start;       // when the recording began
    LClock::time_point m_deadline;    // when it stops waiting
};

} // namespace harlune::tools

#endif
