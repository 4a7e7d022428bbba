// Deferred submission (dispatch_after): a timer thread keeps the pending
// items in a heap ordered by deadline and submits each to its queue once the
// host clock has reached its deadline. Items with the same deadline are
// submitted in the order they were scheduled.
//
// The timer state is created on first use and never destroyed; its thread is
// started with it (and retried on later schedules if it could not be) and
// never exits.

#include "clock.h"
#include "queue_impl.h"

#include <dispatch/queue.h>

#include <pthread.h>

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <queue>
#include <vector>

namespace harlune::dispatch {
namespace {

class TimerThread {
 public:
  static TimerThread& shared() {
    static TimerThread* const timer = new TimerThread();
    return *timer;
  }

  // Takes over `work` and the caller's reference to `queue`.
  void schedule(uint64_t deadline, Queue* queue, Work work) noexcept {
    std::lock_guard<std::mutex> lock(mutex_);
    const bool earliest = timers_.empty() || deadline < timers_.top().deadline;
    timers_.push(Timer{deadline, next_sequence_++, queue, work});
    if (!started_) {
      start_locked();
    }
    // Only a new earliest deadline shortens the thread's current wait.
    if (earliest) {
      changed_.notify_one();
    }
  }

 private:
  struct Timer {
    uint64_t deadline;
    uint64_t sequence;
    Queue* queue;
    Work work;
  };

  // Orders the heap so that top() is the earliest deadline, and among equal
  // deadlines the first scheduled.
  struct Later {
    bool operator()(const Timer& a, const Timer& b) const {
      return a.deadline != b.deadline ? a.deadline > b.deadline : a.sequence > b.sequence;
    }
  };

  TimerThread() = default;

  void start_locked() noexcept {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, &TimerThread::thread_main, this);
    pthread_attr_destroy(&attributes);
    started_ = error == 0;
    if (!started_) {
      std::fprintf(stderr, "dispatch: cannot start the timer thread (%s); retrying on the next dispatch_after\n",
                   std::strerror(error));
    }
  }

  static void* thread_main(void* timer) {
    pthread_setname_np(pthread_self(), "dispatch.timer");
    static_cast<TimerThread*>(timer)->serve();
    return nullptr;
  }

  void serve() noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      if (timers_.empty()) {
        changed_.wait(lock);
        continue;
      }
      const uint64_t now = host_now();
      if (timers_.top().deadline > now) {
        // Woken early by a new earliest timer or spuriously, the loop simply
        // looks at the heap again.
        changed_.wait_for(lock, std::chrono::nanoseconds(timers_.top().deadline - now));
        continue;
      }
      Timer due = timers_.top();
      timers_.pop();
      // Submitting may take the target queue's locks and start threads;
      // none of that needs the timer lock.
      lock.unlock();
      due.queue->push(due.work, false);
      due.queue->release();
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::priority_queue<Timer, std::vector<Timer>, Later> timers_;
  uint64_t next_sequence_ = 0;
  bool started_ = false;
};

void submit_after(dispatch_time_t when, dispatch_queue_t handle, Work work) {
  if (when == DISPATCH_TIME_FOREVER) {
    work.discard();
    return;
  }
  Queue* queue = from_handle<Queue>(handle);
  const uint64_t deadline = host_deadline(when);
  if (deadline <= host_now()) {
    queue->push(work, false);
    return;
  }
  queue->retain();  // Held by the timer until the work is submitted.
  TimerThread::shared().schedule(deadline, queue, work);
}

}  // namespace
}  // namespace harlune::dispatch

extern "C" void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                                 dispatch_function_t work) noexcept {
  using namespace harlune::dispatch;
  if (queue != nullptr && work != nullptr) {
    submit_after(when, queue, Work::from_function(context, work));
  }
}

extern "C" void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block) noexcept {
  using namespace harlune::dispatch;
  if (queue != nullptr && block != nullptr) {
    submit_after(when, queue, Work::from_block(block));
  }
}
