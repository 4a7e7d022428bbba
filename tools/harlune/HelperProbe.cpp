#include "tools/harlune/HelperProbe.h"

#include "helperlink/VADHelperProtocol.h"
#include "host/LServiceFolder.h"

#include <dispatch/dispatch.h>
#include <xpc/xpc.h>

#include <atomic>
#include <memory>

namespace harlune::tools {

namespace {

// Shared with the reply handler, which may run after the probe gave up.
struct ProbeState {
    dispatch_semaphore_t answered = dispatch_semaphore_create(0);
    std::atomic<LHelperState> eState{LHelperState::NotRunning};
    std::atomic<pid_t> nPid{0};
    ~ProbeState() { dispatch_release(answered); }
};

} // namespace

LHelperProbe LProbeHelper(std::chrono::milliseconds timeout) {
    LHelperProbe result;
    xpc_connection_t probe = xpc_connection_create_mach_service(HelperServiceName, nullptr, 0);
    if (probe == nullptr) {
        return result;
    }
    xpc_connection_set_event_handler(probe, ^(xpc_object_t) {
    });
    xpc_connection_resume(probe);
    auto pState = std::make_shared<ProbeState>();
    xpc_object_t request = xpc_dictionary_create(nullptr, nullptr, 0);
    xpc_dictionary_set_bool(request, "REQUEST_ENDPOINT", true);
    xpc_connection_send_message_with_reply(probe, request, nullptr, ^(xpc_object_t reply) {
      if (xpc_get_type(reply) == XPC_TYPE_DICTIONARY) {
          xpc_object_t endpoint = xpc_dictionary_get_value(reply, "SEND_ENDPOINT");
          pState->nPid = xpc_connection_get_pid(probe);
          pState->eState = endpoint != nullptr && xpc_get_type(endpoint) == XPC_TYPE_ENDPOINT
                               ? LHelperState::RecorderRegistered
                               : LHelperState::NoRecorder;
      }
      dispatch_semaphore_signal(pState->answered);
    });
    xpc_release(request);
    dispatch_semaphore_wait(pState->answered,
                            dispatch_time(DISPATCH_TIME_NOW, static_cast<int64_t>(timeout.count()) *
                                                                 static_cast<int64_t>(NSEC_PER_MSEC)));
    result.eState = pState->eState.load();
    result.nPid = pState->nPid.load();
    xpc_connection_cancel(probe);
    xpc_release(probe);
    return result;
}

std::string LNoHelperText() {
    return "no helper service is running (looked in " + host::LServiceFolderPath() +
           "); start one with `harlune helper`";
}

} // namespace harlune::tools
