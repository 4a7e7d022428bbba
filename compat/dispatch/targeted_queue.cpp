#include "targeted_queue.h"

namespace harlune::dispatch {

TargetedQueue::~TargetedQueue() {
  target_->release();
}

Queue* TargetedQueue::copy_target() noexcept {
  std::lock_guard<std::mutex> lock(mutex_);
  target_->retain();
  return target_;
}

bool TargetedQueue::set_target(Queue* target) noexcept {
  // The main queue is the one immortal serial queue; it stays on its thread.
  if (immortal() || would_form_cycle(target)) {
    return false;
  }
  target->retain();
  Queue* previous = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    previous = target_;
    target_ = target;
  }
  previous->release();
  return true;
}

void TargetedQueue::suspend() noexcept {
  std::lock_guard<std::mutex> lock(mutex_);
  ++suspensions_;
}

}  // namespace harlune::dispatch
