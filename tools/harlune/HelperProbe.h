// HelperProbe.h: asks the helper service, from outside, what it knows: is
// it running (and as which process), and has a recorder registered? The
// programs use it to say what is missing in words, and the player to know
// whether to wait for the plug-in's link to a recorder.
//
// The question is the plug-in's own ("REQUEST_ENDPOINT" with a reply); the
// answer holds "SEND_ENDPOINT" when a recorder is registered. The probe's
// connection is closed before it returns. Thread-safe; blocks the caller
// for at most the timeout.
#ifndef HARLUNE_TOOLS_HELPERPROBE_H
#define HARLUNE_TOOLS_HELPERPROBE_H

#include <sys/types.h>

#include <chrono>
#include <string>

namespace harlune::tools {

enum class LHelperState {
    NotRunning,         // no answer within the timeout
    NoRecorder,         // running; no recorder registered
    RecorderRegistered, // running, with a recorder's endpoint
};

struct LHelperProbe {
    LHelperState eState = LHelperState::NotRunning;
    pid_t nPid = 0; // the helper's process, when it answered
};

LHelperProbe LProbeHelper(std::chrono::milliseconds timeout);

// Words for a missing helper service: where it is looked for and how to
// start it, e.g. "no helper service is running (looked in
// /run/user/1000/harlune-xpc); start one with `harlune helper`".
std::string LNoHelperText();

} // namespace harlune::tools

#endif
