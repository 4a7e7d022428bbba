// SerialQueue: runs its work one item at a time, in submission order.
//
// The queue keeps its pending work itself and submits a single "drain" item
// to its target whenever it has work, is not suspended and no drain is
// already scheduled. The drain runs up to kBatch items, then, if work
// remains, schedules a fresh drain so that other queues sharing the target
// get their turn. Since at most one drain exists at a time, two items never
// run at once, whatever the target.
//
// Thread safety: all members may be called from any thread. Lifetime: each
// pending item and each scheduled drain holds a reference to the queue, and
// the queue holds one to its target.

#pragma once

#include "targeted_queue.h"

#include <deque>
#include <mutex>

namespace harlune::dispatch {

class SerialQueue final : public TargetedQueue {
 public:
  // Takes over the caller's reference to `target`.
  SerialQueue(const char* label, Queue* target, Lifetime lifetime = Lifetime::counted);

  void push(Work work, bool barrier) noexcept override;
  void resume() noexcept override;

 private:
  static constexpr unsigned kBatch = 16;

  ~SerialQueue() override;
  // Marks a drain as scheduled and returns the target to submit it to
  // (retained), or null when no drain is due.
  Queue* claim_drain_locked() noexcept;
  void submit_drain(Queue* target) noexcept;
  static void drain_entry(void* queue);
  void drain() noexcept;

  std::deque<Work> pending_;
  bool drain_scheduled_ = false;
};

}  // namespace harlune::dispatch
