// One-time initialisation.
//
// The predicate moves from 0 (not run) to kRunning (claimed by one caller)
// to kDone. The fast path is a single acquire load; callers that find the
// work running wait on a process-wide condition variable, which is fine
// because that only happens during the first, racing calls.

#include <dispatch/once.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace {

constexpr dispatch_once_t kNotRun = 0;
constexpr dispatch_once_t kRunning = 1;
// All ones, the value Apple's implementation leaves behind once done.
constexpr dispatch_once_t kDone = ~static_cast<dispatch_once_t>(0);

std::mutex& waiters_mutex() {
  // Never destroyed, so dispatch_once stays usable from static destructors.
  static std::mutex* const mutex = new std::mutex();
  return *mutex;
}

std::condition_variable& done_condition() {
  static std::condition_variable* const condition = new std::condition_variable();
  return *condition;
}

void invoke_block(void* block) {
  reinterpret_cast<dispatch_block_t>(block)();
}

}  // namespace

extern "C" void dispatch_once_f(dispatch_once_t* predicate, void* context, dispatch_function_t function) noexcept {
  if (predicate == nullptr || function == nullptr) {
    return;
  }
  std::atomic_ref<dispatch_once_t> state(*predicate);
  if (state.load(std::memory_order_acquire) == kDone) {
    return;
  }
  dispatch_once_t expected = kNotRun;
  if (state.compare_exchange_strong(expected, kRunning, std::memory_order_acquire)) {
    function(context);
    {
      // Stored under the mutex so that a waiter cannot check the state,
      // miss this store and then sleep through the notification.
      std::lock_guard<std::mutex> lock(waiters_mutex());
      state.store(kDone, std::memory_order_release);
    }
    done_condition().notify_all();
    return;
  }
  std::unique_lock<std::mutex> lock(waiters_mutex());
  done_condition().wait(lock, [&state] { return state.load(std::memory_order_acquire) == kDone; });
}

extern "C" void dispatch_once(dispatch_once_t* predicate, dispatch_block_t block) noexcept {
  // The block runs before this call returns, so it needs no copy.
  if (block != nullptr) {
    dispatch_once_f(predicate, reinterpret_cast<void*>(block), &invoke_block);
  }
}
