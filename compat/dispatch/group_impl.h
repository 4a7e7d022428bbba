// Group: counts outstanding members and, when the count returns to zero,
// wakes its waiters and submits its notifications.
//
// Thread safety: all members may be called from any thread. Lifetime: every
// entry holds a reference to the group until the matching leave, and every
// pending notification a reference to its queue.

#pragma once

#include "object_impl.h"
#include "work.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace harlune::dispatch {

class Queue;

class Group final : public Object {
 public:
  Group() : Object(Lifetime::counted) {}

  void enter() noexcept;
  // A leave without a matching enter is ignored.
  void leave() noexcept;
  // True when the group was, or became, empty before the host clock reached
  // `deadline`.
  bool wait(uint64_t deadline) noexcept;
  // Takes over `work` and the caller's reference to `queue`.
  void notify(Queue* queue, Work work) noexcept;

 private:
  struct Notification {
    Queue* queue;
    Work work;
  };

  ~Group() override = default;

  std::mutex mutex_;
  std::condition_variable emptied_;
  uint64_t members_ = 0;
  // Counts the times the group emptied, so that a waiter returns even when
  // the group is entered again before the waiter gets to run.
  uint64_t emptied_count_ = 0;
  std::vector<Notification> notifications_;
};

}  // namespace harlune::dispatch
