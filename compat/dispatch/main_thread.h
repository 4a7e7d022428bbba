// The main thread's side of the main queue (private to compat): the main
// queue's work is drained only by the process's main thread, inside
// dispatch_main() or while it runs the main run loop (CFRunLoop).
//
// Thread safety: wake and stop may be called from any thread; run only from
// the main thread (it returns kRunNotMainThread elsewhere, without waiting).

#pragma once

#include <chrono>

namespace harlune::dispatch {

// True on the process's main thread (pthread_main_np).
bool is_main_thread() noexcept;

enum class MainRunEnd {
  stopped,         // a stop request ended the run
  timed_out,       // the deadline passed
  handled_work,    // work ran and the caller asked to return after it
  not_main_thread  // called on another thread: nothing ran
};

// Runs main-queue work on the calling main thread until the deadline, a stop
// request (when `honour_stop`), or, with `return_after_work`, the first batch
// of work that ran. A run nested inside main-queue work runs no further
// main-queue work (the queue is serial) and only waits for its end.
MainRunEnd run_main_thread(std::chrono::steady_clock::time_point deadline, bool return_after_work,
                           bool honour_stop) noexcept;

// Ends the innermost run that honours stop requests; when none is running,
// the next such run ends at once (so a stop sent just before the main thread
// starts running is not lost).
void stop_main_thread() noexcept;

// Makes a waiting run look at its conditions again; it goes on waiting
// unless one of them ends it.
void wake_main_thread() noexcept;

}  // namespace harlune::dispatch
