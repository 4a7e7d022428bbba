// EventPump: the callbacks of one connection (events for its handler,
// replies without a queue of their own, barriers), delivered in order on
// the connection's target queue, one at a time.
//
// Only one drain of a pump is ever scheduled, so no two callbacks of a
// connection overlap even on a concurrent target queue. The handler,
// suspension and the target are read afresh before every callback, so
// changing them takes effect between two callbacks. The final event (the
// connection's last error) is delivered once; after it the handler is
// released and never called again, and further events are refused, while
// replies and barriers still run.
//
// Flow control: push_event() reports when kHighWater events or
// kHighWaterBytes of them are waiting, so the transport can stop reading;
// PumpClient::pump_drained() says when the backlog fell to kLowWater events
// and kLowWaterBytes. The backlog therefore holds at most the high-water
// bytes plus the one message that crossed them.
//
// Thread safety: every member may be called from any thread. Callbacks run
// without the pump's lock held, so they may call back into the connection.
// Lifetime: the pump is a member of its connection; a scheduled drain keeps
// the connection alive through PumpClient.

#pragma once

#include "object_impl.h"

#include <dispatch/dispatch.h>

#include <cstddef>
#include <deque>
#include <mutex>

namespace harlune::xpc {

class PumpClient {
 public:
  virtual void pump_retain() noexcept = 0;
  virtual void pump_release() noexcept = 0;
  // The final event has been delivered (on the target queue).
  virtual void pump_final_delivered() noexcept = 0;
  // The event backlog fell to kLowWater after push_event() reported it full.
  virtual void pump_drained() noexcept = 0;

 protected:
  ~PumpClient() = default;
};

class EventPump {
 public:
  static constexpr std::size_t kHighWater = 256;
  static constexpr std::size_t kLowWater = 64;
  static constexpr uint64_t kHighWaterBytes = 32ull * 1024 * 1024;
  static constexpr uint64_t kLowWaterBytes = 8ull * 1024 * 1024;

  EventPump(PumpClient& client, const char* label) noexcept;
  ~EventPump();
  EventPump(const EventPump&) = delete;
  EventPump& operator=(const EventPump&) = delete;

  void set_handler(xpc_handler_t handler) noexcept;
  // Null selects the pump's own serial queue.
  void set_target(dispatch_queue_t queue) noexcept;
  void set_suspended(bool suspended) noexcept;

  // Queues an event for the handler, taking over the caller's reference.
  // Returns false when the backlog has reached kHighWater (the event is
  // queued all the same). An event after the final one is released unseen.
  // `bytes` is what the event holds in memory (a received message's
  // footprint; 0 for errors and peers).
  bool push_event(Object* event, uint64_t bytes = 0) noexcept;
  // Bytes of the events waiting.
  uint64_t backlog_bytes() noexcept;
  // Queues `handler` (taking over the caller's block copy) to run with
  // `reply` (taking over the caller's reference).
  void push_reply(xpc_handler_t handler, Object* reply) noexcept;
  // Queues `barrier`, taking over the caller's block copy.
  void push_barrier(dispatch_block_t barrier) noexcept;
  // Queues the final event (an immortal error). With `discard_events`,
  // events still waiting are dropped first (cancellation); otherwise they
  // are delivered before it (a peer that said goodbye). Only the first call
  // has an effect.
  void push_final(Object* error, bool discard_events) noexcept;
  // Takes the replies and barriers waiting in the pump out and runs each
  // on `queue` (a pump that will never run must still run them once).
  void run_callbacks_on(dispatch_queue_t queue) noexcept;

 private:
  enum class Kind { event, reply, barrier, final };
  struct Item {
    Kind kind;
    Object* object;
    void* block;
    uint64_t bytes = 0;  // Events: what the event holds in memory.
  };
  // Callbacks per drain before the queue is yielded to other work. A drain
  // on the transport thread has its private queue to itself and takes
  // more, so a burst is handled without handing the rest to a worker; the
  // standby takes over the transport meanwhile if it runs long.
  static constexpr unsigned kBatch = 16;
  static constexpr unsigned kInlineBatch = 512;

  void push(Item item) noexcept;
  // Returns the queue to submit a drain to (the caller then submits it), or
  // null when no drain is due.
  dispatch_queue_t claim_drain_locked() noexcept;
  void submit(dispatch_queue_t queue) noexcept;
  static void drain_entry(void* pump);
  static void drain_inline_entry(void* pump);
  static void run_detached(void* item);
  void drain(unsigned batch) noexcept;
  static void discard(Item& item) noexcept;

  PumpClient& client_;
  const char* const label_;
  std::mutex mutex_;
  std::deque<Item> items_;
  xpc_handler_t handler_ = nullptr;
  // The handler a drain is calling right now, and a replaced one that the
  // drain releases when its call returns (mutex_).
  xpc_handler_t handler_in_use_ = nullptr;
  xpc_handler_t handler_retired_ = nullptr;
  dispatch_queue_t target_ = nullptr;
  dispatch_queue_t own_queue_ = nullptr;
  std::size_t events_ = 0;
  uint64_t event_bytes_ = 0;
  bool suspended_ = true;
  bool scheduled_ = false;
  bool full_ = false;
  bool final_queued_ = false;
  bool final_delivered_ = false;
};

}  // namespace harlune::xpc
