#include "bench/LEventfdWake.h"

#include "bench/LRealtimePacing.h"

#include <mach/mach_time.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <system_error>
#include <thread>
#include <vector>

namespace harlune::bench {
namespace {

// Sleeps in epoll_wait on fdEvent until bStop is set, draining each wake.
void WaitForWakes(int fdEpoll, int fdEvent, const std::atomic<bool>& bStop) {
    while (!bStop.load(std::memory_order_acquire)) {
        epoll_event event;
        if (epoll_wait(fdEpoll, &event, 1, -1) == 1) {
            std::uint64_t qwValue = 0;
            ssize_t nIgnored = read(fdEvent, &qwValue, sizeof qwValue);
            (void)nIgnored;
        }
    }
}

// The host time half a cycle before the first cycle to run: half a cycle
// after the anchor's time, or one cycle from now without an anchor (so that
// the waiting thread is asleep in epoll_wait before the first write).
std::uint64_t ScheduleStart(std::uint32_t dwFrames, double fRate, const std::atomic<std::uint64_t>* pqwAnchor) {
    const std::uint64_t qwHalfCycle = LCycleHostTime(0, 1, dwFrames, fRate) / 2;
    for (int n = 0; pqwAnchor != nullptr && n < 2000; ++n) {
        const std::uint64_t qwAnchor = pqwAnchor->load(std::memory_order_acquire);
        if (qwAnchor != 0) {
            return qwAnchor - qwHalfCycle;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return mach_absolute_time();
}

// The paced, prioritised waking side; false when a write fails.
bool TimeWrites(int fdEvent, std::uint64_t nCycles, std::uint32_t dwFrames, double fRate,
                const std::atomic<std::uint64_t>* pqwAnchor, std::vector<std::uint64_t>* parSpans) {
    LRaiseToIOThreadPriority();
    const std::uint64_t qwStart = ScheduleStart(dwFrames, fRate, pqwAnchor);
    const std::uint64_t qwOne = 1;
    for (std::uint64_t nCycle = 1; nCycle <= nCycles; ++nCycle) {
        LSleepUntilHostTime(LCycleHostTime(qwStart, nCycle, dwFrames, fRate));
        const std::uint64_t qwBegin = mach_absolute_time();
        const ssize_t nWritten = write(fdEvent, &qwOne, sizeof qwOne);
        parSpans->push_back(mach_absolute_time() - qwBegin);
        if (nWritten != static_cast<ssize_t>(sizeof qwOne)) {
            return false;
        }
    }
    return true;
}

} // namespace

bool LTimeEventfdWakes(std::uint64_t nCycles, std::uint32_t dwFrames, double fRate, LLatencySamples* pSamples,
                       const std::atomic<std::uint64_t>* pqwAnchor) {
    if (pSamples == nullptr || dwFrames == 0 || !(fRate > 0.0)) {
        return false;
    }
    const int fdEvent = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    const int fdEpoll = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event = {};
    event.events = EPOLLIN;
    bool bOk = fdEvent >= 0 && fdEpoll >= 0 && epoll_ctl(fdEpoll, EPOLL_CTL_ADD, fdEvent, &event) == 0;
    std::vector<std::uint64_t> arSpans;
    if (bOk) {
        arSpans.reserve(nCycles);
        std::atomic<bool> bStop{false};
        std::thread waiter, waker;
        try {
            waiter = std::thread(WaitForWakes, fdEpoll, fdEvent, std::cref(bStop));
            waker = std::thread([&] { bOk = TimeWrites(fdEvent, nCycles, dwFrames, fRate, pqwAnchor, &arSpans); });
        } catch (const std::system_error&) {
            bOk = false; // a thread could not be started; whichever was is joined below
        }
        if (waker.joinable()) {
            waker.join();
        }
        bStop.store(true, std::memory_order_release);
        const std::uint64_t qwOne = 1;
        ssize_t nIgnored = write(fdEvent, &qwOne, sizeof qwOne); // the last wake, to end the waiter
        (void)nIgnored;
        if (waiter.joinable()) {
            waiter.join();
        }
    }
    if (fdEpoll >= 0) {
        close(fdEpoll);
    }
    if (fdEvent >= 0) {
        close(fdEvent);
    }
    if (!bOk) {
        return false;
    }
    for (const std::uint64_t qwSpan : arSpans) {
        pSamples->Add(qwSpan);
    }
    return true;
}

} // namespace harlune::bench
