// Serial queues: one drain at a time, FIFO.

#include "serial_queue.h"

namespace harlune::dispatch {

SerialQueue::SerialQueue(const char* label, Queue* target, Lifetime lifetime)
    : TargetedQueue(label, lifetime, target) {}

SerialQueue::~SerialQueue() = default;

void SerialQueue::push(Work work, bool barrier) noexcept {
  // Serial queues run everything alone already, so a barrier is ordinary.
  (void)barrier;
  retain();  // Given back once this item ran.
  Queue* target = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.push_back(work);
    target = claim_drain_locked();
  }
  if (target != nullptr) {
    submit_drain(target);
  }
}




void SerialQueue::resume() noexcept {
  Queue* target = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (suspensions_ == 0) {
      return;
    }
    --suspensions_;
    target = claim_drain_locked();
  }
  if (target != nullptr) {
    submit_drain(target);
  }
}

Queue* SerialQueue::claim_drain_locked() noexcept {
  if (drain_scheduled_ || suspensions_ > 0 || pending_.empty()) {
    return nullptr;
  }
  drain_scheduled_ = true;
  target_->retain();
  return target_;
}

void SerialQueue::submit_drain(Queue* target) noexcept {
  retain();  // The drain's own reference, given back when it finishes.
  target->push(Work::from_function(this, &SerialQueue::drain_entry), false);
  target->release();
}

void SerialQueue::drain_entry(void* queue) {
  static_cast<SerialQueue*>(queue)->drain();
}

void SerialQueue::drain() noexcept {
  {
    RunningScope scope(this, true);
    for (unsigned ran = 0; ran < kBatch; ++ran) {
      Work work;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        if (suspensions_ > 0 || pending_.empty()) {
          break;
        }
        work = pending_.front();
        pending_.pop_front();
      }
      work.run();
      release();  // The item's reference; the drain still holds its own.
    }
  }
  Queue* target = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    drain_scheduled_ = false;
    target = claim_drain_locked();
  }
  if (target != nullptr) {
    submit_drain(target);
  }
  release();
}

}  // namespace harlune::dispatch
