// LSlowWorkProbe.h: checks that work on one thread never keeps another
// thread's look-ups waiting.
//
// The suite is linked so that the framework's allocations and its platform
// calls that make, set up, change and end connections pass through the
// probe first. While a thread runs armed (RunArmed), each such call it
// makes hands one round of look-ups to a checker thread and waits for that
// round to end. Code that does slow work while it holds a lock the
// look-ups need therefore keeps the round from ending: the probe counts a
// stall, stops waiting after a generous bound and disarms, so a faulty
// case fails rather than hangs.
//
// One probe at a time. The rounds must not need anything the armed thread
// may legitimately hold (the transport's own locks): look-ups only.
#ifndef HARLUNE_TESTS_XPC_LOCKS_LSLOWWORKPROBE_H
#define HARLUNE_TESTS_XPC_LOCKS_LSLOWWORKPROBE_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace harlune::test {

class LSlowWorkProbe {
public:
    // Starts the checker thread, which runs fnRound once per round.
    explicit LSlowWorkProbe(std::function<void()> fnRound);
    // Stops and joins the checker thread.
    ~LSlowWorkProbe();
    LSlowWorkProbe(const LSlowWorkProbe&) = delete;
    LSlowWorkProbe& operator=(const LSlowWorkProbe&) = delete;

    // Runs fn on the calling thread with every probed call stopped for a round.
    void RunArmed(const std::function<void()>& fn);
    // Rounds that ran to their end, and rounds that did not end in time.
    std::uint64_t Rounds();
    std::uint64_t Stalls();

    // Called by every probed call before it goes on.
    static void OnSlowCall();

private:
    void Round();
    void CheckerMain();

    std::function<void()> m_fnRound;
    std::mutex m_mtx;
    std::condition_variable m_cvRequest;
    std::condition_variable m_cvDone;
    std::uint64_t m_nRequested = 0; // rounds asked for; m_mtx
    std::uint64_t m_nDone = 0;      // rounds the checker finished; m_mtx
    std::uint64_t m_nRounds = 0;    // rounds the armed thread saw end; m_mtx
    std::uint64_t m_nStalls = 0;    // rounds it gave up on; m_mtx
    bool m_bStop = false;           // m_mtx
    std::thread m_checker;
};

} // namespace harlune::test

#endif
