// Ordered, one-at-a-time delivery of a connection's callbacks.

#include "event_pump.h"

#include "io_loop.h"

#include <Block.h>

#include <new>

namespace harlune::xpc {

EventPump::EventPump(PumpClient& client, const char* label) noexcept : client_(client), label_(label) {}

EventPump::~EventPump() {
  for (Item& item : items_) {
    discard(item);
  }
  if (handler_ != nullptr) {
    Block_release(handler_);
  }
  if (handler_retired_ != nullptr) {
    Block_release(handler_retired_);
  }
  if (target_ != nullptr) {
    dispatch_release(target_);
  }
  if (own_queue_ != nullptr) {
    dispatch_release(own_queue_);
  }
}

void EventPump::discard(Item& item) noexcept {
  if (item.object != nullptr) {
    item.object->release();
  }
  if (item.block != nullptr) {
    Block_release(item.block);
  }
}

void EventPump::set_handler(xpc_handler_t handler) noexcept {
  xpc_handler_t copy = nullptr;
  if (handler != nullptr) {
    copy = Block_copy(handler);
  }
  xpc_handler_t previous = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (final_delivered_) {
      previous = copy;  // The connection is over; the handler is never used.
    } else {
      previous = handler_;
      handler_ = copy;
      if (previous != nullptr && previous == handler_in_use_) {
        // A drain is calling it: that drain lets go of it when it is done.
        handler_retired_ = previous;
        previous = nullptr;
      }
    }
  }
  if (previous != nullptr) {
    Block_release(previous);
  }
}

void EventPump::set_target(dispatch_queue_t queue) noexcept {
  if (queue != nullptr) {
    dispatch_retain(queue);
  }
  dispatch_queue_t previous = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    previous = target_;
    target_ = queue;
  }
  if (previous != nullptr) {
    dispatch_release(previous);
  }
}

void EventPump::set_suspended(bool suspended) noexcept {
  dispatch_queue_t queue = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    suspended_ = suspended;
    queue = claim_drain_locked();
  }
  submit(queue);
}

uint64_t EventPump::backlog_bytes() noexcept {
  std::lock_guard<std::mutex> lock(mutex_);
  return event_bytes_;
}

bool EventPump::push_event(Object* event, uint64_t bytes) noexcept {
  bool below_high_water = true;
  dispatch_queue_t queue = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (final_queued_) {
      event->release();
      return true;
    }
    try {
      items_.push_back(Item{Kind::event, event, nullptr, bytes});
    } catch (...) {
      event->release();
      return true;
    }
    event_bytes_ += bytes;
    if (++events_ >= kHighWater || event_bytes_ >= kHighWaterBytes) {
      full_ = true;
      below_high_water = false;
    }
    queue = claim_drain_locked();
  }
  submit(queue);
  return below_high_water;
}

void EventPump::push_reply(xpc_handler_t handler, Object* reply) noexcept {
  push(Item{Kind::reply, reply, reinterpret_cast<void*>(handler)});
}

void EventPump::push_barrier(dispatch_block_t barrier) noexcept {
  push(Item{Kind::barrier, nullptr, reinterpret_cast<void*>(barrier)});
}

void EventPump::push_final(Object* error, bool discard_events) noexcept {
  std::deque<Item> dropped;
  dispatch_queue_t queue = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (final_queued_) {
      return;
    }
    final_queued_ = true;
    if (discard_events) {
      std::deque<Item> kept;
      for (Item& item : items_) {
        (item.kind == Kind::event ? dropped : kept).push_back(item);
      }
      items_.swap(kept);
      events_ = 0;
      event_bytes_ = 0;
    }
    items_.push_back(Item{Kind::final, error, nullptr});
    queue = claim_drain_locked();
  }
  for (Item& item : dropped) {
    discard(item);
  }
  submit(queue);
}

void EventPump::run_callbacks_on(dispatch_queue_t queue) noexcept {
  std::deque<Item> callbacks;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    std::deque<Item> kept;
    for (Item& item : items_) {
      (item.kind == Kind::reply || item.kind == Kind::barrier ? callbacks : kept).push_back(item);
    }
    items_.swap(kept);
  }
  for (Item& item : callbacks) {
    if (auto* copy = new (std::nothrow) Item(item)) {
      dispatch_async_f(queue, copy, &EventPump::run_detached);
    } else {
      discard(item);
    }
  }
}

void EventPump::run_detached(void* context) {
  auto* item = static_cast<Item*>(context);
  if (item->kind == Kind::reply) {
    reinterpret_cast<xpc_handler_t>(item->block)(to_handle(item->object));
  } else {
    reinterpret_cast<dispatch_block_t>(item->block)();
  }
  discard(*item);
  delete item;
}

void EventPump::push(Item item) noexcept {
  dispatch_queue_t queue = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    try {
      items_.push_back(item);
    } catch (...) {
      discard(item);
      return;
    }
    queue = claim_drain_locked();
  }
  submit(queue);
}

dispatch_queue_t EventPump::claim_drain_locked() noexcept {
  if (scheduled_ || suspended_ || items_.empty()) {
    return nullptr;
  }
  if (target_ == nullptr && own_queue_ == nullptr) {
    own_queue_ = dispatch_queue_create(label_, DISPATCH_QUEUE_SERIAL);
    if (own_queue_ == nullptr) {
      return nullptr;
    }
  }
  scheduled_ = true;
  dispatch_queue_t queue = target_ != nullptr ? target_ : own_queue_;
  dispatch_retain(queue);
  client_.pump_retain();
  return queue;
}

void EventPump::submit(dispatch_queue_t queue) noexcept {
  if (queue == nullptr) {
    return;
  }
  // The pump's own queue is private and idle (this drain is the only one),
  // so on the transport thread the drain may as well run there, once the
  // thread has handled its batch: that saves waking a worker per message.
  // A queue the application chose may hold its other work; it gets the
  // drain like any block.
  if (queue == own_queue_ && IoLoop::shared().defer(&EventPump::drain_inline_entry, this)) {
    dispatch_release(queue);
    return;
  }
  dispatch_async_f(queue, this, &EventPump::drain_entry);
  dispatch_release(queue);
}

void EventPump::drain_entry(void* pump) {
  static_cast<EventPump*>(pump)->drain(kBatch);
}

void EventPump::drain_inline_entry(void* pump) {
  static_cast<EventPump*>(pump)->drain(kInlineBatch);
}

void EventPump::drain(unsigned batch) noexcept {
  for (unsigned ran = 0; ran < batch; ++ran) {
    Item item{};
    xpc_handler_t handler = nullptr;
    bool drained = false;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (suspended_ || items_.empty()) {
        scheduled_ = false;
        break;
      }
      item = items_.front();
      items_.pop_front();
      if (item.kind == Kind::event) {
        --events_;
        event_bytes_ -= item.bytes;
        if (full_ && events_ <= kLowWater && event_bytes_ <= kLowWaterBytes) {
          full_ = false;
          drained = true;
        }
      }
      if (item.kind == Kind::event || item.kind == Kind::final) {
        // Kept alive by the pump, not by a copy of our own: its release is
        // then ordered by mutex_ for every observer (the blocks runtime's
        // own reference counts are invisible to the thread sanitizer).
        handler = handler_;
        handler_in_use_ = handler;
      }
    }
    if (drained) {
      client_.pump_drained();
    }
    switch (item.kind) {
      case Kind::event:
      case Kind::final:
        if (handler != nullptr) {
          handler(to_handle(item.object));
        }
        break;
      case Kind::reply:
        reinterpret_cast<xpc_handler_t>(item.block)(to_handle(item.object));
        break;
      case Kind::barrier:
        reinterpret_cast<dispatch_block_t>(item.block)();
        break;
    }
    if (item.kind == Kind::event || item.kind == Kind::final) {
      xpc_handler_t retired = nullptr;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        handler_in_use_ = nullptr;
        retired = handler_retired_;
        handler_retired_ = nullptr;
      }
      if (retired != nullptr) {
        Block_release(retired);
      }
    }
    discard(item);
    if (item.kind == Kind::final) {
      xpc_handler_t last = nullptr;
      {
        std::lock_guard<std::mutex> lock(mutex_);
        final_delivered_ = true;
        last = handler_;
        handler_ = nullptr;
      }
      if (last != nullptr) {
        Block_release(last);
      }
      client_.pump_final_delivered();
    }
  }
  dispatch_queue_t queue = nullptr;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (scheduled_) {
      // A full batch ran and more may wait: yield the target queue, then
      // go on from a fresh drain.
      scheduled_ = false;
      queue = claim_drain_locked();
    }
  }
  submit(queue);
  client_.pump_release();
}

}  // namespace harlune::xpc
