// Counting semaphores.
//
// The value counts available units. Waiters that find none register
// themselves; a signal that finds registered waiters hands its unit to one of
// them (a "wakeup") instead of adding it to the value, so a unit can never be
// taken by a thread that arrives later than the one it was meant for.

#include "clock.h"
#include "object_impl.h"

#include <dispatch/semaphore.h>
#include <mach/kern_return.h>

#include <condition_variable>
#include <mutex>

namespace harlune::dispatch {
namespace {

class Semaphore final : public Object {
 public:
  explicit Semaphore(long value) : Object(Lifetime::counted), value_(value) {}

  bool wait(uint64_t deadline) noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    if (value_ > 0) {
      --value_;
      return true;
    }
    ++waiters_;
    // A wakeup handed over just as the deadline passes still counts: the
    // predicate is checked before giving up.
    const bool woken = wait_until(signalled_, lock, deadline, [this] { return wakeups_ > 0; });
    --waiters_;
    if (woken) {
      --wakeups_;
    }
    return woken;
  }

  bool signal() noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    if (waiters_ > wakeups_) {
      ++wakeups_;
      signalled_.notify_one();
      return true;
    }
    ++value_;
    return false;
  }

 private:
  ~Semaphore() override = default;

  std::mutex mutex_;
  std::condition_variable signalled_;
  long value_;
  unsigned long waiters_ = 0;  // Threads blocked in wait.
  unsigned long wakeups_ = 0;  // Units handed to blocked threads, not yet taken.
};

}  // namespace
}  // namespace harlune::dispatch

using harlune::dispatch::Semaphore;
using harlune::dispatch::from_handle;
using harlune::dispatch::to_handle;

extern "C" dispatch_semaphore_t dispatch_semaphore_create(long value) noexcept {
  if (value < 0) {
    return nullptr;
  }
  return to_handle<dispatch_semaphore_t>(new Semaphore(value));
}

extern "C" long dispatch_semaphore_wait(dispatch_semaphore_t semaphore, dispatch_time_t timeout) noexcept {
  if (semaphore == nullptr) {
    return KERN_INVALID_ARGUMENT;
  }
  const bool taken = from_handle<Semaphore>(semaphore)->wait(harlune::dispatch::host_deadline(timeout));
  return taken ? 0 : KERN_OPERATION_TIMED_OUT;
}

extern "C" long dispatch_semaphore_signal(dispatch_semaphore_t semaphore) noexcept {
  if (semaphore == nullptr) {
    return 0;
  }
  return from_handle<Semaphore>(semaphore)->signal() ? 1 : 0;
}
