// The part serial and concurrent queues share: a target queue their work
// goes to, the lock that guards their state, and the suspension count.
// Retargeting, reading the target and suspending work the same for both;
// how suspended work resumes is each queue's own.
#ifndef HARLUNE_COMPAT_DISPATCH_TARGETED_QUEUE_H
#define HARLUNE_COMPAT_DISPATCH_TARGETED_QUEUE_H

#include "queue_impl.h"

#include <mutex>

namespace harlune::dispatch {

class TargetedQueue : public Queue {
 public:
  Queue* copy_target() noexcept override;
  // Refused (false) for immortal queues, which stay where they are, and
  // for a target that would form a cycle.
  bool set_target(Queue* target) noexcept override;
  void suspend() noexcept override;

 protected:
  // Takes over the caller's reference to `target`.
  TargetedQueue(const char* label, Lifetime lifetime, Queue* target) : Queue(label, lifetime), target_(target) {}
  ~TargetedQueue() override;

  std::mutex mutex_;       // guards everything below and the derived queue's state
  Queue* target_;          // where the queue's work runs; one reference held
  unsigned suspensions_ = 0;
};

}  // namespace harlune::dispatch

#endif
