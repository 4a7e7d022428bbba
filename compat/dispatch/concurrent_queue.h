// ConcurrentQueue: a queue made with DISPATCH_QUEUE_CONCURRENT. Its work
// starts in submission order and may run at the same time; a barrier item
// starts only when everything before it has finished, and nothing after it
// starts until it has.
//
// Pending items move to a "ready" list when they may start, and for each one
// moved a runner item is submitted to the target; a runner takes the oldest
// ready item. Suspension stops items from becoming ready.
//
// Thread safety: all members may be called from any thread. Lifetime: each
// pending item holds a reference to the queue until it ran, and the queue
// holds one to its target.

#pragma once

#include "targeted_queue.h"

#include <deque>
#include <mutex>

namespace harlune::dispatch {

class ConcurrentQueue final : public TargetedQueue {
 public:
  // Takes over the caller's reference to `target`.
  ConcurrentQueue(const char* label, Queue* target);

  void push(Work work, bool barrier) noexcept override;
  void resume() noexcept override;

 private:
  struct Item {
    Work work;
    bool barrier = false;
  };

  ~ConcurrentQueue() override;
  // Moves every item that may start now to ready_, and returns how many,
  // with the target to submit their runners to (retained) in `target`.
  unsigned promote_locked(Queue*& target) noexcept;
  void submit_runners(Queue* target, unsigned count) noexcept;
  static void run_entry(void* queue);
  void run_one() noexcept;

  std::deque<Item> pending_;
  std::deque<Item> ready_;
  unsigned started_ = 0;  // Items ready or running.
  bool barrier_started_ = false;
};

}  // namespace harlune::dispatch
