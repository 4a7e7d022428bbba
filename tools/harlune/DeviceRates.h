// DeviceRates.h: the recorder's knowledge of the rate each sender's buffers
// were played at, by the process id of the host that sends them (see
// host/LDevicePublication.h for how a host publishes its rate).
//
// A host publishes a new rate before IO restarts, and marks the change in
// the audio with an empty buffer; buffers played at the old rate may still
// be on their way when the new rate is published. So a sender's rate
// changes only at an empty buffer (the mark), or, should the mark never come
// (the plug-in was not connected when the rate changed), once the change is
// older than buffers take to arrive. A sender's first buffer takes the
// published rate, or the rate before a change younger than that when the
// device played at that rate (a host that switches before it plays has no
// buffer of the old rate to send).
//
// Publications are mapped once per host process and then read from memory,
// so a look-up per buffer costs a few loads. A host that publishes nothing
// is looked for again at most once a second. Time is injected, for tests.
// Not thread-safe: the caller serialises look-ups.
#ifndef HARLUNE_TOOLS_DEVICERATES_H
#define HARLUNE_TOOLS_DEVICERATES_H

#include "host/LDevicePublication.h"

#include <sys/types.h>

#include <chrono>
#include <map>
#include <memory>

namespace harlune::tools {

class LDeviceRates {
public:
    using LClock = std::chrono::steady_clock;
    // How long a published change may go unmarked before it is taken as
    // it is: far longer than a buffer takes from the host to the recorder.
    static constexpr auto kUnmarkedChange = std::chrono::milliseconds(500);

    // The rate of a buffer from host process nPid (bMark: the empty buffer
    // that marks a rate change), in Hz; 0 when that process publishes none.
    double RateOf(pid_t nPid, bool bMark, LClock::time_point now = LClock::now());

private:
    struct Sender {
        std::unique_ptr<host::LPublishedDevice> pDevice;
        double fRate = 0;                      // the rate its buffers are taken at
        std::uint64_t nChanges = 0;            // the publication's change count then
        LClock::time_point unmarkedSince{};    // when an unmarked change was first seen
        bool bUnmarked = false;
    };
    std::map<pid_t, Sender> m_senders;
    std::map<pid_t, LClock::time_point> m_misses; // last failed look-up
};

} // namespace harlune::tools

#endif
