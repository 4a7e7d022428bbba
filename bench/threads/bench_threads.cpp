// The threading kit's costs, as medians and 99th percentiles of single
// operations (a plain program printing "name: value" lines):
//   - signal_round_trip: one thread signals an event, another wakes and
//     answers on a second event (the wake-up latency of a signal object,
//     both ways);
//   - post_notify: what a worker pays to post a notification with 16 bytes
//     (the posting thread must never wait for the main thread);
//   - notify_delivery: from a worker's post to the handler's call on the
//     main thread, with the main thread waiting in its run loop;
//   - shared_lock: LockShared + UnlockShared, uncontended.

#include "bench/LLatencySamples.h"
#include "threads/LThreads.h"

#include <CoreFoundation/CFRunLoop.h>
#include <mach/mach_time.h>

#include <atomic>
#include <cstdio>
#include <thread>

namespace {

using harlune::bench::LLatencySamples;

constexpr int kRounds = 20000;

void Print(const char* szName, LLatencySamples& samples) {
  std::printf("%s_median_ns: %.0f\n%s_p99_ns: %.0f\n", szName, samples.Quantile(0.5), szName,
              samples.Quantile(0.99));
}

void SignalRoundTrip() {
  LSignalObject ping, pong;
  std::thread answerer([&] {
    for (int i = 0; i < kRounds; ++i) {
      ping.WaitSignal(kLWaitForever);
      ping.Reset();
      pong.Signal();
    }
  });
  LLatencySamples samples(kRounds);
  for (int i = 0; i < kRounds; ++i) {
    samples.Time([&] {
      ping.Signal();
      pong.WaitSignal(kLWaitForever);
      pong.Reset();
    });
  }
  answerer.join();
  Print("signal_round_trip", samples);
}

class StampHandler : public LQueuedNotifyDataHandler {
public:
  ~StampHandler() override { QueuedNotifyDataHandlerDestroy(); }
  void EvQueuedNotifyData(unsigned nCode, const void*, unsigned long nStamp) override {
    if (nCode == 1) samples.Add(mach_absolute_time() - nStamp);
    ++nDelivered;
  }
  LLatencySamples samples{kRounds};
  std::atomic<int> nDelivered{0};
};

void PostAndDeliver() {
  StampHandler handler;
  LQueuedNotifyDataSender sender(&handler);
  const char arBytes[16] = "sixteen bytes..";
  // Posting cost, drained in batches so the queue stays short.
  LLatencySamples posting(kRounds);
  for (int nDone = 0; nDone < kRounds;) {
    std::thread poster([&] {
      for (int i = 0; i < 1000; ++i) posting.Time([&] { sender.NotifyData(0, arBytes, sizeof arBytes); });
    });
    poster.join();
    nDone += 1000;
    while (handler.nDelivered < nDone) CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.1, true);
  }
  Print("post_notify", posting);
  // Delivery latency: one notification at a time, stamped when posted.
  std::atomic<bool> bDone{false};
  std::thread poster([&] {
    for (int i = 0; i < kRounds; ++i) {
      const int nBefore = handler.nDelivered;
      sender.NotifyData(1, static_cast<long>(mach_absolute_time()));
      while (handler.nDelivered == nBefore) std::this_thread::yield();
    }
    bDone = true;
    CFRunLoopStop(CFRunLoopGetMain());
  });
  while (!bDone) CFRunLoopRunInMode(kCFRunLoopDefaultMode, 1.0, false);
  poster.join();
  Print("notify_delivery", handler.samples);
}

void SharedLock() {
  LLockObjectShared lock;
  LLatencySamples samples(kRounds);
  for (int i = 0; i < kRounds; ++i) {
    samples.Time([&] {
      lock.LockShared();
      lock.UnlockShared();
    });
  }
  Print("shared_lock", samples);
}

}  // namespace

int main() {
  SignalRoundTrip();
  PostAndDeliver();
  SharedLock();
  return 0;
}
