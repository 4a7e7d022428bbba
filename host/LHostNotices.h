// LHostNotices.h: the property-change notices a plug-in has sent the host.
//
// Every PropertiesChanged call is recorded in order as one notice. Callers
// read a snapshot, clear the record, or wait until a notice they look for
// has arrived. Thread-safe: the driver may send from any thread (its own
// calls and its queued tasks) while tests and tools read.
#ifndef HARLUNE_HOST_LHOSTNOTICES_H
#define HARLUNE_HOST_LHOSTNOTICES_H

#include <CoreAudio/AudioServerPlugIn.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

namespace harlune::host {

struct LHostNotice {
    AudioObjectID dwObjectID;                            // the object whose properties changed
    std::vector<AudioObjectPropertyAddress> arAddresses; // the changed properties, in the driver's order
};

class LHostNotices {
public:
    void Record(AudioObjectID dwObjectID, UInt32 nAddresses, const AudioObjectPropertyAddress* pAddresses);
    std::vector<LHostNotice> Snapshot();
    void Clear();
    // Waits until some recorded notice satisfies match, or the timeout
    // passes; true when one did.
    bool WaitFor(const std::function<bool(const LHostNotice&)>& match, std::chrono::milliseconds timeout);
    // Waits for a notice on dwObjectID that lists dwSelector.
    bool WaitFor(AudioObjectID dwObjectID, AudioObjectPropertySelector dwSelector, std::chrono::milliseconds timeout);

private:
    std::mutex m_mtx;
    std::condition_variable m_cv;
    std::vector<LHostNotice> m_arNotices; // in arrival order
};

} // namespace harlune::host

#endif
