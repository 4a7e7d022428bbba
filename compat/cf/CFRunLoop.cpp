// Run loops: the main one runs the main dispatch queue on the main thread;
// every other thread's has nothing to run.

#include "CFRuntime.h"

#include "dispatch/main_thread.h"

#include <CoreFoundation/CFRunLoop.h>

#include <chrono>
#include <cmath>

using namespace harlune::cf;

struct __CFRunLoop final : Object {
    static constexpr CFTypeID kTypeID = kRunLoopTypeID;
    explicit constexpr __CFRunLoop(bool main) : Object(kTypeID, Immortal{}), isMain(main) {}
    void describe(std::string &out, unsigned) const override {
        out += isMain ? "<CFRunLoop main>" : "<CFRunLoop>";
    }
    const bool isMain;  // the main thread's run loop, which serves the main queue
};

namespace {

NoDestroy<__CFRunLoop> gMainRunLoop(true);
NoDestroy<__CFRunLoop> gOtherRunLoop(false);

// The longest run that still has a deadline; longer ones have none.
constexpr double kMaxSeconds = 1.0e9;

}  // namespace

extern "C" {

const CFRunLoopMode kCFRunLoopDefaultMode = CFSTR("kCFRunLoopDefaultMode");
const CFRunLoopMode kCFRunLoopCommonModes = CFSTR("kCFRunLoopCommonModes");

CFTypeID CFRunLoopGetTypeID(void) { return kRunLoopTypeID; }

CFRunLoopRef CFRunLoopGetMain(void) { return &gMainRunLoop.value; }

CFRunLoopRef CFRunLoopGetCurrent(void) {
    return harlune::dispatch::is_main_thread() ? &gMainRunLoop.value : &gOtherRunLoop.value;
}

CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled) {
    (void)mode;
    using namespace harlune::dispatch;
    using Clock = std::chrono::steady_clock;
    Clock::time_point deadline = Clock::time_point::max();
    if (std::isnan(seconds) || seconds <= 0) {
        deadline = Clock::now();
    } else if (seconds < kMaxSeconds) {
        deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    }
    switch (run_main_thread(deadline, returnAfterSourceHandled != 0, true)) {
        case MainRunEnd::stopped:
            return kCFRunLoopRunStopped;
        case MainRunEnd::handled_work:
            return kCFRunLoopRunHandledSource;
        case MainRunEnd::timed_out:
            return kCFRunLoopRunTimedOut;
        case MainRunEnd::not_main_thread:
            break;
    }
    return kCFRunLoopRunFinished;
}

void CFRunLoopRun(void) {
    CFRunLoopRunResult result;
    do {
        result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 1.0e10, false);
    } while (result != kCFRunLoopRunStopped && result != kCFRunLoopRunFinished);
}

void CFRunLoopStop(CFRunLoopRef rl) {
    if (rl == &gMainRunLoop.value) harlune::dispatch::stop_main_thread();
}

void CFRunLoopWakeUp(CFRunLoopRef rl) {
    if (rl == &gMainRunLoop.value) harlune::dispatch::wake_main_thread();
}

}  // extern "C"
