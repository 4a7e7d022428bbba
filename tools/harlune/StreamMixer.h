// StreamMixer.h: the recorder's view of several senders at once.
//
// On Linux every application process hosts its own copy of the driver (the
// ALSA plug-in), so a recorder may receive buffers from several plug-ins at
// the same time, each over its own connection and each on its own clock.
// They must never be interleaved into one stream. The mixer keeps one queue
// per sender (its process id) and either
//   - mixes: sums the queues into one stream, advancing as far as every live
//     sender has delivered, so each sender's frames stay in order and none is
//     dropped; or
//   - routes (per sender): hands every sender's frames on at once under its
//     own key, for one file per application.
//
// Alignment: a sender that joins while others play starts at the mix
// position of the newest frame already received from them (its frames line
// up with what was arriving when its first buffer came); a sender that joins
// an idle mix starts it. A sender is live while it delivered within the
// stall timeout; one that has been silent longer is retired: what it left
// is mixed in, it stops holding the others back, and should it send again
// it joins anew. A sender whose rate differs from the mix's is left out of
// the mix (said once through the note); per sender it keeps its own rate.
// A sender whose rate changes flushes the mix and starts it again at its
// new rate.
// The first sender of each emitted block is copied and the others added, so
// one sender alone passes bit for bit.
//
// Not thread-safe: the caller serialises every call (the recorder's buffers
// come on XPC queues, its tick on the main thread). Time comes in as an
// argument, so tests drive it.
#ifndef HARLUNE_TOOLS_STREAMMIXER_H
#define HARLUNE_TOOLS_STREAMMIXER_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace harlune::tools {

class LStreamMixer {
public:
    using LClock = std::chrono::steady_clock;
    // Frames to write: interleaved stereo, valid only during the call; under
    // the key of their sender (per sender) or 0 (the mix), at fRate Hz.
    using LEmit = std::function<void(pid_t nKey, const float* pfFrames, std::uint64_t nFrames, double fRate)>;
    using LNote = std::function<void(const std::string&)>;

    struct LOptions {
        bool bPerSender = false;
        std::chrono::milliseconds stallTimeout{500};
    };

    LStreamMixer(LOptions options, LEmit emit, LNote note);

    // One buffer of nFrames stereo frames from nSender, played at fRate.
    void Push(pid_t nSender, const float* pfFrames, std::uint64_t nFrames, double fRate, LClock::time_point now);
    // Retires senders silent for longer than the stall timeout (and mixes
    // what they left). Call it a few times a second.
    void Tick(LClock::time_point now);
    // Mixes everything still queued, as if every sender had stopped.
    void Flush();

    // Senders currently in the mix (or seen, per sender).
    std::size_t Senders() const { return m_arStreams.size(); }

private:
    struct Stream {
        pid_t nSender = 0;
        double fRate = 0;
        std::vector<float> arQueued;  // interleaved stereo frames not yet mixed
        std::size_t nHead = 0;        // floats of arQueued already mixed
        LClock::time_point lastArrival;
        bool bLive = true;

        std::uint64_t Queued() const { return (arQueued.size() - nHead) / 2; }
    };

    void Mix(LClock::time_point now, bool bFlush);
    Stream* Find(pid_t nSender);

    LOptions m_options;
    LEmit m_emit;
    LNote m_note;
    std::vector<Stream> m_arStreams;   // in the order they joined
    double m_fMixRate = 0;             // the rate of the mix; 0 while idle
    std::vector<float> m_arMix;        // the block being emitted, reused
    std::vector<pid_t> m_arToldRate;   // senders told about a rate mismatch
};

} // namespace harlune::tools

#endif
