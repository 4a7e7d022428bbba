// The growing worker pool behind the global queues.

#include "worker_pool.h"

#include "queue_impl.h"

#include <pthread.h>

#include <cstdio>
#include <cstring>

namespace harlune::dispatch {

WorkerPool& WorkerPool::shared() noexcept {
  // Deliberately never destroyed: detached workers may still be waiting on
  // its condition variable while static destructors run at exit.
  static WorkerPool* const pool = new WorkerPool();
  return *pool;
}

void WorkerPool::submit(Work work, Queue* origin) noexcept {
  std::lock_guard<std::mutex> lock(mutex_);
  tasks_.push_back(Task{work, origin});
  if (idle_ > 0) {
    work_available_.notify_one();
  }
  // Idle workers each take one task; anything beyond that needs a new
  // worker, or it would wait behind work that may be blocked.
  if (tasks_.size() > idle_ && threads_ < kMaxThreads) {
    start_worker_locked();
  }
}

void WorkerPool::start_worker_locked() noexcept {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  const int error = pthread_create(&thread, &attributes, &WorkerPool::thread_main, this);
  pthread_attr_destroy(&attributes);
  if (error == 0) {
    ++threads_;
    return;
  }
  // The work stays queued: an existing worker, or one started by a later
  // submission, will run it. Report once, since it usually means the process
  // has run out of threads or memory.
  if (!reported_start_failure_) {
    reported_start_failure_ = true;
    std::fprintf(stderr, "dispatch: cannot start a worker thread (%s); work waits for a free worker\n",
                 std::strerror(error));
  }
}

void* WorkerPool::thread_main(void* pool) {
  pthread_setname_np(pthread_self(), "dispatch.worker");
  static_cast<WorkerPool*>(pool)->serve();
  return nullptr;
}

void WorkerPool::serve() noexcept {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    while (tasks_.empty()) {
      ++idle_;
      const bool timed_out = work_available_.wait_for(lock, kIdleExit) == std::cv_status::timeout;
      --idle_;
      if (timed_out && tasks_.empty()) {
        --threads_;
        return;
      }
    }
    Task task = tasks_.front();
    tasks_.pop_front();
    lock.unlock();
    {
      RunningScope scope(task.origin, false);
      task.work.run();
    }
    lock.lock();
  }
}

}  // namespace harlune::dispatch
