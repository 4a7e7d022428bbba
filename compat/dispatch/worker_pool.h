// WorkerPool: the threads that run the work of every global queue, and
// through them of every queue except the main queue.
//
// The pool starts with no threads. Submitting work when no worker is idle
// starts another, up to kMaxThreads, so that work which blocks cannot starve
// the rest; once at the cap, work waits for a worker to come free. A worker
// that stays idle for kIdleExit exits. Work starts in submission order and
// may finish in any order.
//
// Thread safety: submit may be called from any thread, including workers.
// Lifetime: the pool is created on first use and never destroyed, so workers
// still running at process exit never touch freed state.

#pragma once

#include "work.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

namespace harlune::dispatch {

class Queue;

class WorkerPool {
 public:
  static constexpr unsigned kMaxThreads = 64;
  static constexpr std::chrono::seconds kIdleExit{5};

  static WorkerPool& shared() noexcept;

  // Runs `work` on a worker, recording `origin` as the queue it runs for.
  void submit(Work work, Queue* origin) noexcept;

 private:
  struct Task {
    Work work;
    Queue* origin;
  };

  WorkerPool() = default;
  static void* thread_main(void* pool);
  void serve() noexcept;
  void start_worker_locked() noexcept;

  std::mutex mutex_;
  std::condition_variable work_available_;
  std::deque<Task> tasks_;
  unsigned threads_ = 0;
  unsigned idle_ = 0;
  bool reported_start_failure_ = false;
};

}  // namespace harlune::dispatch
