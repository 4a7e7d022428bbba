// Recorder.h: the recording application's link: it publishes an anonymous
// endpoint, registers it with the helper service, and hands every
// "AUDIO_DATA" buffer and "VOLUME_CHANGED" value it receives to its sink.
//
// Registration is kept alive: when the helper service's connection is
// interrupted (the service restarted) or was never reachable, Tick()
// registers again, so a recorder outlives helper restarts.
//
// Only the newest recorder receives audio. One that a newer recorder
// replaced is told so and IsReplaced() turns true; it then registers no
// more, unless it was made to wait when replaced, in which case the helper
// service chooses it again once the newer one goes (IsRegistered() turns
// true again). A waiting recorder is not re-registered by a restarted
// helper service: the new service does not know it.
//
// Threads: the sink callbacks run on XPC queues, one event of a
// connection at a time; buffers from different plug-in connections may
// arrive at once, so the sink serialises itself. Tick and Close run on
// the caller's thread.
#ifndef HARLUNE_TOOLS_RECORDER_H
#define HARLUNE_TOOLS_RECORDER_H

#include "xpc/LXPCEventNotify.h"

#include <xpc/xpc.h>

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>

namespace harlune::tools {

struct LRecorderSink {
    // One buffer of interleaved stereo float frames (nBytes / 8 frames)
    // from the plug-in in process nSenderPid (its host, whose publication
    // tells the device's rate); the bytes are valid only during the call.
    std::function<void(pid_t nSenderPid, const void* pBytes, std::size_t nBytes)> audio;
    // A new output volume, scalar 0.0 to 1.0.
    std::function<void(double fVolume)> volume;
    // A line for the log.
    std::function<void(const std::string&)> log;
};

class LRecorder : public LXPCClientEventNotify {
public:
    // bWaitWhenReplaced: stay registered as a recorder in waiting when a
    // newer one replaces this one (see above).
    explicit LRecorder(LRecorderSink sink, bool bWaitWhenReplaced = false);
    ~LRecorder() override;

    // Publishes the endpoint and sends the first registration; false when
    // no endpoint can be made.
    bool Start();
    // Registers again when needed (call it every few hundred milliseconds).
    void Tick();
    // Withdraws the endpoint (waiting at most timeout for the answer) and
    // closes every connection.
    void Close(std::chrono::milliseconds timeout);
    bool IsRegistered() const { return m_bRegistered.load(); }
    // A newer recorder took this one's place (and it waits, if made to).
    bool IsReplaced() const { return m_bReplaced.load(); }

    void EvConnectionError(long connection, LXPCErrorType error) override;
    void EvMessageSent(long connection) override {}
    void EvMessageReceived(long connection, long message, const LXPCData* values, unsigned long count) override;
    void EvReplyReceived(long connection, const LXPCData* values, unsigned long count) override;

private:
    void Register();

    LRecorderSink m_sink;
    const bool m_bWaitWhenReplaced;
    // Written by Start and Close, read by the callbacks on XPC queues.
    std::atomic<int> m_nClientId{0};
    xpc_object_t m_endpoint = nullptr;           // ours, owned
    std::atomic<bool> m_bRegistered{false};       // the helper service answered our registration
    std::atomic<bool> m_bHelperLost{false};       // the helper connection is dead: make a new one
    std::atomic<bool> m_bClosed{false};           // the endpoint was withdrawn
    std::atomic<bool> m_bReplaced{false};         // a newer recorder took our place
    std::chrono::steady_clock::time_point m_lastAttempt; // Tick's pacing; caller's thread
};

} // namespace harlune::tools

#endif
