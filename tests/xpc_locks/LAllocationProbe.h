// LAllocationProbe.h: checks that work on one thread never keeps another
// thread's look-ups waiting.
//
// This test program replaces the global allocation functions. While a
// thread runs armed (RunArmed), every allocation it makes first hands one
// round of look-ups to a checker thread and waits for that round to end.
// Code that allocates while it holds a lock the look-ups need keeps the
// round from ending: the probe counts a stall, stops waiting after a
// generous bound and disarms, so a faulty case fails rather than hangs.
// Allocation stands for the slow work that must never happen under a
// look-up lock (creating, setting up, cancelling and releasing platform
// connections): nearly every such call allocates, and the probe stops the
// thread right there.
//
// One probe at a time. The rounds must not need anything the armed thread
// may legitimately hold (the transport's own locks): look-ups only.
#ifndef HARLUNE_TESTS_XPC_LOCKS_LALLOCATIONPROBE_H
#define HARLUNE_TESTS_XPC_LOCKS_LALLOCATIONPROBE_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace harlune::test {

class LAllocationProbe {
public:
    // Starts the checker thread, which runs fnRound once per round.
    explicit LAllocationProbe(std::function<void()> fnRound);
    // Stops and joins the checker thread.
    ~LAllocationProbe();
    LAllocationProbe(const LAllocationProbe&) = delete;
    LAllocationProbe& operator=(const LAllocationProbe&) = delete;

    // Runs fn on the calling thread with every allocation probed.
    void RunArmed(const std::function<void()>& fn);
    // Rounds that ran to their end, and rounds that did not end in time.
    std::uint64_t Rounds();
    std::uint64_t Stalls();

    // Called by the replaced allocation functions.
    static void OnAllocation();

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
