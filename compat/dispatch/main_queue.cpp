// The main queue: a serial queue drained by the process's main thread.
//
// As on Apple's platform, work submitted to the main queue runs only when the
// main thread calls dispatch_main() or runs the main run loop
// (CFRunLoopRun, CFRunLoopRunInMode); a program that does neither never runs
// it. The queue's root keeps the drains the serial queue submits and hands
// them to the main thread in order.

#include "main_thread.h"
#include "serial_queue.h"

#include <dispatch/queue.h>

#include <pthread.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>

namespace harlune::dispatch {
namespace {

// The root of the main queue: FIFO work for the main thread, and the run
// state of the main thread's loop (stop requests, wake-ups, nesting).
class MainThreadRoot final : public Queue {
 public:
  MainThreadRoot() : Queue("dispatch.main", Lifetime::immortal) {}

  void push(Work work, bool barrier) noexcept override {
    (void)barrier;
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.push_back(work);
    changed_.notify_all();
  }

  // Only the main thread drains this queue, so on the main thread waiting
  // for it always waits for the calling thread itself.
  bool drained_only_by_calling_thread() noexcept override { return is_main_thread(); }

  MainRunEnd run(std::chrono::steady_clock::time_point deadline, bool return_after_work, bool honour_stop) noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    MainRunEnd end = MainRunEnd::timed_out;
    for (;;) {
      if (honour_stop && stop_pending_) {
        stop_pending_ = false;
        end = MainRunEnd::stopped;
        break;
      }
      if (!pending_.empty() && draining_ == 0) {
        if (drain_batch_locked(lock) && return_after_work) {
          end = MainRunEnd::handled_work;
          break;
        }
        continue;
      }
      const unsigned long wakeups = wakeups_;
      const auto woken = [&] {
        return (honour_stop && stop_pending_) || wakeups_ != wakeups || (!pending_.empty() && draining_ == 0);
      };
      if (deadline == std::chrono::steady_clock::time_point::max()) {
        // No deadline: a plain wait, which no clock conversion can overflow.
        changed_.wait(lock, woken);
      } else if (!changed_.wait_until(lock, deadline, woken)) {
        break;
      }
    }
    return end;
  }

  void stop() noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_pending_ = true;
    changed_.notify_all();
  }

  void wake() noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    ++wakeups_;
    changed_.notify_all();
  }

 private:
  // Runs the work that is queued now (not what it queues in turn, so a
  // run that returns after work does return). True when anything ran.
  bool drain_batch_locked(std::unique_lock<std::mutex>& lock) noexcept {
    std::size_t count = pending_.size();
    bool ran = false;
    ++draining_;
    while (count-- > 0 && !pending_.empty()) {
      Work work = pending_.front();
      pending_.pop_front();
      lock.unlock();
      {
        RunningScope scope(this, true);
        work.run();
      }
      ran = true;
      lock.lock();
    }
    --draining_;
    return ran;
  }

  std::mutex mutex_;
  std::condition_variable changed_;  // new work, a stop request, a wake-up
  std::deque<Work> pending_;
  unsigned draining_ = 0;        // nesting depth of drains on the main thread
  unsigned long wakeups_ = 0;    // counts wake-ups, so a waiting run notices one
  bool stop_pending_ = false;    // a stop for the innermost stoppable run
};

MainThreadRoot& main_root() {
  // Immortal and never destroyed, like the global queues.
  static MainThreadRoot* const root = new MainThreadRoot();
  return *root;
}

SerialQueue& main_queue() {
  static SerialQueue* const queue = new SerialQueue("com.apple.main-thread", &main_root(), Object::Lifetime::immortal);
  return *queue;
}

}  // namespace

bool is_main_thread() noexcept {
  return pthread_main_np() != 0;
}

MainRunEnd run_main_thread(std::chrono::steady_clock::time_point deadline, bool return_after_work,
                           bool honour_stop) noexcept {
  if (!is_main_thread()) {
    return MainRunEnd::not_main_thread;
  }
  main_queue();  // The queue exists before its root is run.
  return main_root().run(deadline, return_after_work, honour_stop);
}

void stop_main_thread() noexcept {
  main_root().stop();
}

void wake_main_thread() noexcept {
  main_root().wake();
}

}  // namespace harlune::dispatch

extern "C" dispatch_queue_t dispatch_get_main_queue(void) noexcept {
  using namespace harlune::dispatch;
  return to_handle<dispatch_queue_t>(&main_queue());
}

extern "C" void dispatch_main(void) {
  using namespace harlune::dispatch;
  if (!is_main_thread()) {
    // Apple's implementation requires the main thread. Parking the caller
    // keeps the promise never to return without draining anything here.
    std::fprintf(stderr, "dispatch_main: called on a thread other than the main thread; parking it\n");
    for (;;) {
      pause();
    }
  }
  for (;;) {
    run_main_thread(std::chrono::steady_clock::time_point::max(), false, false);
  }
}
