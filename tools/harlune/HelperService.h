// HelperService.h: the helper service that introduces plug-ins to the
// recording application.
//
// It owns the service name HelperServiceName. A recording application
// registers its endpoint ("NEW_ENDPOINT", answered by "NEW_ENDPOINT_REPLY")
// and withdraws it ("CLOSE_ENDPOINT", answered by "CLOSE_ENDPOINT_REPLY");
// the newest registration wins, and the recorder it replaces is told so
// ("ENDPOINT_REPLACED", RecorderNotices.h). A replaced recorder that asked
// to wait is kept and chosen again ("ENDPOINT_CHOSEN") when the one that
// replaced it goes, newest first. A plug-in's "REQUEST_ENDPOINT" is answered
// with "SEND_ENDPOINT" when a recorder is registered (with an empty reply
// otherwise), and every newly registered endpoint is pushed as a
// "SEND_ENDPOINT" message to every plug-in that has asked. A recorder whose
// connection goes away is withdrawn.
//
// Threads: every event of every connection is handled on one serial queue,
// which owns all of the service's state; Start and Stop may be called from
// any thread. Log lines go to the given callback on that queue.
#ifndef HARLUNE_TOOLS_HELPERSERVICE_H
#define HARLUNE_TOOLS_HELPERSERVICE_H

#include <xpc/xpc.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace harlune::tools {

class LHelperService {
public:
    using LLog = std::function<void(const std::string&)>;

    explicit LHelperService(LLog log);
    ~LHelperService(); // stops the service
    LHelperService(const LHelperService&) = delete;
    LHelperService& operator=(const LHelperService&) = delete;

    // Starts listening under the service name; false when the listener
    // cannot be made. A listener that fails later (another service already
    // holds the name) is reported through the log and by Failed().
    bool Start();
    // Waits until the service answers a client of its name: the name is
    // published asynchronously after Start. False on timeout or failure.
    bool WaitUntilReachable(std::chrono::milliseconds timeout);
    // Stops listening and closes every connection.
    void Stop();
    bool Failed() const;

private:
    struct State;
    std::shared_ptr<State> m_pState;
};

} // namespace harlune::tools

#endif
