// The main queue: a serial queue whose drains run on a dedicated thread.
//
// Apple's main queue runs on the process's main thread, which must call
// dispatch_main() or run a run loop. Programs here (the plug-in's host, the
// tools, the tests) mostly never do, so the main queue gets a thread of its
// own, started on first use; dispatch_main() merely parks its caller.

#include "serial_queue.h"

#include <dispatch/queue.h>

#include <pthread.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>

namespace harlune::dispatch {
namespace {

// A root queue running its work in FIFO order on one thread of its own. The
// thread is started by the first push (and retried by later ones if it could
// not be started), and never exits.
class ThreadQueue final : public Queue {
 public:
  explicit ThreadQueue(const char* label) : Queue(label, Lifetime::immortal) {}

  void push(Work work, bool barrier) noexcept override {
    (void)barrier;
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.push_back(work);
    if (!started_) {
      start_locked();
    }
    work_available_.notify_one();
  }

 private:
  void start_locked() noexcept {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, &ThreadQueue::thread_main, this);
    pthread_attr_destroy(&attributes);
    started_ = error == 0;
    if (!started_) {
      std::fprintf(stderr, "dispatch: cannot start the main queue's thread (%s); retrying on the next submission\n",
                   std::strerror(error));
    }
  }

  static void* thread_main(void* queue) {
    pthread_setname_np(pthread_self(), "dispatch.main");
    static_cast<ThreadQueue*>(queue)->serve();
    return nullptr;
  }

  void serve() noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      work_available_.wait(lock, [this] { return !pending_.empty(); });
      Work work = pending_.front();
      pending_.pop_front();
      lock.unlock();
      {
        RunningScope scope(this, true);
        work.run();
      }
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable work_available_;
  std::deque<Work> pending_;
  bool started_ = false;
};

SerialQueue& main_queue() {
  // Immortal and never destroyed, like the global queues.
  static SerialQueue* const queue =
      new SerialQueue("com.apple.main-thread", new ThreadQueue("dispatch.main"), Object::Lifetime::immortal);
  return *queue;
}

}  // namespace
}  // namespace harlune::dispatch

extern "C" dispatch_queue_t dispatch_get_main_queue(void) noexcept {
  using namespace harlune::dispatch;
  return to_handle<dispatch_queue_t>(&main_queue());
}

extern "C" void dispatch_main(void) {
  // The main queue already runs on its own thread; all that is left is to
  // keep the caller from returning, while still letting signal handlers run.
  for (;;) {
    pause();
  }
}
