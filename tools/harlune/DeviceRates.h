// DeviceRates.h: the recorder's look-up of the rate each sending device runs
// at, by the process id of the host that sends the audio (see
// host/LDevicePublication.h for how a host publishes it).
//
// Publications are mapped once per host process and then read from memory,
// so a look-up per buffer costs two loads. A host that publishes nothing is
// looked for again at most once a second. Not thread-safe: the caller
// serialises look-ups.
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
    // The nominal rate of the device in host process nPid, in Hz; 0 when
    // that process publishes none.
    double RateOf(pid_t nPid);

private:
    std::map<pid_t, std::unique_ptr<host::LPublishedDevice>> m_devices;
    std::map<pid_t, std::chrono::steady_clock::time_point> m_misses; // last failed look-up
};

} // namespace harlune::tools

#endif
