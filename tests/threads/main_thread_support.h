// Running the main thread in tests: test bodies run on the process's main
// thread, and queued notifications are delivered only while it runs its run
// loop.
#pragma once

#include <CoreFoundation/CFRunLoop.h>

#include <chrono>

namespace harlune::test {

// Runs the main run loop until done() holds, or for at most 20 seconds (far
// above anything a correct run needs, so a lost delivery fails instead of
// hanging). Returns done().
template <class Done>
bool RunMainUntil(Done done) {
  const auto tEnd = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!done() && std::chrono::steady_clock::now() < tEnd) {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.01, true);
  }
  return done();
}

// Runs the main run loop for a while, to let anything that is queued (and
// anything wrongly queued) be delivered.
inline void RunMainFor(double fSeconds) { CFRunLoopRunInMode(kCFRunLoopDefaultMode, fSeconds, false); }

}  // namespace harlune::test
