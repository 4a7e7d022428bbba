// Concurrent queues with barriers.

#include "concurrent_queue.h"

namespace harlune::dispatch {

ConcurrentQueue::ConcurrentQueue(const char* label, Queue* target) : TargetedQueue(label, Lifetime::counted, target) {}

ConcurrentQueue::~ConcurrentQueue() = default;

void ConcurrentQueue::push(Work work, bool barrier) noexcept {
  retain();  // Given back once this item ran.
  Queue* target = nullptr;
  unsigned count = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.push_back(Item{work, barrier});
    count = promote_locked(target);
  }
  submit_runners(target, count);
}




void ConcurrentQueue::resume() noexcept {
  Queue* target = nullptr;
  unsigned count = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (suspensions_ == 0) {
      return;
    }
    --suspensions_;
    count = promote_locked(target);
  }
  submit_runners(target, count);
}

unsigned ConcurrentQueue::promote_locked(Queue*& target) noexcept {
  unsigned count = 0;
  while (suspensions_ == 0 && !barrier_started_ && !pending_.empty()) {
    const Item& next = pending_.front();
    if (next.barrier) {
      if (started_ > 0) {
        break;
      }
      barrier_started_ = true;
    }
    ready_.push_back(next);
    pending_.pop_front();
    ++started_;
    ++count;
  }
  if (count > 0) {
    target_->retain();
    target = target_;
  }
  return count;
}

void ConcurrentQueue::submit_runners(Queue* target, unsigned count) noexcept {
  if (count == 0) {
    return;
  }
  // Every runner corresponds to one ready item, whose reference keeps the
  // queue alive until that runner is done.
  for (unsigned i = 0; i < count; ++i) {
    target->push(Work::from_function(this, &ConcurrentQueue::run_entry), false);
  }
  target->release();
}

void ConcurrentQueue::run_entry(void* queue) {
  static_cast<ConcurrentQueue*>(queue)->run_one();
}

void ConcurrentQueue::run_one() noexcept {
  Item item;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    item = ready_.front();
    ready_.pop_front();
  }
  {
    RunningScope scope(this, item.barrier);
    item.work.run();
  }
  Queue* target = nullptr;
  unsigned count = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    --started_;
    if (item.barrier) {
      barrier_started_ = false;
    }
    count = promote_locked(target);
  }
  submit_runners(target, count);
  release();  // The item's reference.
}

}  // namespace harlune::dispatch
